// setup_command.cpp: shows, changes and finds the settings that stay. Called by main. A change is written through the
// library's profile calls and loaded again, so that what is said to be set is set.

#include "cli/setup_command.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <unistd.h>

#include "cli/library.h"
#include "cli/profile.h"
#include "cli/profile_file.h"
#include "cli/setting_keys.h"
#include "cli/text.h"

namespace cli {
namespace {

constexpr char kModuleSection[] = "TOLVA";
constexpr char kSectionKey[] = "~Mode";
constexpr char kDriverKey[] = "Driver";

// ---- show ----

void printSettings(const Settings& settings) {
    const Setup& setup = *settings.setup;
    if (settings.loaded) {
        std::printf("profile          %s\nsection          %s\ndriver           %s\n",
                    shownText(setup.profilePath).c_str(), shownText(setup.sectionName).c_str(),
                    shownText(setup.driverName).c_str());
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

const char* describe(const ProfilePlace& place) {
    if (!place.exists) {
        return access(place.path.c_str(), F_OK) == 0 ? "is there, but cannot be read"
                                                     : "does not exist; setup set would make it";
    }
    if (!place.loads) return "is there, but has no settings that could be loaded; setup set would add them";
    return access(place.path.c_str(), W_OK) == 0 ? "is read, and written by setup set" : "is read; it is read-only";
}

ExitStatus showPath(const Library& library, const Options& options) {
    ProfilePlace place = {};
    const ExitStatus status = locateProfile(library, options.profile, place);
    if (status != kExitDone) return status;
    if (options.verbosity == kQuiet) {
        std::printf("%s\n", place.path.c_str());  // for programs: as it is
    } else {
        std::printf("%s\n%s\n", shownText(place.path).c_str(), describe(place));
    }
    return flushOutput();
}

// ---- set ----

struct Change {
    const Library* library;
    const Options* options;
    ProfileCalls calls;
    HeldProfile held;
    std::string shown;
};

// A file whose lines end with CR alone has an open end after every rewrite.
ExitStatus writeKey(const Change& change, const std::string& section, const char* key, const std::string& value) {
    const std::string& path = change.held.path;
    const ExitStatus status = endLastLine(path);
    if (status != kExitDone) return status;
    errno = 0;
    if (change.calls.writeString(section.c_str(), key, value.c_str(), path.c_str()) == 1) return endLastLine(path);
    return fail(kExitOutputFailed, "%s: could not be written%s%s; it is left as it was", change.shown.c_str(),
                errno == 0 ? "" : ": ", errno == 0 ? "" : std::strerror(errno));
}

bool hasKey(const Change& change, const std::string& section, const std::string& key) {
    char found[kSettingsNameBytes] = {};
    return change.calls.readString(section.c_str(), key.c_str(), "", found, sizeof found, change.held.path.c_str()) > 0;
}

// A name written by hand with a space behind it is not read; a rewrite would take its value away.
ExitStatus writeMissingKey(const Change& change, const std::string& section, const char* key,
                           const std::string& value) {
    if (hasKey(change, section, key)) return kExitDone;
    if (!hasKey(change, section, std::string(key) + ' ')) return writeKey(change, section, key, value);
    return fail(kExitOutputFailed, "%s: in [%s] a space before the \"=\" hides %s; it is left as it was",
                change.shown.c_str(), section.c_str(), key);
}

// Another line of the same name, or a section's second header, may stand in the way.
ExitStatus checkLoaded(const Change& change) {
    const SettingKey& key = *change.options->key;
    Settings settings = {};
    const ExitStatus status = loadSettings(*change.library, change.options->profile, settings);
    const bool stands =
        status == kExitDone && settings.loaded && settingIn(*settings.setup, key) == change.options->value;
    dropSettings(*change.library, settings);
    if (status != kExitDone || stands) return status;
    return fail(kExitOutputFailed,
                "%s: something else in the file would be loaded in place of %s; it is left as it was",
                change.shown.c_str(), key.profileKey);
}

// The section is chosen once the last line is read as well: it may be the one that names it.
ExitStatus writeSetting(const Change& change) {
    const SettingKey& key = *change.options->key;
    const std::string text = profileText(key, change.options->value);
    ProfilePlace place = {};
    ExitStatus status = endLastLine(change.held.path);
    if (status == kExitDone) status = locateProfile(*change.library, change.options->profile, place);
    if (status == kExitDone) status = writeMissingKey(change, kModuleSection, kSectionKey, place.section);
    if (status == kExitDone) status = writeMissingKey(change, place.section, kDriverKey, place.driverName);
    if (status == kExitDone) status = writeKey(change, place.section, key.profileKey, text);
    if (status == kExitDone) status = checkLoaded(change);
    if (status != kExitDone || change.options->verbosity == kQuiet) return status;
    std::printf("%s: [%s] %s=%s\n", shownText(change.shown).c_str(), shownText(place.section).c_str(), key.profileKey,
                text.c_str());
    return kExitDone;
}

ExitStatus setSetting(const Library& library, const Options& options) {
    Change change = {&library, &options, {}, {"", "", false, -1}, ""};
    ProfilePlace place = {};
    std::string absolute;
    ExitStatus status = locateProfile(library, options.profile, place);
    if (status != kExitDone) return status;
    change.shown = place.path;
    status = loadProfileCalls(library, change.calls);
    if (status == kExitDone) status = checkWritable(change.shown.c_str(), absolute);
    if (status != kExitDone) return status;
    status = holdProfile(absolute, change.held);
    const bool held = status == kExitDone;
    if (held) status = writeSetting(change);
    releaseProfile(change.held, !held || status == kExitDone);
    return status == kExitDone ? flushOutput() : status;
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
