#include "quantize/opaque.h"

namespace tolva {

void seePixels(const TolvaQuantizeOrder& order, const uint8_t* row, const uint8_t* mask, uint32_t first,
               uint32_t pixels, SeenPixels& seen) {
    const size_t step = static_cast<uint32_t>(bytesOf(order.format));
    for (uint32_t i = 0; i < pixels; ++i) {
        const uint8_t* const p = row + (size_t{first} + i) * step;
        const uint32_t alpha = order.format == kTolvaRgba ? p[3] : 255;
        for (uint32_t c = 0; c < 3; ++c) {
            seen.colours[3 * i + c] =
                static_cast<uint8_t>((p[c] * alpha + order.background[c] * (255 - alpha) + 127) / 255);
        }
        const uint32_t x = first + i;
        const bool masked = mask != nullptr && (mask[x / 8] >> (7 - x % 8) & 1) != 0;
        seen.transparent[i] = masked || alpha < kTolvaHalfOpaque;
    }
}

}  // namespace tolva
