// setup.cpp: shows, changes and finds the settings that stay. Called by main. A change is written through the
// library's profile calls and loaded again, so that what is said to be set is set.

#include "cli/commands/setup.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <unistd.h>

#include "cli/library/library.h"
#include "cli/settings/profile.h"
#include "cli/settings/profile_change.h"
#include "cli/settings/profile_file.h"
#include "cli/settings/setting_keys.h"
#include "cli/terminal/text.h"

namespace cli {
namespace {

constexpr char kModuleSection[] = "TOLVA";
constexpr char kSectionKey[] = "~Mode";
constexpr char kDriverKey[] = "Driver";

// ---- show ----

void printSettings(const Settings& settings) {
    const TolvaSetup& setup = *settings.setup;
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

// The library changes a copy: what it cannot read, or half writes, then costs nothing.
struct Change {
    const Library* library;
    const Options* options;
    ProfileCalls calls;
    HeldProfile held;
    std::string copy;
};

// A file whose lines end with CR alone has an open end after every rewrite.
ExitStatus writeKey(const Change& change, const std::string& section, const char* key, const std::string& value) {
    errno = 0;
    const bool written = change.calls.writeString(section.c_str(), key, value.c_str(), change.copy.c_str()) == 1;
    return written && endLastLine(change.copy) ? kExitDone : refuseCopy(change.held);
}

bool hasKey(const Change& change, const std::string& section, const std::string& key) {
    char found[kTolvaSettingsNameBytes] = {};
    return change.calls.readString(section.c_str(), key.c_str(), "", found, sizeof found, change.copy.c_str()) > 0;
}

// A name written by hand with a space behind it is not read; a rewrite would take its value away.
ExitStatus writeMissingKey(const Change& change, const std::string& section, const char* key,
                           const std::string& value) {
    if (hasKey(change, section, key)) return kExitDone;
    if (!hasKey(change, section, std::string(key) + ' ')) return writeKey(change, section, key, value);
    return refuseChange(change.held, "in [" + section + "] a space before the \"=\" hides " + key);
}

// Another line of the same name, or a section's second header, may stand in the way.
ExitStatus checkLoaded(const Change& change, const std::string& section) {
    const SettingKey& key = *change.options->key;
    const TolvaHandle handle = change.library->createSetup(0, change.copy.c_str(), change.options->profile.section, 0);
    const auto* const setup = static_cast<const TolvaSetup*>(change.library->globalLock(handle));
    const bool stands = setup != nullptr && change.copy == setup->profilePath && section == setup->sectionName &&
                        setup->driverName[0] != '\0' && settingIn(*setup, key) == change.options->value;
    if (handle != 0) change.library->destroySetup(handle);
    if (stands) return kExitDone;
    return refuseChange(change.held,
                        std::string("something else in the file would be loaded in place of ") + key.profileKey);
}

// What the library did not find at first may be what it failed to read: now it is there to be found.
ExitStatus checkPlace(const Change& change) {
    ProfilePlace place = {};
    const ExitStatus status = locateProfile(*change.library, change.options->profile, place);
    if (status != kExitDone || (place.exists && place.path == change.held.shown)) return status;
    return refuseChange(change.held, "is not the one that is read");
}

ExitStatus changeCopy(const Change& change, std::string& section) {
    const SettingKey& key = *change.options->key;
    ProfilePlace place = {};
    ProfileChoice choice = change.options->profile;
    choice.file = change.copy.c_str();
    ExitStatus status = locateProfile(*change.library, choice, place);
    section = place.section;
    if (status == kExitDone) status = writeMissingKey(change, kModuleSection, kSectionKey, section);
    if (status == kExitDone) status = writeMissingKey(change, section, kDriverKey, place.driverName);
    if (status == kExitDone) {
        status = writeKey(change, section, key.profileKey, profileText(key, change.options->value));
    }
    return status == kExitDone ? checkLoaded(change, section) : status;
}

ExitStatus changeProfile(Change& change) {
    const Options& options = *change.options;
    std::string section;
    ExitStatus status = checkPlace(change);
    if (status == kExitDone) status = copyProfile(change.held, change.copy);
    if (status == kExitDone) status = changeCopy(change, section);
    if (status == kExitDone) {
        const auto lineOf = [](const char* key) { return std::string(key) + '='; };
        status = replaceProfile(change.held, change.copy, options.key->profileKey,
                                {"[", lineOf(kSectionKey), lineOf(kDriverKey)});
    }
    if (!change.copy.empty()) unlink(change.copy.c_str());
    if (status != kExitDone || options.verbosity == kQuiet) return status;
    std::printf("%s: [%s] %s=%s\n", shownText(change.held.shown).c_str(), shownText(section).c_str(),
                options.key->profileKey, profileText(*options.key, options.value).c_str());
    return kExitDone;
}

ExitStatus setSetting(const Library& library, const Options& options) {
    Change change = {&library, &options, {}, {"", "", "", false, -1}, ""};
    ProfilePlace place = {};
    ExitStatus status = locateProfile(library, options.profile, place);
    if (status != kExitDone) return status;
    status = loadProfileCalls(library, change.calls);
    if (status == kExitDone) status = holdProfile(place.path, change.held);
    if (status == kExitDone) status = changeProfile(change);
    releaseProfile(change.held);
    // Said, and no more: the setting stands.
    static_cast<void>(flushOutput());
    return status;
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
