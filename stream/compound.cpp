// compound.cpp: reading a sub-stream of a compound document through the buffered file that holds it. Large sub-streams
// lie in 512-byte sectors; small ones in 64-byte mini-sectors, which themselves lie end to end in a container stream.
// Who opens the sub-stream loads the two link tables and sets the record's doc fields.

#include <algorithm>

#include "host/numbers.h"
#include "stream/buffer.h"

using namespace tolva;

namespace {

constexpr uint32_t kSectorBytes = 512;
constexpr uint32_t kMiniSectorBytes = 64;
constexpr uint32_t kSmallestLarge = 4096;  // a sub-stream of fewer bytes lies in mini-sectors

struct Links {
    const uint8_t* entries;
    uint32_t count;
};

Links linksOf(Handle table) {
    return {static_cast<const uint8_t*>(GlobalLock(table)), GlobalSize(table) / uint32_t{sizeof(uint32_t)}};
}

// Follows `steps` links from *sector. False where the chain leaves its table, at an end mark too, or must be a circle
// because it is longer than the table: the read then ends short instead of following it for ever. A start is no link
// and may lie anywhere, as long as nothing is to be followed from it.
bool follow(Links links, uint32_t steps, uint32_t* sector) {
    if (steps == 0) return true;
    if (steps > links.count || *sector >= links.count) return false;
    for (; steps > 0; --steps) {
        *sector = load<uint32_t>(links.entries + size_t{*sector} * sizeof(uint32_t));
        if (*sector >= links.count) return false;
    }
    return true;
}

uint64_t offsetInFile(uint32_t sector, uint32_t within) { return (uint64_t{sector} + 1) * kSectorBytes + within; }

// Where the sub-stream's current byte lies in the file, given the sector or mini-sector that holds it.
bool locate(const StreamRecord& s, bool large, uint32_t sector, uint64_t* offset) {
    if (large) {
        *offset = offsetInFile(sector, s.docPosition % kSectorBytes);
        return true;
    }
    const uint64_t place = uint64_t{sector} * kMiniSectorBytes + s.docPosition % kMiniSectorBytes;
    uint32_t container = s.docMiniStreamStart;
    if (!follow(linksOf(s.docSectorTable), static_cast<uint32_t>(place / kSectorBytes), &container)) return false;
    *offset = offsetInFile(container, static_cast<uint32_t>(place % kSectorBytes));
    return true;
}

bool readAt(StreamRecord& s, uint64_t offset, uint8_t* buffer, uint32_t bytes) {
    if (offset > INT32_MAX) return false;
    const int32_t count = static_cast<int32_t>(bytes);
    return seekPlain(s, static_cast<int32_t>(offset), kTolvaFromStart) != -1 && readPlain(s, buffer, count) == count;
}

}  // namespace

int32_t docRead(Handle stream, void* buffer, int32_t count) {
    StreamRecord* const record = lockStream(stream);
    if (record == nullptr) return 0;
    StreamRecord& s = *record;
    const bool large = s.docSize >= kSmallestLarge;
    const uint32_t blockBytes = large ? kSectorBytes : kMiniSectorBytes;
    const Links links = linksOf(large ? s.docSectorTable : s.docMiniSectorTable);

    const uint32_t rest = s.docSize > s.docPosition ? s.docSize - s.docPosition : 0;
    uint32_t left = std::min(static_cast<uint32_t>(std::max(count, 0)), rest);
    uint32_t sector = s.docStartSector;
    bool more = follow(links, s.docPosition / blockBytes, &sector);
    uint8_t* to = static_cast<uint8_t*>(buffer);

    s.docMode = 0;  // so that the reads below reach the file itself
    while (more && left > 0) {
        const uint32_t piece = std::min(left, blockBytes - s.docPosition % blockBytes);
        uint64_t offset = 0;
        if (!locate(s, large, sector, &offset)) break;
        // Kept: a piece counts whole even when its read came up short; readers go by the length that the document
        // states.
        more = readAt(s, offset, to, piece);
        to += piece;
        left -= piece;
        s.docPosition += piece;
        more = more && (left == 0 || follow(links, 1, &sector));
    }
    s.docMode = 1;
    return static_cast<int32_t>(to - static_cast<uint8_t*>(buffer));
}

int32_t docSeek(Handle stream, int32_t offset, int32_t origin) {
    StreamRecord* const s = lockStream(stream);
    if (s == nullptr) return -1;
    int64_t target = 0;
    switch (origin) {
        case kTolvaFromStart: target = offset; break;
        case kTolvaFromCurrent: target = int64_t{s->docPosition} + offset; break;
        case kTolvaFromEnd: target = int64_t{s->docSize} - offset; break;
        default: return -1;
    }
    s->docPosition = static_cast<uint32_t>(std::clamp<int64_t>(target, 0, s->docSize));
    return static_cast<int32_t>(s->docPosition);
}
