// lzw.cpp: pixels in, GIF's variant of LZW out, packed into sub-blocks. Each call is one segment: a run with a fresh
// dictionary, joined to the next by a clear code; a code that straddles the last byte is carried over through the stream
// itself. The codes are those of a linear search through the string table, first match first: a table holds no key twice
// while a run goes on, so looking a key up by hash finds the same entry.

#include "output/lzw.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>

#include "driver/driver.h"
#include "host/numbers.h"
#include "stream/stream.h"

namespace {

using namespace tolva;

constexpr uint32_t kClearCode = 256;
constexpr uint32_t kEndCode = 257;
constexpr uint32_t kFirstFree = 258;
constexpr uint32_t kInitialWidth = 9;
// Next free codes at which codes grow by a bit, and at which the table is given up. The encoder enters a string one code
// before the decoder does, hence the 1.
constexpr uint32_t kWiden[] = {513, 1025, 2049};
constexpr uint32_t kReset = 4090;

// The dictionary: open addressing. Inside it a code goes by its mark, the code times an odd number modulo 4096, so that
// neighbouring codes lie far apart. A slot is mark << 20 | prefix's mark << 8 | pixel: the place of the next longer string
// comes out of a slot with one shift and one XOR, which is all that stands between one look-up and the next. A free slot
// has all bits set; no string is its own prefix.
constexpr uint32_t kSlotBits = 14;
constexpr uint32_t kSlots = 1u << kSlotBits;
constexpr uint32_t kFreeSlot = UINT32_MAX;
constexpr uint32_t kKeyBits = 20;
constexpr uint32_t kKeyMask = (1u << kKeyBits) - 1;
constexpr uint32_t kMarks = 4096;
constexpr uint32_t kMarkFactor = 2531;
constexpr uint32_t kPixelFactor = 40503;

constexpr uint32_t inverseFactor() {
    uint32_t inverse = 1;
    while (kMarkFactor * inverse % kMarks != 1) inverse += 2;
    return inverse;
}
constexpr uint32_t kCodeFactor = inverseFactor();

constexpr uint32_t markOf(uint32_t code) { return code * kMarkFactor % kMarks; }
constexpr uint32_t codeOf(uint32_t mark) { return mark * kCodeFactor % kMarks; }

// Flat areas are strings of one pixel repeated. Their slots are remembered by length, so that a run is entered at its end
// instead of one look-up a pixel.
constexpr uint32_t kRememberedRun = 63;
constexpr uint64_t kEveryByte = 0x0101010101010101u;

constexpr uint32_t kBytesAhead = 6;  // a code is put into four bytes and clears the two behind them
constexpr uint32_t kGroups = 16;  // groups of sub-block data collected before they are written

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
    uint32_t prefix;  // the current string, as a slot: its mark at the top
    bool flushed;     // a whole group was written
    uint32_t slots[kSlots];
    uint32_t longestRun[256];              // of each pixel: the longest remembered string of nothing else
    uint32_t runs[256][kRememberedRun + 1];  // those strings by length, from 2
    uint8_t bytes[kGroups * kSubBlockBytes + 32];  // and the few codes that end a run
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
    std::memset(e.slots, 0xFF, sizeof e.slots);
    std::fill(std::begin(e.longestRun), std::end(e.longestRun), 1);
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

// Called when the next free code reaches a threshold or the bytes are full.
void afterCode(Encoder& e) {
    testWidth(e);
    if (e.bits.filled >= kGroups * kSubBlockBytes) flushGroups(e);
}

// The next code at which testWidth has something to do.
uint32_t nextThreshold(uint32_t nextFree) {
    for (const uint32_t threshold : kWiden) {
        if (nextFree < threshold) return threshold;
    }
    return kReset;
}

uint32_t stringOfPixel(uint32_t pixel) { return markOf(pixel) << kKeyBits; }
uint32_t keyOf(uint32_t string, uint32_t pixel) { return string >> kKeyBits << 8 | pixel; }

uint32_t firstPlace(uint32_t string, uint32_t pixel) {
    return (string >> (32 - kSlotBits)) ^ (pixel * kPixelFactor % kSlots);
}

// Where the string with one pixel more stands, or the free place where it belongs.
uint32_t placeOf(const Encoder& e, uint32_t string, uint32_t pixel) {
    const uint32_t key = keyOf(string, pixel);
    uint32_t place = firstPlace(string, pixel);
    while ((e.slots[place] & kKeyMask) != key && e.slots[place] != kFreeSlot) place = (place + 1) % kSlots;
    return place;
}

// At the start of a string whose pixel goes on repeating: the longest known run that fits, and the first pixel behind it.
const uint8_t* enterRun(Encoder& e, const uint8_t* p, const uint8_t* end, uint32_t pixel, uint32_t* string) {
    uint32_t& longest = e.longestRun[pixel];
    uint32_t length = 1;
    for (; p < end && *p == pixel && length < longest; ++p) ++length;
    if (length > 1) *string = e.runs[pixel][length];
    // Runs that were entered into the dictionary since are remembered on the way.
    for (; p < end && *p == pixel && length == longest && longest < kRememberedRun; ++p) {
        const uint32_t slot = e.slots[placeOf(e, *string, pixel)];
        if (slot == kFreeSlot) break;
        *string = e.runs[pixel][++longest] = slot;
        ++length;
    }
    return p;
}

// All pixels but a segment's first and last. The loop keeps what every code changes in registers and hands it back to the
// encoder where something rare happens.
void encodeRun(Encoder& e, const uint8_t* p, const uint8_t* end) {
    BitPacker bits = e.bits;
    uint32_t string = e.prefix;
    uint32_t nextFree = e.nextFree;
    uint32_t threshold = nextThreshold(nextFree);
    uint32_t width = e.width;
    while (p < end) {
        const uint32_t pixel = *p++;
        const uint32_t key = keyOf(string, pixel);
        uint32_t place = firstPlace(string, pixel);
        uint32_t slot = e.slots[place];
        while ((slot & kKeyMask) != key && slot != kFreeSlot) {
            place = (place + 1) % kSlots;
            slot = e.slots[place];
        }
        if (slot != kFreeSlot) {
            string = slot;
            continue;
        }
        e.slots[place] = markOf(nextFree++) << kKeyBits | key;
        put(bits, e.bytes, codeOf(string >> kKeyBits), width);
        string = stringOfPixel(pixel);
        if (nextFree == threshold || bits.filled >= kGroups * kSubBlockBytes) {
            e.bits = bits;
            e.nextFree = nextFree;
            afterCode(e);
            bits = e.bits;
            nextFree = e.nextFree;
            threshold = nextThreshold(nextFree);
            width = e.width;
        }
        if (end - p >= 8 && load<uint64_t>(p) == pixel * kEveryByte) p = enterRun(e, p, end, pixel, &string);
    }
    e.bits = bits;
    e.nextFree = nextFree;
    e.prefix = string;
}

// The last pixel closes the run: the string it completes, or the string before it and the pixel as a code of its own.
void encodeLast(Encoder& e, uint32_t pixel) {
    const uint32_t slot = e.slots[placeOf(e, e.prefix, pixel)];
    const bool found = slot != kFreeSlot;
    // Kept: a string that was found is entered a second time, which keeps the next free code in step with the decoder.
    ++e.nextFree;
    put(e, codeOf((found ? slot : e.prefix) >> kKeyBits));
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
        if (i == 0) e.prefix = stringOfPixel(*p++);
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

int32_t encodeSegment(Handle stream, const SegmentRows& rows, uint8_t* work, bool first, bool last, uint32_t* carry) {
    Encoder e;
    e.stream = stream;
    e.flushed = false;
    startTable(e);
    const uint32_t carried = *carry & 7;  // it counts bits of a byte; more would lie outside the work buffer
    if (carried != 0) takeParkedByte(stream, work);
    // Codes are ORed onto what the first bytes hold, so whatever a caller left there goes into the file.
    const uint32_t held = uint32_t{work[0]} | uint32_t{work[1]} << 8 | uint32_t{work[2]} << 16 | uint32_t{work[3]} << 24;
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
    const int32_t bytes = encodeSegment(stream, rows, work, first, last, carry);
    return closeSegment(stream, work, bytes, last, *carry);
}

}  // namespace tolva

int32_t CompressAndWrite(Handle stream, const uint8_t* pixels, uint8_t* work, int32_t count, int32_t first,
                         int32_t last, uint32_t* carry) {
    OneRun run{pixels};
    return compressRows(stream, {nextOfOne, &run, 1, std::max(count, 0)}, work, first != 0, last != 0, carry);
}

int32_t LZWCompression(Handle stream, const uint8_t* pixels, uint8_t* work, int32_t count, int32_t first, int32_t last,
                       uint32_t* carry) {
    OneRun run{pixels};
    return encodeSegment(stream, {nextOfOne, &run, 1, std::max(count, 0)}, work, first != 0, last != 0, carry);
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
