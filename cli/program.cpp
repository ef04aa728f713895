// program.cpp: the command-line host starts and ends here; what is between is a command's.

#include "cli/program.h"

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

#include "cli/commands/commands.h"
#include "cli/library/library.h"
#include "cli/options/options.h"
#include "cli/terminal/messages.h"
#include "cli/terminal/stop.h"
#include "cli/terminal/text.h"

namespace cli {

namespace {

ExitStatus showVersion(const Options& options, const char* programWord) {
    std::printf("tolva %s\n", TOLVA_VERSION);
    Library library = {};
    const ExitStatus status = loadLibrary(library, options.library, programWord);
    if (status == kExitDone) std::printf("library 0x%08x, %s\n", library.version, shownText(library.path).c_str());
    const ExitStatus flushed = flushOutput();
    return status == kExitDone ? flushed : status;
}

// A process may be started without its standard files; the first files opened would then take their numbers, and
// messages would go into the GIF. Opened for reading only, so that writing a GIF there fails as it should.
void occupyStandardFiles() {
    int file = -1;
    do {
        file = open("/dev/null", O_RDONLY);
    } while (file >= 0 && file <= STDERR_FILENO);
    if (file >= 0) close(file);
}

ExitStatus runCommand(const Options& options, const char* programWord) {
    if (options.command == Command::kShowHelp) return printHelp();
    if (options.command == Command::kShowVersion) return showVersion(options, programWord);
    catchStopSignals();
    if (options.command == Command::kExport) return exportPicture(options, programWord);
    if (options.command == Command::kExportMany) return exportMany(options, programWord);
    return options.command == Command::kShowInfo ? showInfo(options, programWord) : runSetup(options, programWord);
}

}  // namespace

int runProgram(int count, char** words) {
    occupyStandardFiles();
    Options options;
    if (const ExitStatus failed = parseOptions(count, words, options)) return failed;
    setVerbosity(options.verbosity);
    const ExitStatus status = runCommand(options, count > 0 ? words[0] : "");
    return status == kExitStopped ? fail(status, "stopped") : status;
}

}  // namespace cli
