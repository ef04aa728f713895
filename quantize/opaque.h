// opaque.h: pixels with a mask or with alpha as what is seen of them.
#ifndef TOLVA_QUANTIZE_OPAQUE_H
#define TOLVA_QUANTIZE_OPAQUE_H

#include <cstddef>

#include <tolva/quantize.h>

namespace tolva {

constexpr uint32_t kPiece = 1024;  // pixels looked at together

struct SeenPixels {
    uint8_t colours[3 * kPiece];  // laid over the background
    bool transparent[kPiece];
};

inline int bytesOf(int32_t format) { return format == kTolvaRgb ? 3 : 4; }

// At most kPiece pixels of a row, from column `first` on.
void seePixels(const TolvaQuantizeOrder& order, const uint8_t* row, const uint8_t* mask, uint32_t first,
               uint32_t pixels, SeenPixels& seen);

}  // namespace tolva

#endif
