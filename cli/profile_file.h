// profile_file.h: a profile as a plain file. The library reads and writes what stands in it; here is looked for what
// the library would pass over, or lose when it writes.
#ifndef TOLVA_CLI_PROFILE_FILE_H
#define TOLVA_CLI_PROFILE_FILE_H

#include <string>

#include "cli/messages.h"

namespace cli {

// A pipe or a device would be emptied, or waited for, by whoever looks at it first. True for what is not there.
bool isPlainOrMissing(const char* path);
// Why a profile that the library did not find cannot be read.
const char* whyUnread(const char* path);
// The last line is not seen where nothing ends it.
bool hasOpenEnd(const char* path);
// Refuses a file that the library could not rewrite without loss, and answers the absolute path: the library looks for
// a name that it does not find in further places. A file that is not there is fine.
ExitStatus checkWritable(const char* path, std::string& absolute);
// Ends a last line that nothing ends: a rewrite would drop it. Does nothing where there is no file.
ExitStatus endLastLine(const std::string& path);

// A profile while it is being changed: nobody else changes it, and it can be put back as it was.
struct HeldProfile {
    std::string path;
    std::string before;
    bool existed;
    int folder;  // locked; -1 where it cannot be
};

ExitStatus holdProfile(const std::string& absolute, HeldProfile& held);
// Puts the file back as it was where the change was not done, and lets go.
void releaseProfile(HeldProfile& held, bool done);

}  // namespace cli

#endif
