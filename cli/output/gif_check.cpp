// gif_check.cpp: looks at both ends of a written GIF. Called before the file takes its place: no write failed, but the
// library passes on less than an exit status needs, and one of its ways can end early without a word.

#include "cli/output/gif_check.h"

#include <cerrno>
#include <cstddef>
#include <cstring>

#include <sys/stat.h>

#include "cli/output/system_calls.h"

namespace cli {
namespace {

constexpr char kSignature[] = {'G', 'I', 'F', '8', '9', 'a'};
// The terminator of the pixels' sub-blocks and the trailer. Without pixels the code size would stand before the
// trailer.
constexpr char kEnd[] = {0x00, 0x3B};
constexpr size_t kWidthAt = 6;
constexpr size_t kHeightAt = 8;
constexpr size_t kHeadBytes = 10;

uint32_t wordAt(const uint8_t* bytes) { return bytes[0] | uint32_t{bytes[1]} << 8; }

bool readAt(int file, void* to, size_t count, int64_t position) {
    ssize_t got = -1;
    do {
        got = systemCalls.readAt(file, to, count, static_cast<off_t>(position));
    } while (got < 0 && errno == EINTR);
    return got == static_cast<ssize_t>(count);
}

}  // namespace

bool summariseGif(int file, GifSummary& summary) {
    uint8_t ends[kHeadBytes + sizeof kEnd];
    struct stat about = {};
    if (systemCalls.lookInto(file, &about) != 0 || about.st_size < static_cast<off_t>(sizeof ends)) return false;
    const bool read = readAt(file, ends, kHeadBytes, 0) &&
                      readAt(file, ends + kHeadBytes, sizeof kEnd, about.st_size - static_cast<off_t>(sizeof kEnd));
    if (!read || !summariseGif(ends, sizeof ends, summary)) return false;
    summary.bytes = about.st_size;
    return true;
}

bool summariseGif(const uint8_t* bytes, int64_t count, GifSummary& summary) {
    if (count < static_cast<int64_t>(kHeadBytes + sizeof kEnd)) return false;
    summary = {wordAt(bytes + kWidthAt), wordAt(bytes + kHeightAt), count};
    return std::memcmp(bytes, kSignature, sizeof kSignature) == 0 &&
           std::memcmp(bytes + count - sizeof kEnd, kEnd, sizeof kEnd) == 0;
}

}  // namespace cli
