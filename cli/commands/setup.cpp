// setup.cpp: shows, changes and finds the settings that stay. Called by main. A change is written through the library's
// profile calls and loaded again, so that what is said to be set is set.

#include "cli/commands/commands.h"

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
    Settings settings;
    if (const ExitStatus failed = loadSettings(library, options.profile, settings)) return failed;
    printSettings(settings);
    return flushOutput();
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
    if (const ExitStatus failed = locateProfile(library, options.profile, place)) return failed;
    if (options.verbosity == kQuiet) {
        std::printf("%s\n", place.path.c_str());  // for programs: as it is
    } else {
        std::printf("%s\n%s\n", shownText(place.path).c_str(), describe(place));
    }
    return flushOutput();
}

// ---- set and unset ----

struct Change {
    const Library& library;
    const Options& options;
    HeldProfile held;
    ProfileCopy copy;
};

bool sets(const Change& change) { return change.options.command == Command::kSetSetting; }

// Without a value the key goes. A file whose lines end with CR alone has an open end after every rewrite.
ExitStatus writeKey(const Change& change, const std::string& section, const char* key, const char* value) {
    errno = 0;
    const bool written =
        change.library.calls.WritePrivateProfileString(section.c_str(), key, value, change.copy.path.c_str()) == 1;
    return written && endLastLine(change.copy.path) ? kExitDone : refuseCopy(change.held);
}

bool hasKey(const Change& change, const std::string& section, const std::string& key) {
    char found[kTolvaSettingsNameBytes] = {};
    return change.library.calls.GetPrivateProfileString(section.c_str(), key.c_str(), "", found, sizeof found,
                                                        change.copy.path.c_str()) > 0;
}

// A name written by hand with a space behind it is not read; a rewrite would take its value away.
ExitStatus writeMissingKey(const Change& change, const std::string& section, const char* key,
                           const std::string& value) {
    if (hasKey(change, section, key)) return kExitDone;
    if (!hasKey(change, section, std::string(key) + ' ')) return writeKey(change, section, key, value.c_str());
    return refuseChange(change.held, "in [" + section + "] a space before the \"=\" hides " + key);
}

// Another line of the same name, or a section's second header, may stand in the way.
ExitStatus checkLoaded(const Change& change, const std::string& section) {
    const SettingKey& key = *change.options.key;
    const TolvaHandle handle =
        change.library.calls.CreateSetup(0, change.copy.path.c_str(), change.options.profile.section, 0);
    const auto* const setup = static_cast<const TolvaSetup*>(change.library.calls.GlobalLock(handle));
    const bool stands = setup != nullptr && change.copy.path == setup->profilePath && section == setup->sectionName &&
                        setup->driverName[0] != '\0' && settingIn(*setup, key) == change.options.value;
    if (handle != 0) change.library.calls.DestroySetup(handle);
    if (stands) return kExitDone;
    return refuseChange(change.held,
                        std::string("something else in the file would be loaded in place of ") + key.profileKey);
}

// A second line of the name, or one with a space behind it, would be left.
ExitStatus removeKey(const Change& change, const std::string& section) {
    const char* const key = change.options.key->profileKey;
    if (const ExitStatus failed = writeKey(change, section, key, nullptr)) return failed;
    if (!hasKey(change, section, key)) return kExitDone;
    return refuseChange(change.held, std::string("not every line of ") + key + " could be removed");
}

// What the library did not find at first may be what it failed to read: now it is there to be found.
ExitStatus checkPlace(const Change& change) {
    ProfilePlace place = {};
    const ExitStatus status = locateProfile(change.library, change.options.profile, place);
    if (status != kExitDone || (place.exists && place.path == change.held.shown)) return status;
    return refuseChange(change.held, "is not the one that is read");
}

ExitStatus changeCopy(const Change& change, std::string& section) {
    const SettingKey& key = *change.options.key;
    ProfilePlace place = {};
    ProfileChoice choice = change.options.profile;
    choice.file = change.copy.path.c_str();
    if (const ExitStatus failed = locateProfile(change.library, choice, place)) return failed;
    section = place.section;
    if (!sets(change)) return removeKey(change, section);
    if (const ExitStatus failed = writeMissingKey(change, kModuleSection, kSectionKey, section)) return failed;
    if (const ExitStatus failed = writeMissingKey(change, section, kDriverKey, place.driverName)) return failed;
    const std::string value = profileText(key, change.options.value);
    if (const ExitStatus failed = writeKey(change, section, key.profileKey, value.c_str())) return failed;
    return checkLoaded(change, section);
}

ExitStatus changeProfile(const Library& library, const Options& options) {
    ProfilePlace place = {};
    if (const ExitStatus failed = locateProfile(library, options.profile, place)) return failed;
    if (const ExitStatus failed = needEntries(library, EntryGroup::kProfiles)) return failed;
    if (options.command == Command::kUnsetSetting && access(place.path.c_str(), F_OK) != 0 && errno == ENOENT) {
        if (options.verbosity != kQuiet) std::printf("%s: does not exist\n", shownText(place.path).c_str());
        return kExitDone;
    }
    Change change = {.library = library, .options = options, .held = {}, .copy = {}};
    if (const ExitStatus failed = holdProfile(place.path, change.held)) return failed;
    if (const ExitStatus failed = checkPlace(change)) return failed;
    if (const ExitStatus failed = copyProfile(change.held, change.copy)) return failed;
    std::string section;
    if (const ExitStatus failed = changeCopy(change, section)) return failed;
    const SettingKey& key = *options.key;
    std::vector<std::string> added;
    if (sets(change)) added = {"[", std::string(kSectionKey) + '=', std::string(kDriverKey) + '='};
    if (const ExitStatus failed = replaceProfile(change.held, change.copy.path, key.profileKey, added)) return failed;
    if (options.verbosity == kQuiet) return kExitDone;
    const std::string value = sets(change) ? '=' + profileText(key, options.value) : " is not set";
    std::printf("%s: [%s] %s%s\n", shownText(change.held.shown).c_str(), shownText(section).c_str(), key.profileKey,
                value.c_str());
    return kExitDone;
}

ExitStatus changeSetting(const Library& library, const Options& options) {
    const ExitStatus status = changeProfile(library, options);
    // Said, and no more: the setting stands.
    static_cast<void>(flushOutput());
    return status;
}

}  // namespace

ExitStatus runSetup(const Options& options, const char* programWord) {
    Library library = {};
    if (const ExitStatus failed = loadLibrary(library, options.library, programWord)) return failed;
    if (options.command == Command::kShowSettings) return showSettings(library, options);
    if (options.command == Command::kShowProfilePath) return showPath(library, options);
    return changeSetting(library, options);
}

}  // namespace cli
