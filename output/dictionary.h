// dictionary.h: the strings of one LZW run, found by hash. Used by the encoder, which packs codes and bits.
//
// A string goes by the slot that it stands in. Which slot that is comes out of the slot of its prefix and its last
// pixel, so that nothing is loaded between one look-up and the next: the load only confirms. For that a slot holds the
// last pixel and how many slots were tried: from both the first slot tried follows, and from that, the factor being
// odd, the prefix, which need not be compared.
#ifndef TOLVA_OUTPUT_DICTIONARY_H
#define TOLVA_OUTPUT_DICTIONARY_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "host/numbers.h"

namespace tolva {

using String = uint32_t;

constexpr uint32_t kPixelBits = 8;
constexpr uint32_t kPixels = 1u << kPixelBits;
constexpr uint32_t kCodes = 1u << 12;
constexpr uint32_t kSlots = 1u << 15;  // an eighth full at most: measured best from 1 << 13 to 1 << 16
// One that scatters, and one that leaves strings that differ a little in their last pixel in one cache line.
constexpr uint32_t kPrefixFactor = 10221;
constexpr uint32_t kPixelFactor = 3;

// From the lowest bit: the last pixel, the tries, the generation. Slots of earlier generations are free, so they are
// cleared once in 4095 runs only.
constexpr uint32_t kOneTry = 1u << kPixelBits;
constexpr uint32_t kOneGeneration = 1u << 20;
// That of a pixel alone, which follows from no other: nobody tries as often.
constexpr uint32_t kTriesOfAlone = kOneGeneration - 1;

// Flat areas are strings of one pixel repeated. They are remembered by length, so that a run is entered at its end
// instead of one look-up a pixel.
constexpr uint32_t kRememberedRun = 127;

struct Dictionary {
    uint32_t generation;
    uint32_t slots[kSlots];
    uint16_t codes[kSlots];                      // by slot
    uint32_t longestRun[kPixels];                // of each pixel: the longest remembered run
    uint16_t runs[kPixels][kRememberedRun + 1];  // by length, from 2
};

// The string of one pixel only. They lie close, because a small picture needs hardly more memory than these; the second
// part is for pictures of few greys, all pixels of which are multiples of 16 or 64, and with them all slots would be.
constexpr String alone(uint32_t pixel) { return pixel << 6 | (pixel >> 4) * 3; }

// The memory comes zeroed.
inline void clearDictionary(Dictionary& d) {
    d.generation += kOneGeneration;
    if (d.generation == 0) {
        std::memset(d.slots, 0, sizeof d.slots);
        d.generation = kOneGeneration;
    }
    for (uint32_t pixel = 0; pixel < kPixels; ++pixel) {
        d.slots[alone(pixel)] = d.generation | kTriesOfAlone;
        d.codes[alone(pixel)] = static_cast<uint16_t>(pixel);
    }
    std::fill(std::begin(d.longestRun), std::end(d.longestRun), 1);
}

// What a string's slot holds, and which slot that is.
struct Place {
    String slot;
    uint32_t content;
};

// Where the string with one pixel more is sought first, and next.
inline Place firstPlace(const Dictionary& d, String prefix, uint32_t pixel) {
    return {(prefix * kPrefixFactor + pixel * kPixelFactor) % kSlots, d.generation + kOneTry + pixel};
}
inline Place nextPlace(const Place& place) { return {(place.slot + 1) % kSlots, place.content + kOneTry}; }

// Finds the string with one pixel more, or the free slot where it belongs.
inline bool find(const Dictionary& d, String prefix, uint32_t pixel, Place& place) {
    place = firstPlace(d, prefix, pixel);
    while (d.slots[place.slot] != place.content) {
        if (d.slots[place.slot] < d.generation) [[likely]]
            return false;
        place = nextPlace(place);
    }
    return true;
}

inline void enter(Dictionary& d, const Place& place) { d.slots[place.slot] = place.content; }

inline void enter(Dictionary& d, const Place& place, uint32_t code) {
    enter(d, place);
    d.codes[place.slot] = static_cast<uint16_t>(code);
}

struct EnteredRun {
    const uint8_t* next;  // the first pixel behind it
    String string;
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
    String string = length > 1 ? d.runs[pixel][length] : alone(pixel);
    // Runs that were entered into the dictionary since are remembered on the way.
    for (; p < end && *p == pixel && length == longest && longest < kRememberedRun; ++p) {
        Place longer;
        if (!find(d, string, pixel, longer)) break;
        d.runs[pixel][++longest] = static_cast<uint16_t>(longer.slot);
        string = longer.slot;
        ++length;
    }
    return {p, string};
}

}  // namespace tolva

#endif
