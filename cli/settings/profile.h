// profile.h: the settings of one run: a Setup block of the library's, filled from a profile or with the defaults, and
// what the command line says over it.
#ifndef TOLVA_CLI_SETTINGS_PROFILE_H
#define TOLVA_CLI_SETTINGS_PROFILE_H

#include <string>

#include "cli/library/library.h"
#include "cli/options/options.h"
#include "cli/terminal/messages.h"

namespace cli {

struct Settings {
    const Library* library = nullptr;
    TolvaHandle handle = 0;
    TolvaSetup* setup = nullptr;
    bool loaded = false;  // from the profile and section that the block names; else these are the defaults

    Settings() = default;
    Settings(const Settings&) = delete;
    Settings& operator=(const Settings&) = delete;
    ~Settings();
};

// The profile that the user names has to be there and to have the section; the one named after the library is told
// about where it cannot be loaded, and the defaults stand.
ExitStatus loadSettings(const Library& library, const ProfileChoice& choice, Settings& settings);
// What the user asks for wins over the profile.
ExitStatus applyOptions(const Options& options, TolvaSetup& setup);
// Once the picture is known: --fit makes none larger, so one that has room in the box keeps its size.
void settleFit(const Options& options, uint32_t width, uint32_t height, TolvaSetup& setup);
// What happens to a colour in this colour mode.
TolvaConversionMode toneOf(const TolvaSetup& setup);

struct ProfilePlace {
    std::string path;
    bool exists;             // and can be read
    bool loads;              // its section has settings
    std::string section;     // that is read, or would be made
    std::string driverName;  // of a section that has none
};

// Where settings are read from, or would be written to.
ExitStatus locateProfile(const Library& library, const ProfileChoice& choice, ProfilePlace& place);

}  // namespace cli

#endif
