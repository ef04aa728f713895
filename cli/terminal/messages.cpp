// messages.cpp: lines to standard error. Called from everywhere in the command-line host; owns the verbosity.

#include "cli/terminal/messages.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "cli/terminal/bar.h"
#include "cli/terminal/text.h"

namespace cli {
namespace {

constexpr int kLongestLine = 8192;  // room for a path of the system's longest and its sentence

Verbosity chosenVerbosity = kNormal;
const char* lineSubject = nullptr;
char* keptFailure = nullptr;
size_t keptBytes = 0;

// One write a line: the messages of several programs in a pipeline then do not mix within a line.
void printLine(const char* format, va_list arguments) {
    char text[kLongestLine];
    std::vsnprintf(text, sizeof text, format, arguments);
    clearBar();
    const std::string subject = lineSubject == nullptr ? "" : std::string(lineSubject) + ": ";
    const std::string_view line = text;
    std::fputs(("tolva: " + shownText(line.starts_with(subject) ? text : subject + text) + '\n').c_str(), stderr);
}

}  // namespace

void setVerbosity(Verbosity verbosity) { chosenVerbosity = verbosity; }

void setSubject(const char* subject) { lineSubject = subject; }

void keepFailures(char* text, size_t size) {
    keptFailure = text;
    keptBytes = size;
}

ExitStatus fail(ExitStatus status, const char* format, ...) {
    va_list arguments;
    if (keptFailure != nullptr) {
        va_start(arguments, format);
        std::vsnprintf(keptFailure, keptBytes, format, arguments);
        va_end(arguments);
    }
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
