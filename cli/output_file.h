// output_file.h: where the GIF goes. It is written to a temporary file and takes its place only when it is whole, so
// that a failed or stopped export leaves no trace and an earlier file unharmed.
#ifndef TOLVA_CLI_OUTPUT_FILE_H
#define TOLVA_CLI_OUTPUT_FILE_H

#include <string>

#include <sys/types.h>

#include "cli/messages.h"

namespace cli {

struct OutputFile {
    const char* shown;  // the name in messages
    bool overwrite;
    bool streamed;       // copied to a pipe, a device or standard output, not renamed
    mode_t mode;         // for the finished file
    int folder;          // of the target, symbolic links followed
    std::string name;    // in that folder
    int standardOutput;  // for "-": standard output as it was, else -1
    int temporary;
    std::string temporaryName;  // in the folder; empty for a temporary file without a name
    std::string libraryName;    // what the driver is told to open
};

// Finds out where the path leads and refuses what could not be kept in the end. Writes nothing yet.
ExitStatus locateOutput(OutputFile& output, const char* path, bool overwrite);
ExitStatus createTemporary(OutputFile& output);
// Reads the temporary file back and, when it is a whole GIF, puts it in its place.
ExitStatus keepOutput(OutputFile& output);
// Releases everything; removes the temporary file unless it was kept.
void closeOutput(OutputFile& output);

}  // namespace cli

#endif
