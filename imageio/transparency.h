// transparency.h: from colours with alpha to a palette with at most one transparent entry, as a GIF has it.
#ifndef TOLVA_IMAGEIO_TRANSPARENCY_H
#define TOLVA_IMAGEIO_TRANSPARENCY_H

#include <cstdint>

#include "imageio/read_picture.h"

namespace imageio {

inline uint8_t laidOver(uint32_t value, uint32_t below, uint32_t alpha) {
    return static_cast<uint8_t>((value * alpha + below * (kOpaque - alpha) + kOpaque / 2) / kOpaque);
}

// Lays half-transparent entries over the background and makes one entry of all fully transparent ones. `alpha` has
// `count` values, for the first entries.
void settleTransparency(Picture& picture, const uint8_t* alpha, uint32_t count, const ReadRequest& request);

}  // namespace imageio

#endif
