// messages.cpp: lines to standard error. Called from everywhere in the command-line host; owns the verbosity.

#include "cli/terminal/messages.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "cli/terminal/bar.h"
#include "cli/terminal/text.h"

namespace cli {
namespace {

constexpr int kLongestLine = 8192;  // room for a path of the system's longest and its sentence

Verbosity chosenVerbosity = kNormal;

// One write a line: the messages of several programs in a pipeline then do not mix within a line.
void printLine(const char* format, va_list arguments) {
    char text[kLongestLine];
    std::vsnprintf(text, sizeof text, format, arguments);
    clearBar();
    std::fputs(("tolva: " + shownText(text) + '\n').c_str(), stderr);
}

}  // namespace

void setVerbosity(Verbosity verbosity) { chosenVerbosity = verbosity; }

ExitStatus fail(ExitStatus status, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    printLine(format, arguments);
    va_end(arguments);
    return status;
}

void warn(const char* format, ...) {
    if (chosenVerbosity == kQuiet) return;
    va_list arguments;
    va_start(arguments, format);
    printLine(format, arguments);
    va_end(arguments);
}

void note(const char* format, ...) {
    if (chosenVerbosity != kVerbose) return;
    va_list arguments;
    va_start(arguments, format);
    printLine(format, arguments);
    va_end(arguments);
}

ExitStatus flushOutput() {
    const bool failedBefore = std::ferror(stdout) != 0;
    if (std::fflush(stdout) == 0 && !failedBefore) return kExitDone;
    return fail(kExitOutputFailed, "standard output: %s", std::strerror(errno));
}

}  // namespace cli
