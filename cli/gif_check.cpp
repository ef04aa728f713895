// gif_check.cpp: walks through a written GIF from signature to trailer. Called before the file is kept: the library
// passes on less than an exit status needs, and a file that ends early must never take an earlier one's place.

#include "cli/gif_check.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include <unistd.h>

namespace cli {
namespace {

constexpr char kSignature[] = {'G', 'I', 'F', '8', '9', 'a'};
constexpr uint8_t kExtension = 0x21;
constexpr uint8_t kImage = 0x2C;
constexpr uint8_t kTrailer = 0x3B;
constexpr uint8_t kHasTable = 0x80;
constexpr uint8_t kTableSize = 0x07;  // entries: 2 to the power of this field, times 2
constexpr int64_t kEntryBytes = 3;
constexpr size_t kHeaderBytes = 13;
constexpr size_t kWidthAt = 6;
constexpr size_t kHeightAt = 8;
constexpr size_t kScreenFlagsAt = 10;
constexpr size_t kDescriptorBytes = 9;  // behind the separator
constexpr size_t kImageFlagsAt = 8;

struct Walk {
    int file;              // or -1:
    const uint8_t* bytes;  // in memory
    int64_t count;
    int64_t bufferStart;
    size_t next;
    size_t end;
    uint8_t buffer[65536];
};

int64_t position(const Walk& walk) { return walk.bufferStart + static_cast<int64_t>(walk.next); }

ssize_t readFile(Walk& walk) {
    ssize_t got = -1;
    do {
        got = pread(walk.file, walk.buffer, sizeof walk.buffer, walk.bufferStart);
    } while (got < 0 && errno == EINTR);
    return got;
}

ssize_t readMemory(Walk& walk) {
    const int64_t left = std::max<int64_t>(walk.count - walk.bufferStart, 0);
    const auto got = static_cast<size_t>(std::min<int64_t>(left, sizeof walk.buffer));
    if (got > 0) std::memcpy(walk.buffer, walk.bytes + walk.bufferStart, got);
    return static_cast<ssize_t>(got);
}

bool refill(Walk& walk) {
    walk.bufferStart = position(walk);
    const ssize_t got = walk.file < 0 ? readMemory(walk) : readFile(walk);
    walk.next = 0;
    walk.end = got < 0 ? 0 : static_cast<size_t>(got);
    return walk.end > 0;
}

bool take(Walk& walk, uint8_t* to, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        if (walk.next >= walk.end && !refill(walk)) return false;
        to[i] = walk.buffer[walk.next++];
    }
    return true;
}

// Past the end is noticed by the next take.
void skip(Walk& walk, int64_t count) { walk.next += static_cast<size_t>(count); }

void skipTable(Walk& walk, uint8_t flags) {
    if ((flags & kHasTable) != 0) skip(walk, kEntryBytes << ((flags & kTableSize) + 1));
}

// `filled` says whether there was a byte in them.
bool passSubBlocks(Walk& walk, bool& filled) {
    filled = false;
    uint8_t length = 0;
    while (take(walk, &length, 1)) {
        if (length == 0) return true;
        filled = true;
        skip(walk, length);
    }
    return false;
}

bool passExtension(Walk& walk) {
    bool filled = false;
    skip(walk, 1);
    return passSubBlocks(walk, filled);
}

bool passImage(Walk& walk) {
    uint8_t descriptor[kDescriptorBytes];
    if (!take(walk, descriptor, sizeof descriptor)) return false;
    skipTable(walk, descriptor[kImageFlagsAt]);
    skip(walk, 1);
    bool filled = false;
    return passSubBlocks(walk, filled) && filled;
}

bool passBlocks(Walk& walk) {
    bool imageSeen = false;
    uint8_t kind = 0;
    while (take(walk, &kind, 1)) {
        if (kind == kTrailer) return imageSeen;
        if (kind != kExtension && kind != kImage) return false;
        if (kind == kExtension ? !passExtension(walk) : !passImage(walk)) return false;
        imageSeen = imageSeen || kind == kImage;
    }
    return false;
}

uint32_t wordAt(const uint8_t* bytes) { return bytes[0] | uint32_t{bytes[1]} << 8; }

bool walkThrough(Walk& walk, GifSummary& summary) {
    walk.bufferStart = 0;
    walk.next = walk.end = 0;
    uint8_t header[kHeaderBytes];
    if (!take(walk, header, sizeof header) || std::memcmp(header, kSignature, sizeof kSignature) != 0) return false;
    summary = {wordAt(header + kWidthAt), wordAt(header + kHeightAt), 0};
    skipTable(walk, header[kScreenFlagsAt]);
    if (!passBlocks(walk)) return false;
    summary.bytes = position(walk);
    uint8_t more = 0;
    return !take(walk, &more, 1);
}

}  // namespace

bool readWholeGif(int file, GifSummary& summary) {
    Walk walk;
    walk.file = file;
    return file >= 0 && walkThrough(walk, summary);
}

bool readWholeGif(const uint8_t* bytes, int64_t count, GifSummary& summary) {
    Walk walk;
    walk.file = -1;
    walk.bytes = bytes;
    walk.count = count;
    return walkThrough(walk, summary);
}

}  // namespace cli
