// dictionary.h: the strings of one LZW run, found by hash. Used by the encoder alone, which keeps codes and bits.
//
// Inside the dictionary a code goes by its mark, the code times an odd number modulo 4096, so that neighbouring codes
// lie far apart: where the string with one pixel more stands comes out of a mark with one shift and one XOR, which is
// all that lies between one look-up and the next. A slot holds the mark; the key it stands for lies elsewhere and is
// only compared.
#ifndef TOLVA_OUTPUT_DICTIONARY_H
#define TOLVA_OUTPUT_DICTIONARY_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "host/numbers.h"

namespace tolva {

using Mark = uint32_t;

constexpr uint32_t kMarkBits = 12;
constexpr uint32_t kMarks = 1u << kMarkBits;
constexpr uint32_t kMarkFactor = 2531;
constexpr uint32_t kSlotBits = 15;  // an eighth full at most: measured best from 13 to 16
constexpr uint32_t kSlots = 1u << kSlotBits;
constexpr uint32_t kPixelFactor = 10007;
constexpr Mark kNoMark = 0;  // that of code 0, which is a pixel alone and stands in no slot

// Flat areas are strings of one pixel repeated. They are remembered by length, so that a run is entered at its end
// instead of one look-up a pixel.
constexpr uint32_t kRememberedRun = 127;

constexpr uint32_t inverseFactor() {
    uint32_t inverse = 1;
    while (kMarkFactor * inverse % kMarks != 1) inverse += 2;
    return inverse;
}

constexpr Mark markOf(uint32_t code) { return code * kMarkFactor % kMarks; }
constexpr Mark nextMark(Mark mark) { return (mark + kMarkFactor) % kMarks; }
constexpr uint32_t codeOf(Mark mark) { return mark * inverseFactor() % kMarks; }
static_assert(codeOf(markOf(258)) == 258 && codeOf(nextMark(markOf(4088))) == 4089);

struct PixelTerms {
    Mark alone;       // the string of this pixel only
    uint32_t spread;  // its part in a place
};

inline constexpr std::array<PixelTerms, 256> kPixels = [] {
    std::array<PixelTerms, 256> terms = {};
    for (uint32_t p = 0; p < 256; ++p) terms[p] = {markOf(p), p * kPixelFactor % kSlots};
    return terms;
}();

struct Dictionary {
    uint16_t slots[kSlots];                  // marks
    uint32_t keys[kMarks];                   // by mark: the prefix's mark and the last pixel
    uint32_t longestRun[256];                // of each pixel: the longest remembered run
    uint16_t runs[256][kRememberedRun + 1];  // by length, from 2
};

inline void clearDictionary(Dictionary& d) {
    std::memset(d.slots, 0, sizeof d.slots);
    std::fill(std::begin(d.longestRun), std::end(d.longestRun), 1);
}

inline uint32_t keyOf(Mark prefix, uint32_t pixel) { return prefix << 8 | pixel; }

// The slot of the string with one pixel more, or the free slot where it belongs.
inline uint16_t& slotOf(Dictionary& d, Mark prefix, uint32_t pixel) {
    const uint32_t key = keyOf(prefix, pixel);
    uint32_t place = (prefix << (kSlotBits - kMarkBits)) ^ kPixels[pixel].spread;
    while (d.slots[place] != kNoMark && d.keys[d.slots[place]] != key) place = (place + 1) % kSlots;
    return d.slots[place];
}

inline void enter(Dictionary& d, uint16_t& freeSlot, Mark mark, Mark prefix, uint32_t pixel) {
    freeSlot = static_cast<uint16_t>(mark);
    d.keys[mark] = keyOf(prefix, pixel);
}

struct EnteredRun {
    const uint8_t* next;  // the first pixel behind it
    Mark string;
};

// How many of at most `most` pixels equal the first.
inline uint32_t repeats(const uint8_t* p, uint32_t most) {
    uint32_t n = 0;
    for (; n + 8 < most && load<uint64_t>(p + n) == load<uint64_t>(p + n + 1); n += 8) {
    }
    while (n < most && p[n] == p[0]) ++n;
    return n;
}

// At the start of a string whose pixel, p[-1], goes on repeating: the longest known run that fits. Left out of the
// encoder's loop, which needs its registers.
__attribute__((noinline)) inline EnteredRun enterRun(Dictionary& d, const uint8_t* p, const uint8_t* end) {
    const uint32_t pixel = p[-1];
    uint32_t& longest = d.longestRun[pixel];
    const uint32_t most = static_cast<uint32_t>(std::min<ptrdiff_t>(longest, end - p + 1));
    uint32_t length = repeats(p - 1, most);
    p += length - 1;
    Mark string = length > 1 ? d.runs[pixel][length] : kPixels[pixel].alone;
    // Runs that were entered into the dictionary since are remembered on the way.
    for (; p < end && *p == pixel && length == longest && longest < kRememberedRun; ++p) {
        const uint16_t longer = slotOf(d, string, pixel);
        if (longer == kNoMark) break;
        d.runs[pixel][++longest] = longer;
        string = longer;
        ++length;
    }
    return {p, string};
}

}  // namespace tolva

#endif
