// profile_file.h: a profile as a plain file. The library reads and writes what stands in it; these calls find what the
// library would pass over, or lose when it writes.
#ifndef TOLVA_CLI_SETTINGS_PROFILE_FILE_H
#define TOLVA_CLI_SETTINGS_PROFILE_FILE_H

#include <string>
#include <vector>

#include "cli/terminal/messages.h"

namespace cli {

// A pipe or a device would be emptied, or waited for, by whoever looks at it first. True for what is not there.
bool isPlainOrMissing(const char* path);
// Why a profile that the library did not find cannot be read.
const char* whyUnread(const char* path);
// The last line is not seen where nothing ends it.
bool hasOpenEnd(const char* path);
// Without the empty ones. Which bytes end them is the library's to change.
std::vector<std::string> linesOf(const std::string& text);

// A profile while it is being changed: nobody else changes it. What was made and is still empty goes with it.
struct HeldProfile {
    std::string shown;  // the name in messages
    std::string path;   // absolute
    std::string before;
    bool made = false;  // here, and empty
    int file = -1;      // locked

    HeldProfile() = default;
    HeldProfile(const HeldProfile&) = delete;
    HeldProfile& operator=(const HeldProfile&) = delete;
    ~HeldProfile();
};

// Refuses a file that the library could not rewrite without loss; one that is not there is made.
ExitStatus holdProfile(const std::string& path, HeldProfile& held);
// Says why it cannot be changed, or cannot be made.
ExitStatus refuseChange(const HeldProfile& held, const std::string& why);

}  // namespace cli

#endif
