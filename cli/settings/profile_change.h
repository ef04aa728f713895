// profile_change.h: the text of a held profile is changed in a copy, and put back where nothing else was lost.
#ifndef TOLVA_CLI_SETTINGS_PROFILE_CHANGE_H
#define TOLVA_CLI_SETTINGS_PROFILE_CHANGE_H

#include <string>
#include <vector>

#include "cli/settings/profile_file.h"

namespace cli {

// What the library changes in the profile's place: what it cannot read, or half writes, then costs nothing.
struct ProfileCopy {
    std::string path;  // empty: there is none

    ProfileCopy() = default;
    ProfileCopy(const ProfileCopy&) = delete;
    ProfileCopy& operator=(const ProfileCopy&) = delete;
    ~ProfileCopy();
};

// With its last line ended.
ExitStatus copyProfile(const HeldProfile& held, ProfileCopy& copy);
// Ends a last line that nothing ends: a rewrite would drop it. False with errno.
bool endLastLine(const std::string& path);
// With errno: where the copy cannot be changed.
ExitStatus refuseCopy(const HeldProfile& held);
// Puts the copy's text into the profile. The library takes a file that it fails to read for an empty one, and its keys
// for missing: all that stood there must stand in the copy, but for lines of the key `changed`. New may be those, and
// lines that begin as one of `added`.
ExitStatus replaceProfile(HeldProfile& held, const std::string& copy, const std::string& changed,
                          const std::vector<std::string>& added);

}  // namespace cli

#endif
