// key_colour.cpp: the colour that stands for transparency. Called before the session: the library is told a colour, not
// an index, and searches the palette for it; what is done here makes sure that its answer is the entry that is meant.

#include "cli/picture/key_colour.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include <tolva/raster.h>

namespace cli {
namespace {

constexpr int kGreyLevels = 256;

bool isGrey(Colour c) { return c.red == c.green && c.green == c.blue; }

// What the search takes for a grey, though it lets only exact greys match it.
bool isNearGrey(Colour c) {
    return std::abs(c.red - c.green) <= kTolvaGreyTolerance && std::abs(c.green - c.blue) <= kTolvaGreyTolerance &&
           std::abs(c.red - c.blue) <= kTolvaGreyTolerance;
}

// The palette as the library will have it.
struct ShownColours {
    Colour palette[kPaletteEntries];
    Colour greys[kGreyLevels];  // what becomes of the exact greys: each another exact grey
};

bool standsIn(const ShownColours& shown, Colour colour, uint32_t entries, uint32_t except) {
    for (uint32_t i = 0; i < entries; ++i) {
        if (i != except && shown.palette[i] == colour) return true;
    }
    return false;
}

// The search takes the first of equal entries: only those before it could stand in the way.
bool isFound(const ShownColours& shown, uint32_t index) {
    const Colour colour = shown.palette[index];
    return (isGrey(colour) || !isNearGrey(colour)) && !standsIn(shown, colour, index, index);
}

// The grey nearest to the colour's own that is shown as a free one. There always is one: the other entries are 255, the
// greys 256.
int freeGrey(const ShownColours& shown, Colour colour, uint32_t index) {
    const int wanted = (colour.red + colour.green + colour.blue) / 3;
    for (int distance = 0; distance < kGreyLevels; ++distance) {
        for (const int level : {wanted - distance, wanted + distance}) {
            if (level < 0 || level >= kGreyLevels) continue;
            if (!standsIn(shown, shown.greys[level], kPaletteEntries, index)) return level;
        }
    }
    return wanted;
}

ExitStatus showColours(const Library& library, TolvaConversionMode tone, const Picture& picture, ShownColours& shown) {
    std::memcpy(shown.palette, picture.palette, sizeof shown.palette);
    for (int level = 0; level < kGreyLevels; ++level) {
        const auto grey = static_cast<uint8_t>(level);
        shown.greys[level] = Colour{grey, grey, grey};
    }
    if (tone == kTolvaConvertNothing) return kExitDone;
    if (const ExitStatus failed = needEntries(library, EntryGroup::kRaster)) return failed;
    library.calls.rev_rgb(kPaletteEntries, &shown.palette[0].red, tone);
    library.calls.rev_rgb(kGreyLevels, &shown.greys[0].red, tone);
    return kExitDone;
}

}  // namespace

ExitStatus settleKey(const Library& library, TolvaConversionMode tone, Picture& picture, Colour& named) {
    ShownColours shown = {};
    if (const ExitStatus failed = showColours(library, tone, picture, shown)) return failed;
    const auto key = static_cast<uint32_t>(picture.transparentIndex);
    named = shown.palette[key];
    if (isFound(shown, key)) return kExitDone;
    const int level = freeGrey(shown, picture.palette[key], key);
    const auto grey = static_cast<uint8_t>(level);
    picture.palette[key] = Colour{grey, grey, grey};
    named = shown.greys[level];
    return kExitDone;
}

}  // namespace cli
