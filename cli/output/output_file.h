// output_file.h: where the GIF goes. It is written to a temporary file, or to memory where nothing can be renamed, and
// takes its place only when it is whole, so that a failed or stopped export leaves no trace and an earlier file
// unharmed.
#ifndef TOLVA_CLI_OUTPUT_OUTPUT_FILE_H
#define TOLVA_CLI_OUTPUT_OUTPUT_FILE_H

#include <string>

#include <sys/types.h>

#include "cli/output/host_file.h"
#include "cli/terminal/messages.h"

namespace cli {

struct OutputFile {
    const char* shown;  // the name in messages
    bool overwrite;
    bool streamed;     // sent to a pipe, a device or standard output, not renamed
    bool throughHost;  // the library writes to `hostFile`
    mode_t mode;       // for the finished file
    uid_t owner;       // and, where it replaces one, whose that is
    gid_t group;
    int folder;                 // of the target, symbolic links followed
    std::string name;           // in that folder
    int standardOutput;         // for "-": standard output as it was, else -1
    int temporary;              // or -1
    std::string temporaryName;  // in the folder
    std::string libraryName;    // what the driver is told to open where it writes by itself
    HostFile hostFile;
};

// Finds out where the path leads and refuses what could not be kept in the end. Writes nothing yet.
ExitStatus locateOutput(OutputFile& output, const char* path, bool overwrite);
// Makes the temporary file, or where there is to be none, memory. `throughHost`: whether the file, too, is to be
// written by the host and not by the library, which knows less of what went wrong. Where it is not, this changes to the
// target's folder.
ExitStatus openOutput(OutputFile& output, bool throughHost);
// Puts what was written in its place, when no write failed and it begins and ends as a GIF.
ExitStatus keepOutput(OutputFile& output);
// Releases everything; removes the temporary file unless it was kept.
void closeOutput(OutputFile& output);

}  // namespace cli

#endif
