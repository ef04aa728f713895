// lzw.cpp: pixels in, GIF's variant of LZW out, packed into sub-blocks. Each call is one segment: a run with a fresh
// dictionary, joined to the next by a clear code; a code that straddles the last byte is carried over through the
// stream itself. The codes are those of a linear search through the string table, first match first: a table holds no
// key twice while a run goes on, so looking a key up by hash finds the same entry.

#include "output/lzw.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include <tolva/driver.h>
#include <tolva/stream.h>
#include "host/numbers.h"
#include "output/ahead.h"
#include "output/dictionary.h"

using namespace tolva;

namespace {

constexpr uint32_t kClearCode = 256;
constexpr uint32_t kEndCode = 257;
constexpr uint32_t kFirstFree = 258;
constexpr uint32_t kInitialWidth = 9;
// Next free codes at which codes grow by a bit, and at which the table is given up. The encoder enters a string one
// code before the decoder does, hence the 1.
constexpr uint32_t kWiden[] = {513, 1025, 2049};
constexpr uint32_t kReset = 4090;
static_assert(kReset * kOneTry < kTriesOfAlone && kReset <= kCodes);

// Strings are sought ahead where a table has more pixels than the first, and less than the second.
constexpr int64_t kStrings = kReset - kFirstFree;
constexpr int64_t kFewestAhead = kStrings * 5 / 4;
constexpr int64_t kMostAhead = kStrings * 9 / 2;

// Runs are sought only where so many pixels are left.
constexpr ptrdiff_t kRunPixels = 8;

constexpr uint32_t kBytesAhead = 6;  // a code is put into four bytes and clears the two behind them

// Codes are packed and handed on where the width changes. The most that comes together until then: a rest of a group,
// all codes between the last two thresholds, and the few that end a run.
constexpr size_t kMostBytes = kSubBlockBytes + (kReset - kWiden[2]) * 12 / 8 + 32;

struct BitPacker {
    uint64_t pending;  // bits not yet in the bytes, the next code's first bit at `used`
    uint32_t used;     // 0 to 7
    uint32_t filled;   // bytes since the last group written
    uint32_t lastPut;  // byte at which the last code began
};

}  // namespace

namespace tolva {

struct Encoder {
    Handle stream;
    uint8_t* work;    // the caller's, up to the end
    uint32_t* carry;  // the caller's
    int64_t left;     // pixels to come
    bool begun;       // a pixel has come
    BitPacker bits;
    uint32_t width;
    uint32_t nextFree;
    bool ahead;                // strings are sought ahead
    int64_t leftAtStart;       // of the table: pixels to come
    uint32_t packed;           // what was emitted before the next free code was this is in the bytes
    String string;             // the current one
    bool flushed;              // a whole group was written
    uint16_t emitted[kReset];  // by the next free code at which it was: what waits to be packed
    uint8_t bytes[kMostBytes];
    Dictionary dictionary;
};

}  // namespace tolva

namespace {

void storeLittle64(uint8_t* to, uint64_t value) {
    if constexpr (std::endian::native == std::endian::big) value = __builtin_bswap64(value);
    std::memcpy(to, &value, sizeof value);
}

void put(BitPacker& b, uint8_t* bytes, uint64_t code, uint32_t width) {
    b.lastPut = b.filled;
    b.pending |= code << b.used;
    b.used += width;
    storeLittle64(bytes + b.filled, b.pending);
    b.filled += b.used >> 3;
    b.pending >>= b.used & ~7u;
    b.used &= 7;
}

void put(Encoder& e, uint32_t code) { put(e.bits, e.bytes, code, e.width); }

// Four codes at a time, which together are far cheaper than a code at a time where it is emitted: there the packer's
// state is in the way of the search.
template <uint32_t width>
void putAll(Encoder& e, const uint16_t* code, const uint16_t* end) {
    BitPacker bits = e.bits;
    for (; end - code >= 4; code += 4) {
        const uint64_t low = code[0] | uint64_t{code[1]} << width;
        const uint64_t high = code[2] | uint64_t{code[3]} << width;
        put(bits, e.bytes, low | high << 2 * width, 4 * width);
    }
    for (; code < end; ++code) put(bits, e.bytes, *code, width);
    e.bits = bits;
}
constexpr decltype(&putAll<kInitialWidth>) kPutAll[] = {putAll<9>, putAll<10>, putAll<11>, putAll<12>};

void packEmitted(Encoder& e) {
    kPutAll[e.width - kInitialWidth](e, e.emitted + e.packed, e.emitted + e.nextFree);
    e.packed = e.nextFree;
}

void startTable(Encoder& e) {
    e.width = kInitialWidth;
    e.nextFree = kFirstFree;
    e.packed = kFirstFree;
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

// For the next table, by how long this one's strings were on average. Seeking ahead, a pixel costs the same whether
// its string goes on or not; the other way costs little as long as that does not change.
void chooseSearch(Encoder& e, int64_t left) {
    const int64_t pixels = e.leftAtStart - left;
    e.ahead = pixels > kFewestAhead && pixels < kMostAhead;
    e.leftAtStart = left;
}

// What is due when the next free code has reached a threshold; returns the next one. `left`: pixels to come.
__attribute__((noinline)) uint32_t atThreshold(Encoder& e, uint32_t next, int64_t left) {
    e.nextFree = next;
    packEmitted(e);
    testWidth(e);
    flushGroups(e);
    if (next == kReset) chooseSearch(e, left);
    return nextThreshold(e.nextFree);
}

// Pixels up to `stop`, or a few more where a run goes on, or fewer where strings are to be sought ahead. Runs are
// sought only where kRunPixels are left at `stop`.
template <bool seeksRuns>
const uint8_t* encodePart(Encoder& e, const uint8_t* p, const uint8_t* stop, const uint8_t* end) {
    String string = e.string;
    uint32_t next = e.nextFree;
    uint32_t threshold = nextThreshold(next);
    while (p < stop) {
        uint32_t pixel = *p++;
        Place place;
        bool known;
        // A loop in the loop, because the compiler then makes one jump of what most pixels go through.
        while ((known = find(e.dictionary, string, pixel, place))) {
            string = place.slot;
            if (p == stop) break;
            pixel = *p++;
        }
        if (known) break;
        e.emitted[next] = e.dictionary.codes[string];
        enter(e.dictionary, place, next++);
        string = alone(pixel);
        if (next == threshold) {
            threshold = atThreshold(e, next, e.left + (end - p));
            next = e.nextFree;
            if (seeksRuns && e.ahead) break;
        }
        // kRunPixels that each equal the one before them.
        if (seeksRuns && load<uint64_t>(p) == load<uint64_t>(p - 1)) {
            const EnteredRun run = enterRun(e.dictionary, p, end);
            p = run.next;
            string = run.string;
        }
    }
    e.nextFree = next;
    e.string = string;
    return p;
}

// All pixels but the last, or fewer where strings are no longer to be sought ahead: a flat area may begin in mid-table.
const uint8_t* encodeAhead(Encoder& e, const uint8_t* p, const uint8_t* end) {
    while (end - p > 1 && e.ahead) {
        const uint32_t threshold = nextThreshold(e.nextFree);
        const int64_t allowed = kMostAhead - (e.leftAtStart - (e.left + (end - p)));
        e.ahead = allowed > 0;
        const uint8_t* const stop = p + std::clamp<int64_t>(allowed, 0, end - 1 - p);
        const Search done = searchAhead(e.dictionary, {p, e.string, e.nextFree}, stop, threshold, e.emitted);
        p = done.next;
        e.string = done.string;
        e.nextFree = done.nextFree;
        if (e.nextFree == threshold) atThreshold(e, threshold, e.left + (end - p));
    }
    return p;
}

// All pixels but a segment's first and last.
void encodeRun(Encoder& e, const uint8_t* p, const uint8_t* end) {
    while (end - p > kRunPixels) p = e.ahead ? encodeAhead(e, p, end) : encodePart<true>(e, p, end - kRunPixels, end);
    encodePart<false>(e, p, end, end);
}

// The last pixel closes the run: the string it completes, or the string before it and the pixel as a code of its own.
void encodeLast(Encoder& e, uint32_t pixel) {
    packEmitted(e);
    Place longer;
    const bool found = find(e.dictionary, e.string, pixel, longer);
    // Kept: a string that was found is entered a second time, which keeps the next free code in step with the decoder.
    e.packed = ++e.nextFree;
    put(e, e.dictionary.codes[found ? longer.slot : e.string]);
    testWidth(e);
    if (found) return;
    put(e, pixel);
    // Kept: the test runs again though nothing was entered, so a closing code may come out a bit too wide; the files
    // that hosts have end so.
    testWidth(e);
}

// Takes back the byte that the segment before left behind its last sub-block; the next write covers it.
void takeParkedByte(Handle stream, uint8_t* work) {
    zunSeek(stream, -1, kTolvaFromCurrent);
    zunRead(stream, work, 1);
    zunSeek(stream, -1, kTolvaFromCurrent);
}

// Leaves the work buffer as packing code by code would: what it holds shows in the next segment if that is short.
void leaveWork(Encoder& e, uint8_t* work) {
    storeLittle64(e.bytes + e.bits.filled, e.bits.pending);
    if (e.flushed) std::memset(work, 0, kSubBlockBytes);
    std::memcpy(work, e.bytes, e.bits.lastPut + kBytesAhead);
}

void openSegment(Encoder& e, Handle stream, int64_t pixels, uint8_t* work, bool first, uint32_t* carry) {
    e.stream = stream;
    e.work = work;
    e.carry = carry;
    e.left = pixels;
    e.leftAtStart = pixels;
    e.begun = false;
    e.flushed = false;
    startTable(e);
    const uint32_t carried = *carry & 7;  // it counts bits of a byte; more would lie outside the work buffer
    if (carried != 0) takeParkedByte(stream, work);
    // Codes are ORed onto what the first bytes hold, so whatever a caller left there goes into the file.
    const uint32_t held =
        uint32_t{work[0]} | uint32_t{work[1]} << 8 | uint32_t{work[2]} << 16 | uint32_t{work[3]} << 24;
    e.bits = {.pending = held, .used = carried, .filled = 0, .lastPut = 0};
    if (first) put(e, kClearCode);
}

// The closing code; returns the whole bytes of the last flush.
int32_t closeSegment(Encoder& e, bool last) {
    if (e.left > 0) packEmitted(e);  // fewer pixels came than were to come
    flushGroups(e);
    put(e, last ? kEndCode : kClearCode);
    const uint32_t bytes = e.bits.filled + (last && e.bits.used > 0 ? 1 : 0);
    *e.carry = last ? 0 : e.bits.used;
    leaveWork(e, e.work);
    LZWWriteSubBlocks(e.stream, e.work, bytes);
    return static_cast<int32_t>(bytes);
}

// ---- The encoder's block ----

// Far too large for the stack of a host's worker thread, and held between an image's segments, which may be many and
// short. A segment that is begun inside another, by a host's callback, has one of its own.
Handle encoderBlock = 0;
bool encoderInUse = false;

Encoder& takeEncoder() {
    if (encoderInUse) return *static_cast<Encoder*>(GlobalLock(GlobalAlloc(kTolvaMoveableZeroed, sizeof(Encoder))));
    if (encoderBlock == 0) encoderBlock = GlobalAlloc(kTolvaMoveableZeroed, sizeof(Encoder));
    encoderInUse = true;
    return *static_cast<Encoder*>(GlobalLock(encoderBlock));
}

void leaveEncoder(Encoder& e) {
    if (&e == GlobalLock(encoderBlock)) {
        encoderInUse = false;
    } else {
        GlobalFree(GlobalHandle(&e));
    }
}

// The block terminator behind the last segment, the partial byte behind any other.
int32_t writeEnd(const Encoder& e, int32_t bytes, bool last) {
    constexpr uint8_t terminator = 0;
    int32_t result = kTolvaNoError;
    if (last && zunWriteChar(e.stream, &terminator, 1) != 1) result = kTolvaStreamFailed;
    if (*e.carry != 0 && zunWriteChar(e.stream, e.work + bytes, 1) != 1) result = kTolvaStreamFailed;
    return result;
}

}  // namespace

namespace tolva {

Encoder& beginSegment(Handle stream, int64_t pixels, uint8_t* work, bool first, uint32_t* carry) {
    // Kept: a short segment clears no more than its own length; what the caller left behind it shows in the file, and
    // files of hosts that leave something there would change.
    if (pixels > 0) std::memset(work, 0, static_cast<size_t>(std::min<int64_t>(pixels, kSubBlockBytes)));
    Encoder& e = takeEncoder();
    openSegment(e, stream, pixels, work, first, carry);
    return e;
}

void encodeRow(Encoder& e, const uint8_t* row, int64_t pixels) {
    if (pixels <= 0) return;
    const uint8_t* p = row;
    const uint8_t* const end = row + pixels;
    e.left -= pixels;
    if (!e.begun) e.string = alone(*p++);
    e.begun = true;
    // Kept: a segment of one pixel ends here without having emitted it; hosts know the file of a single pixel by that.
    if (e.left > 0 || p == end) return encodeRun(e, p, end);
    encodeRun(e, p, end - 1);
    encodeLast(e, end[-1]);
}

int32_t endSegment(Encoder& e, bool last) {
    const int32_t result = writeEnd(e, closeSegment(e, last), last);
    leaveEncoder(e);
    return result;
}

void freeEncoder() {
    if (encoderInUse) return;
    GlobalFree(encoderBlock);
    encoderBlock = 0;
}

}  // namespace tolva

namespace {

// By name there is no image whose end would free the block.
template <class Encode>
int32_t encodeByName(Encode encode) {
    const bool stood = encoderBlock != 0;
    const int32_t result = encode();
    if (!stood) freeEncoder();
    return result;
}

}  // namespace

int32_t CompressAndWrite(Handle stream, const uint8_t* pixels, uint8_t* work, int32_t count, int32_t first,
                         int32_t last, uint32_t* carry) {
    return encodeByName([=] {
        Encoder& e = beginSegment(stream, count, work, first != 0, carry);
        encodeRow(e, pixels, count);
        return endSegment(e, last != 0);
    });
}

int32_t LZWCompression(Handle stream, const uint8_t* pixels, uint8_t* work, int32_t count, int32_t first, int32_t last,
                       uint32_t* carry) {
    return encodeByName([=] {
        Encoder& e = takeEncoder();
        openSegment(e, stream, count, work, first != 0, carry);
        encodeRow(e, pixels, count);
        const int32_t bytes = closeSegment(e, last != 0);
        leaveEncoder(e);
        return bytes;
    });
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
        if (zunWriteChar(stream, &length, 1) < 1) return kTolvaStreamFailed;
        if (zunWrite(stream, bytes, static_cast<int32_t>(piece)) != static_cast<int32_t>(piece))
            return kTolvaStreamFailed;
        bytes += piece;
        count -= piece;
    }
    return kTolvaNoError;
}
