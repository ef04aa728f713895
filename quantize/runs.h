// runs.h: pixels that repeat. Screenshots and drawings are made of them.
#ifndef TOLVA_QUANTIZE_RUNS_H
#define TOLVA_QUANTIZE_RUNS_H

#include <cstdint>

#include "host/numbers.h"

namespace tolva {

// How many of `width` pixels from here on are equal, in all their bytes; at least 1. Bytes that equal those one pixel
// on are looked at eight at a time.
inline uint32_t runLength(const uint8_t* pixels, int bytesPerPixel, uint32_t width) {
    const size_t step = static_cast<uint32_t>(bytesPerPixel);
    const size_t compared = (width - 1) * step;
    size_t at = 0;
    while (at + 8 <= compared && load<uint64_t>(pixels + at) == load<uint64_t>(pixels + at + step)) at += 8;
    while (at < compared && pixels[at] == pixels[at + step]) ++at;
    return static_cast<uint32_t>(at / step) + 1;
}

}  // namespace tolva

#endif
