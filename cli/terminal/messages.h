// messages.h: what the user is told, and how the process ends. Everything the command-line host says goes to standard
// error as one line that starts with the program's name; standard output belongs to the GIF, or to what was asked for.
#ifndef TOLVA_CLI_TERMINAL_MESSAGES_H
#define TOLVA_CLI_TERMINAL_MESSAGES_H

#include <cstddef>

namespace cli {

enum ExitStatus {
    kExitDone = 0,
    kExitExportFailed = 1,  // the library or its driver: the driver's code and its meaning are printed
    kExitWrongUsage = 2,
    kExitInputRefused = 3,  // the picture or the profile could not be read, or is one that is not taken
    kExitOutputFailed = 4,  // the GIF or the profile could not be written
    kExitStopped = 5
};

enum Verbosity { kQuiet, kNormal, kVerbose };

void setVerbosity(Verbosity verbosity);
// Where a run has many pictures: from here on every line tells its `subject`, which stands in front where the line does
// not begin with it, unless it is null.
void setSubject(const char* subject);
// And what `fail` says goes here too, cut to fit.
void keepFailures(char* text, size_t size);

// Says why it ends and hands the status back, so that a function leaves where it fails in one line.
[[nodiscard, gnu::format(printf, 2, 3)]] ExitStatus fail(ExitStatus status, const char* format, ...);
// Not when quiet.
[[gnu::format(printf, 1, 2)]] void warn(const char* format, ...);
// Only when verbose.
[[gnu::format(printf, 1, 2)]] void note(const char* format, ...);

// For commands whose result is text on standard output: says where it did not arrive.
[[nodiscard]] ExitStatus flushOutput();

}  // namespace cli

#endif
