// descriptors.cpp: reads and writes that the system may cut short. Called by the output file and by the profiles.

#include "cli/output/descriptors.h"

#include <cerrno>

#include "cli/output/system_calls.h"
#include "cli/terminal/stop.h"

namespace cli {

bool readRest(int file, std::string& text) {
    char piece[4096];
    ssize_t got = 0;
    while ((got = systemCalls.read(file, piece, sizeof piece)) > 0) text.append(piece, static_cast<size_t>(got));
    return got == 0;
}

bool writeAll(int file, const void* bytes, size_t count) {
    const auto* const from = static_cast<const char*>(bytes);
    for (size_t done = 0; done < count;) {
        const ssize_t some = systemCalls.write(file, from + done, count - done);
        if (some < 0 && (errno != EINTR || stopRequested())) return false;
        if (some > 0) done += static_cast<size_t>(some);
    }
    return true;
}

}  // namespace cli
