// transparency.h: from colours with alpha to a palette with at most one transparent entry, as a GIF has it.
#ifndef TOLVA_IMAGEIO_TRANSPARENCY_H
#define TOLVA_IMAGEIO_TRANSPARENCY_H

#include <cstdint>

#include "imageio/read_picture.h"

namespace imageio {

template <class Sample>
Sample laidOver(uint32_t value, uint32_t below, uint32_t alpha) {
    return static_cast<Sample>((value * alpha + below * (kOpaque - alpha) + kOpaque / 2) / kOpaque);
}

struct TransparencyRule {
    const ReadRequest* request;
    bool scales;  // the picture will be scaled: no colour but the background may shine through
};

// Makes one entry of all that are to be transparent and lays the others over the background. `alpha` has `count`
// values, for the first entries.
void settleTransparency(Picture& picture, const uint8_t* alpha, uint32_t count, TransparencyRule rule);

}  // namespace imageio

#endif
