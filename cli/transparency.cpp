// transparency.cpp: the key colour of a picture that brings its own transparency. Called by the PNG reader once the
// pixels stand. The library is told a colour, not an index, and searches the palette for it; what is done here makes
// sure that its answer is the entry that is meant.

#include "cli/transparency.h"

#include <cstdlib>
#include <initializer_list>

#include "raster/raster.h"

namespace cli {
namespace {

constexpr uint32_t kOpaque = 255;
constexpr int kGreyLevels = 256;

uint8_t laidOver(uint32_t value, uint32_t below, uint32_t alpha) {
    return static_cast<uint8_t>((value * alpha + below * (kOpaque - alpha) + kOpaque / 2) / kOpaque);
}

Colour laidOver(Colour colour, Colour below, uint32_t alpha) {
    return {laidOver(colour.red, below.red, alpha), laidOver(colour.green, below.green, alpha),
            laidOver(colour.blue, below.blue, alpha)};
}

bool isGrey(Colour c) { return c.red == c.green && c.green == c.blue; }

// What the search takes for a grey, though it lets only exact greys match it.
bool isNearGrey(Colour c) {
    return std::abs(c.red - c.green) <= kGreyTolerance && std::abs(c.green - c.blue) <= kGreyTolerance &&
           std::abs(c.red - c.blue) <= kGreyTolerance;
}

bool standsIn(const Picture& picture, Colour colour, uint32_t entries, uint32_t except) {
    for (uint32_t i = 0; i < entries; ++i) {
        if (i != except && picture.palette[i] == colour) return true;
    }
    return false;
}

// The search takes the first of equal entries.
bool isFound(const Picture& picture, uint32_t index) {
    const Colour colour = picture.palette[index];
    return (isGrey(colour) || !isNearGrey(colour)) && !standsIn(picture, colour, index, index);
}

// The free grey nearest to the colour's own. There always is one: the other entries are 255, the greys 256.
Colour freeGrey(const Picture& picture, uint32_t index) {
    const Colour colour = picture.palette[index];
    const int wanted = (colour.red + colour.green + colour.blue) / 3;
    for (int distance = 0; distance < kGreyLevels; ++distance) {
        for (const int level : {wanted - distance, wanted + distance}) {
            if (level < 0 || level >= kGreyLevels) continue;
            const auto grey = static_cast<uint8_t>(level);
            const Colour candidate = {grey, grey, grey};
            if (!standsIn(picture, candidate, kPaletteEntries, index)) return candidate;
        }
    }
    return colour;
}

void remapPixels(Picture& picture, const uint8_t* map) {
    for (uint32_t y = 0; y < picture.height; ++y) {
        uint8_t* const row = rowFromTop(picture, y);
        for (uint32_t x = 0; x < picture.width; ++x) row[x] = map[row[x]];
    }
}

}  // namespace

void settleTransparency(Picture& picture, const uint8_t* alpha, uint32_t count, const ReadWishes& wishes) {
    uint8_t map[kPaletteEntries];
    for (uint32_t i = 0; i < kPaletteEntries; ++i) map[i] = static_cast<uint8_t>(i);
    bool mapped = false;
    for (uint32_t i = 0; i < count; ++i) {
        if (alpha[i] != 0 || !wishes.keepTransparency) {
            picture.palette[i] = laidOver(picture.palette[i], wishes.background, alpha[i]);
        } else if (picture.transparentIndex == kNoTransparency) {
            picture.transparentIndex = static_cast<int>(i);
        } else {
            map[i] = static_cast<uint8_t>(picture.transparentIndex);
            mapped = true;
        }
    }
    if (mapped) remapPixels(picture, map);
    if (picture.transparentIndex == kNoTransparency) return;
    const auto key = static_cast<uint32_t>(picture.transparentIndex);
    if (!isFound(picture, key)) picture.palette[key] = freeGrey(picture, key);
}

}  // namespace cli
