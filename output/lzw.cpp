// lzw.cpp: pixels in, GIF's variant of LZW out, packed into sub-blocks. Each call is one segment: a run with a fresh
// dictionary, joined to the next by a clear code; a code that straddles the last byte is carried over through the
// stream itself. The codes are those of a linear search through the string table, first match first: a table holds no
// key twice while a run goes on, so looking a key up by hash finds the same entry.

#include "output/lzw.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "driver/driver.h"
#include "host/numbers.h"
#include "output/dictionary.h"
#include "stream/stream.h"

namespace {

using namespace tolva;

constexpr uint32_t kClearCode = 256;
constexpr uint32_t kEndCode = 257;
constexpr uint32_t kFirstFree = 258;
constexpr uint32_t kInitialWidth = 9;
// Next free codes at which codes grow by a bit, and at which the table is given up. The encoder enters a string one
// code before the decoder does, hence the 1.
constexpr uint32_t kWiden[] = {513, 1025, 2049};
constexpr uint32_t kReset = 4090;

constexpr uint32_t kBytesAhead = 6;  // a code is put into four bytes and clears the two behind them

// Bytes are handed on where the width changes. The most that comes together until then: a rest of a group, all codes
// between the last two thresholds, and the few that end a run.
constexpr size_t kMostBytes = kSubBlockBytes + (kReset - kWiden[2]) * 12 / 8 + 32;

struct BitPacker {
    uint64_t pending;  // bits not yet in the bytes, the next code's first bit at `used`
    uint32_t used;     // 0 to 7
    uint32_t filled;   // bytes since the last group written
    uint32_t lastPut;  // byte at which the last code began
};

struct Encoder {
    Handle stream;
    BitPacker bits;
    uint32_t width;
    uint32_t nextFree;
    Mark string;   // the current one
    bool flushed;  // a whole group was written
    uint8_t bytes[kMostBytes];
    Dictionary dictionary;
};

void storeLittle64(uint8_t* to, uint64_t value) {
    if constexpr (std::endian::native == std::endian::big) value = __builtin_bswap64(value);
    std::memcpy(to, &value, sizeof value);
}

inline void put(BitPacker& b, uint8_t* bytes, uint32_t code, uint32_t width) {
    b.lastPut = b.filled;
    b.pending |= uint64_t{code} << b.used;
    b.used += width;
    storeLittle64(bytes + b.filled, b.pending);
    b.filled += b.used >> 3;
    b.pending >>= b.used & ~7u;
    b.used &= 7;
}

void put(Encoder& e, uint32_t code) { put(e.bits, e.bytes, code, e.width); }

void startTable(Encoder& e) {
    e.width = kInitialWidth;
    e.nextFree = kFirstFree;
    clearDictionary(e.dictionary);
}

// A group at a time, so that a failed one does not take the next with it. Failures inside a segment are not reported:
// the terminator's is.
void flushGroups(Encoder& e) {
    uint32_t done = 0;
    for (; e.bits.filled - done >= kSubBlockBytes; done += kSubBlockBytes) {
        LZWWriteSubBlocks(e.stream, e.bytes + done, kSubBlockBytes);
    }
    if (done == 0) return;
    e.flushed = true;
    e.bits.filled -= done;
    std::memmove(e.bytes, e.bytes + done, e.bits.filled);
}

void testWidth(Encoder& e) {
    if (e.nextFree == kWiden[0] || e.nextFree == kWiden[1] || e.nextFree == kWiden[2]) ++e.width;
    if (e.nextFree != kReset) return;
    put(e, kClearCode);
    startTable(e);
}

// The next code at which testWidth has something to do.
uint32_t nextThreshold(uint32_t nextFree) {
    for (const uint32_t threshold : kWiden) {
        if (nextFree < threshold) return threshold;
    }
    return kReset;
}

// What is due when the next free code has reached a threshold; returns the next one.
__attribute__((noinline)) Mark atThreshold(Encoder& e, Mark next) {
    e.nextFree = codeOf(next);
    testWidth(e);
    flushGroups(e);
    return markOf(nextThreshold(e.nextFree));
}

// All pixels but a segment's first and last. The loop keeps what every code changes in registers and hands it back to
// the encoder at the thresholds.
void encodeRun(Encoder& e, const uint8_t* p, const uint8_t* end) {
    BitPacker bits = e.bits;
    Mark string = e.string;
    Mark next = markOf(e.nextFree);
    Mark threshold = markOf(nextThreshold(e.nextFree));
    uint32_t width = e.width;
    while (p < end) {
        const uint32_t pixel = *p++;
        uint16_t& slot = slotOf(e.dictionary, string, pixel);
        if (slot != kNoMark) {
            string = slot;
            continue;
        }
        enter(e.dictionary, slot, next, string, pixel);
        next = nextMark(next);
        put(bits, e.bytes, codeOf(string), width);
        string = kPixels[pixel].alone;
        if (next == threshold) {
            e.bits = bits;
            threshold = atThreshold(e, next);
            bits = e.bits;
            next = markOf(e.nextFree);
            width = e.width;
        }
        // Eight pixels that each equal the one before them.
        if (end - p >= 8 && load<uint64_t>(p) == load<uint64_t>(p - 1)) {
            const EnteredRun run = enterRun(e.dictionary, p, end);
            p = run.next;
            string = run.string;
        }
    }
    e.bits = bits;
    e.nextFree = codeOf(next);
    e.string = string;
}

// The last pixel closes the run: the string it completes, or the string before it and the pixel as a code of its own.
void encodeLast(Encoder& e, uint32_t pixel) {
    const Mark longer = slotOf(e.dictionary, e.string, pixel);
    const bool found = longer != kNoMark;
    // Kept: a string that was found is entered a second time, which keeps the next free code in step with the decoder.
    ++e.nextFree;
    put(e, codeOf(found ? longer : e.string));
    testWidth(e);
    if (found) return;
    put(e, pixel);
    // Kept: the test runs again though nothing was entered, so a closing code may come out a bit too wide.
    testWidth(e);
}

void encodePixels(Encoder& e, const SegmentRows& rows) {
    for (int64_t i = 0; i < rows.rows; ++i) {
        const uint8_t* p = rows.next(rows.context);
        const uint8_t* end = p + rows.rowBytes;
        if (i == 0) e.string = kPixels[*p++].alone;
        const bool lastRow = i + 1 == rows.rows;
        if (lastRow && p < end) --end;
        encodeRun(e, p, end);
        // Kept: a segment of one pixel ends here without having emitted it.
        if (lastRow && (i > 0 || rows.rowBytes > 1)) encodeLast(e, *end);
    }
}

// Takes back the byte that the segment before left behind its last sub-block; the next write covers it.
void takeParkedByte(Handle stream, uint8_t* work) {
    zunSeek(stream, -1, kFromCurrent);
    zunRead(stream, work, 1);
    zunSeek(stream, -1, kFromCurrent);
}

// Leaves the work buffer as packing code by code would: what it holds shows in the next segment if that is short.
void leaveWork(Encoder& e, uint8_t* work) {
    storeLittle64(e.bytes + e.bits.filled, e.bits.pending);
    if (e.flushed) std::memset(work, 0, kSubBlockBytes);
    std::memcpy(work, e.bytes, e.bits.lastPut + kBytesAhead);
}

int32_t encodeSegment(Encoder& e, Handle stream, const SegmentRows& rows, uint8_t* work, bool first, bool last,
                      uint32_t* carry) {
    e.stream = stream;
    e.flushed = false;
    startTable(e);
    const uint32_t carried = *carry & 7;  // it counts bits of a byte; more would lie outside the work buffer
    if (carried != 0) takeParkedByte(stream, work);
    // Codes are ORed onto what the first bytes hold, so whatever a caller left there goes into the file.
    const uint32_t held =
        uint32_t{work[0]} | uint32_t{work[1]} << 8 | uint32_t{work[2]} << 16 | uint32_t{work[3]} << 24;
    e.bits = {.pending = held, .used = carried, .filled = 0, .lastPut = 0};

    if (first) put(e, kClearCode);
    if (rows.rows > 0 && rows.rowBytes > 0) encodePixels(e, rows);
    flushGroups(e);
    put(e, last ? kEndCode : kClearCode);
    const uint32_t bytes = e.bits.filled + (last && e.bits.used > 0 ? 1 : 0);
    *carry = last ? 0 : e.bits.used;
    leaveWork(e, work);
    LZWWriteSubBlocks(stream, work, bytes);
    return static_cast<int32_t>(bytes);
}

// ---- The encoder's block ----

// Far too large for the stack of a host's worker thread, and kept between an image's segments, which may be many and
// short. A segment that is encoded from inside another, by a host's callback, has one of its own.
Handle keptBlock = 0;
bool keptBlockInUse = false;

int32_t encodeInBlock(Handle stream, const SegmentRows& rows, uint8_t* work, bool first, bool last, uint32_t* carry) {
    const bool nested = keptBlockInUse;
    Handle block = nested ? 0 : keptBlock;
    if (block == 0) block = GlobalAlloc(kMoveableZeroed, sizeof(Encoder));
    if (!nested) keptBlock = block;
    keptBlockInUse = true;
    Encoder& encoder = *static_cast<Encoder*>(GlobalLock(block));
    const int32_t bytes = encodeSegment(encoder, stream, rows, work, first, last, carry);
    keptBlockInUse = nested;
    if (nested) GlobalFree(block);
    return bytes;
}

struct OneRun {
    const uint8_t* pixels;
};

const uint8_t* nextOfOne(void* context) { return static_cast<OneRun*>(context)->pixels; }

// The block terminator behind the last segment, the partial byte behind any other.
int32_t closeSegment(Handle stream, const uint8_t* work, int32_t bytes, bool last, uint32_t carry) {
    constexpr uint8_t terminator = 0;
    int32_t result = kNoError;
    if (last && zunWriteChar(stream, &terminator, 1) != 1) result = kStreamFailed;
    if (carry != 0 && zunWriteChar(stream, work + bytes, 1) != 1) result = kStreamFailed;
    return result;
}

}  // namespace

namespace tolva {

int32_t compressRows(Handle stream, const SegmentRows& rows, uint8_t* work, bool first, bool last, uint32_t* carry) {
    const int64_t count = rows.rows * rows.rowBytes;
    // Kept: a short segment clears no more than its own length.
    if (count > 0) std::memset(work, 0, static_cast<size_t>(std::min<int64_t>(count, kSubBlockBytes)));
    const int32_t bytes = encodeInBlock(stream, rows, work, first, last, carry);
    return closeSegment(stream, work, bytes, last, *carry);
}

int32_t compressRun(Handle stream, const uint8_t* pixels, int32_t count, uint8_t* work, bool first, bool last,
                    uint32_t* carry) {
    OneRun run{pixels};
    return compressRows(stream, {nextOfOne, &run, 1, std::max(count, 0)}, work, first, last, carry);
}

void freeEncoder() {
    if (keptBlockInUse) return;
    GlobalFree(keptBlock);
    keptBlock = 0;
}

}  // namespace tolva

// By name there is no image whose end would free the block.

int32_t CompressAndWrite(Handle stream, const uint8_t* pixels, uint8_t* work, int32_t count, int32_t first,
                         int32_t last, uint32_t* carry) {
    const bool kept = keptBlock != 0;
    const int32_t result = compressRun(stream, pixels, count, work, first != 0, last != 0, carry);
    if (!kept) freeEncoder();
    return result;
}

int32_t LZWCompression(Handle stream, const uint8_t* pixels, uint8_t* work, int32_t count, int32_t first, int32_t last,
                       uint32_t* carry) {
    const bool kept = keptBlock != 0;
    OneRun run{pixels};
    const int32_t bytes =
        encodeInBlock(stream, {nextOfOne, &run, 1, std::max(count, 0)}, work, first != 0, last != 0, carry);
    if (!kept) freeEncoder();
    return bytes;
}

void LZWPutCode(uint8_t* work, uint32_t* bitPosition, uint32_t code, uint16_t width) {
    uint8_t* const p = work + *bitPosition / 8;
    const uint32_t value = code << (*bitPosition % 8);
    for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(p[i] | value >> (8 * i));
    p[4] = 0;
    p[5] = 0;
    *bitPosition += width;
}

int32_t LZWWriteSubBlocks(Handle stream, const uint8_t* bytes, uint32_t count) {
    while (count > 0) {
        const uint32_t piece = std::min<uint32_t>(count, kSubBlockBytes);
        const uint8_t length = static_cast<uint8_t>(piece);
        if (zunWriteChar(stream, &length, 1) < 1) return kStreamFailed;
        if (zunWrite(stream, bytes, static_cast<int32_t>(piece)) != static_cast<int32_t>(piece)) return kStreamFailed;
        bytes += piece;
        count -= piece;
    }
    return kNoError;
}
