// profile_file.h: a profile as a plain file. The library reads and writes what stands in it; here is looked for what
// the library would pass over, or lose when it writes.
#ifndef TOLVA_CLI_SETTINGS_PROFILE_FILE_H
#define TOLVA_CLI_SETTINGS_PROFILE_FILE_H

#include <initializer_list>
#include <string>

#include "cli/terminal/messages.h"

namespace cli {

// A pipe or a device would be emptied, or waited for, by whoever looks at it first. True for what is not there.
bool isPlainOrMissing(const char* path);
// Why a profile that the library did not find cannot be read.
const char* whyUnread(const char* path);
// The last line is not seen where nothing ends it.
bool hasOpenEnd(const char* path);
// Ends a last line that nothing ends: a rewrite would drop it.
ExitStatus endLastLine(const std::string& path);

// A profile while it is being changed: nobody else changes it.
struct HeldProfile {
    std::string path;  // absolute
    std::string before;
    bool made;  // here, and empty
    int file;   // locked; -1: none
};

// Refuses a file that the library could not rewrite without loss; one that is not there is made.
ExitStatus holdProfile(const char* path, HeldProfile& held);
// A copy for the library to change, with its last line ended. Whoever asks removes it.
ExitStatus copyProfile(const HeldProfile& held, std::string& copy);
// With errno: where the library cannot change the copy.
ExitStatus refuseCopy(const std::string& path);
// Puts the copy's text into the profile. The library takes a file that it fails to read for an empty one, and its keys
// for missing: all that stood there must stand in the copy, but for lines that begin as one of `written`, the last of
// which is the key that was to change.
ExitStatus replaceProfile(HeldProfile& held, const std::string& copy, std::initializer_list<std::string> written);
// Lets go; what was made and is still empty goes.
void releaseProfile(HeldProfile& held);

}  // namespace cli

#endif
