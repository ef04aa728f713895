// transparency.h: from pictures with alpha to a palette with at most one transparent entry, as a GIF has it.
#ifndef TOLVA_CLI_PREPARE_TRANSPARENCY_H
#define TOLVA_CLI_PREPARE_TRANSPARENCY_H

#include <cstdint>

#include "imageio/picture.h"
#include "imageio/read_picture.h"

namespace cli {

inline constexpr uint32_t kOpaque = 255;
inline constexpr uint32_t kHalfOpaque = 128;

inline uint8_t laidOver(uint32_t value, uint32_t below, uint32_t alpha) {
    return static_cast<uint8_t>((value * alpha + below * (kOpaque - alpha) + kOpaque / 2) / kOpaque);
}

// Lays half-transparent entries over the background and makes one entry of all fully transparent ones. `alpha` has
// `count` values, for the first entries.
void settleTransparency(Picture& picture, const uint8_t* alpha, uint32_t count, const ReadWishes& wishes);
// Gives the transparent entry a colour that the library's search for the transparent colour finds again, and answers
// how that colour is named to the library, which knows the palette after its tone.
ExitStatus settleKey(const Library& library, TolvaConversionMode tone, Picture& picture, Colour& named);

}  // namespace cli

#endif
