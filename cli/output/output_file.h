// output_file.h: where the GIF goes. It is written to a temporary file, or to memory where nothing can be renamed, and
// takes its place only when it is whole, so that a failed or stopped export leaves no trace and an earlier file
// unharmed.
#ifndef TOLVA_CLI_OUTPUT_OUTPUT_FILE_H
#define TOLVA_CLI_OUTPUT_OUTPUT_FILE_H

#include <string>

#include <fcntl.h>
#include <sys/types.h>

#include "cli/output/gif_check.h"
#include "cli/output/host_file.h"
#include "cli/terminal/messages.h"

namespace cli {

inline constexpr size_t kTemporaryNameBytes = 64;

struct OutputFile {
    const char* shown = nullptr;  // the name in messages
    bool overwrite = false;
    bool streamed = false;     // sent to a pipe, a device or standard output, not renamed
    bool throughHost = false;  // the library writes to `hostFile`
    mode_t mode = 0;           // for the finished file
    uid_t owner = 0;           // and, where it replaces one, whose that is
    gid_t group = 0;
    int folder = AT_FDCWD;    // of the target, symbolic links followed
    std::string name;         // in that folder
    int standardOutput = -1;  // for "-": standard output as it was
    int temporary = -1;
    std::string temporaryName;  // in the folder
    std::string libraryName;    // what the driver is told to open where it writes by itself
    HostFile hostFile;
    GifSummary summary = {};  // once it stands in its place

    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();  // removes the temporary file unless it took its place
};

// Finds out where the path leads and refuses what could not take its place in the end. Writes nothing yet.
ExitStatus locateOutput(OutputFile& output, const char* path, bool overwrite);
// From here on the name of a temporary file stands at `place` as soon as it is made: of memory that is shared, for a
// process that outlives this one and removes what this one could not.
void keepTemporaryName(char* place);
// Makes the temporary file, or where there is to be none, memory. `throughHost`: whether the file, too, is to be
// written by the host and not by the library, which knows less of what went wrong. Where it is not, this changes to the
// target's folder.
ExitStatus openOutput(OutputFile& output, bool throughHost);
// Puts what was written in its place, when no write failed and it begins and ends as a GIF.
ExitStatus placeOutput(OutputFile& output);

}  // namespace cli

#endif
