// setup_command.cpp: shows, changes and finds the settings that stay. Called by main. A change is written through the
// library's profile calls and loaded again, so that what is said to be set is set.

#include "cli/setup_command.h"

#include <cstdio>

#include "cli/library.h"
#include "cli/profile.h"
#include "cli/profile_file.h"
#include "cli/setting_keys.h"

namespace cli {
namespace {

constexpr char kModuleSection[] = "TOLVA";
constexpr char kSectionKey[] = "~Mode";
constexpr char kDriverKey[] = "Driver";

struct Target {
    ProfileCalls calls;
    std::string absolute;
    const char* shown;
};

// ---- show ----

void printSettings(const Settings& settings) {
    const Setup& setup = *settings.setup;
    if (settings.loaded) {
        std::printf("profile          %s\nsection          %s\ndriver           %s\n", setup.profilePath,
                    setup.sectionName, setup.driverName);
    } else {
        std::printf("profile          none: these are the defaults\n");
    }
    for (const SettingKey& key : kSettingTable) {
        std::printf("%-16s %s%s\n", key.word, shownSetting(key, settingIn(setup, key)).c_str(),
                    isInUse(setup, key) ? "" : " (not in use)");
    }
}

ExitStatus showSettings(const Library& library, const Options& options) {
    Settings settings = {};
    ExitStatus status = loadSettings(library, options.profile, settings);
    if (status == kExitDone) {
        printSettings(settings);
        status = flushOutput();
    }
    dropSettings(library, settings);
    return status;
}

// ---- path ----

ExitStatus showPath(const Library& library, const Options& options) {
    ProfilePlace place = {};
    const ExitStatus status = locateProfile(library, options.profile, place);
    if (status != kExitDone) return status;
    std::printf("%s\n", place.path.c_str());
    if (options.verbosity != kQuiet) {
        std::printf("%s\n",
                    place.exists ? "is read, and written by setup set" : "does not exist; setup set would write it");
    }
    return flushOutput();
}

// ---- set ----

// Every time anew: where lines end with CR alone, the last one of each rewrite would be lost in the next.
ExitStatus writeKey(Target& target, const std::string& section, const char* key, const std::string& value) {
    const ExitStatus status = readyForWriting(target.shown, target.absolute);
    if (status != kExitDone) return status;
    const int32_t written = target.calls.writeString(section.c_str(), key, value.c_str(), target.absolute.c_str());
    if (written == 1) return kExitDone;
    return fail(kExitOutputFailed, "%s: %s could not be written; nothing that the file had is lost", target.shown, key);
}

ExitStatus writeMissingKey(Target& target, const std::string& section, const char* key, const std::string& value) {
    char found[kSettingsNameBytes] = {};
    const int32_t length =
        target.calls.readString(section.c_str(), key, "", found, sizeof found, target.absolute.c_str());
    return length > 0 ? kExitDone : writeKey(target, section, key, value);
}

// Another line of the same name, or a section's second header, may stand in the way.
ExitStatus checkLoaded(const Library& library, const Options& options, const ProfilePlace& place) {
    Settings settings = {};
    const ExitStatus status = loadSettings(library, {options.profile.file, place.section.c_str(), false}, settings);
    const bool stands = status == kExitDone && settingIn(*settings.setup, *options.key) == options.value;
    dropSettings(library, settings);
    if (status != kExitDone || stands) return status;
    return fail(kExitOutputFailed, "%s: %s was written, but something else in the file is loaded in its place",
                place.path.c_str(), options.key->profileKey);
}

ExitStatus setSetting(const Library& library, const Options& options) {
    ProfilePlace place = {};
    Target target = {};
    ExitStatus status = locateProfile(library, options.profile, place);
    if (status == kExitDone) status = loadProfileCalls(library, target.calls);
    target.shown = place.path.c_str();
    if (status == kExitDone) status = readyForWriting(target.shown, target.absolute);
    const std::string text = profileText(*options.key, options.value);
    if (status == kExitDone) status = writeMissingKey(target, kModuleSection, kSectionKey, place.section);
    if (status == kExitDone) status = writeMissingKey(target, place.section, kDriverKey, place.driverName);
    if (status == kExitDone) status = writeKey(target, place.section, options.key->profileKey, text);
    if (status == kExitDone) status = readyForWriting(target.shown, target.absolute);
    if (status == kExitDone) status = checkLoaded(library, options, place);
    if (status != kExitDone || options.verbosity == kQuiet) return status;
    std::printf("%s: [%s] %s=%s\n", place.path.c_str(), place.section.c_str(), options.key->profileKey, text.c_str());
    return flushOutput();
}

}  // namespace

ExitStatus runSetup(const Options& options, const char* programWord) {
    Library library = {};
    const ExitStatus status = loadLibrary(library, options.library, programWord);
    if (status != kExitDone) return status;
    if (options.command == Command::kShowSettings) return showSettings(library, options);
    return options.command == Command::kSetSetting ? setSetting(library, options) : showPath(library, options);
}

}  // namespace cli
