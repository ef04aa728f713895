// transparency.cpp: the palette of a picture that brings its own transparency. Called by the PNG reader once the pixels
// stand.

#include "imageio/transparency.h"

namespace imageio {
namespace {

Colour laidOverColour(Colour colour, Colour below, uint32_t alpha) {
    return {laidOver<uint8_t>(colour.red, below.red, alpha), laidOver<uint8_t>(colour.green, below.green, alpha),
            laidOver<uint8_t>(colour.blue, below.blue, alpha)};
}

void remapPixels(Picture& picture, const uint8_t* map) {
    for (uint32_t y = 0; y < picture.height; ++y) {
        uint8_t* const row = rowFromTop(picture, y);
        for (uint32_t x = 0; x < picture.width; ++x) row[x] = map[row[x]];
    }
}

}  // namespace

void settleTransparency(Picture& picture, const uint8_t* alpha, uint32_t count, TransparencyRule rule) {
    const ReadRequest& request = *rule.request;
    const uint32_t leastShown = !request.keepTransparency ? 0 : request.raw ? 1 : kHalfOpaque;
    uint8_t map[kPaletteEntries];
    for (uint32_t i = 0; i < kPaletteEntries; ++i) map[i] = static_cast<uint8_t>(i);
    bool mapped = false;
    for (uint32_t i = 0; i < count; ++i) {
        const bool shown = alpha[i] >= leastShown;
        if (shown || rule.scales) {
            picture.palette[i] = laidOverColour(picture.palette[i], request.background, alpha[i]);
        }
        if (shown) continue;
        if (picture.transparentIndex == kNoTransparency) {
            picture.transparentIndex = static_cast<int>(i);
        } else {
            map[i] = static_cast<uint8_t>(picture.transparentIndex);
            mapped = true;
        }
    }
    if (mapped) remapPixels(picture, map);
}

}  // namespace imageio
