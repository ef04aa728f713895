// distinct.h: colours by first appearance, each with its pixels, as long as they are few. What stands here is exact:
// the palette of a picture that fits, and otherwise points for the fitting that no bin has blurred.
#ifndef TOLVA_QUANTIZE_DISTINCT_H
#define TOLVA_QUANTIZE_DISTINCT_H

#include "quantize/points.h"

namespace tolva {

// Photographs have more after their first rows; drawings, gradients and screenshots do not.
constexpr uint32_t kMostDistinct = 256;

struct DistinctColour {
    uint32_t colour;  // red, green, blue from bit 16 down
    uint64_t pixels;
};

struct DistinctSlot {
    uint32_t colour;
    uint32_t place;  // in the list, + 1; 0: free
};

struct Distinct {
    DistinctColour* colours;
    DistinctSlot* slots;  // by hash
    uint32_t count;
};

bool makeDistinct(Distinct& d);  // false: no memory
void freeDistinct(Distinct& d);

// Lists a row of pixels; how many of them, fewer than `width` where the next is one colour too many.
uint32_t listColours(Distinct& d, const uint8_t* pixels, int bytesPerPixel, uint32_t width);

// Gives a row the colours' places in the list; how many pixels, fewer than `width` where the next is not listed. `to`
// may be `pixels`.
uint32_t indexColours(const Distinct& d, const uint8_t* pixels, int bytesPerPixel, uint8_t* to, uint32_t width);

}  // namespace tolva

#endif
