// transparency.h: from a palette with alpha to a palette with at most one transparent entry, as a GIF has it.
#ifndef TOLVA_CLI_TRANSPARENCY_H
#define TOLVA_CLI_TRANSPARENCY_H

#include <cstdint>

#include "cli/picture.h"
#include "cli/read_picture.h"

namespace cli {

// Lays half-transparent entries over the background and makes one entry of all fully transparent ones, of a colour that
// the library's search for the transparent colour finds again. `alpha` has `count` values, for the first entries.
void settleTransparency(Picture& picture, const uint8_t* alpha, uint32_t count, const ReadWishes& wishes);

}  // namespace cli

#endif
