// mask.cpp: transparent pixels from an index and back. Called while a picture is prepared.

#include "cli/picture/mask.h"

#include <algorithm>
#include <cstring>

namespace cli {
namespace {

bool isTransparent(const uint8_t* maskRow, uint32_t x) { return (maskRow[x / 8] & imageio::maskBit(x)) != 0; }

// The first opaque pixel's bytes, or null.
const uint8_t* findOpaquePixel(const Picture& picture) {
    const auto bytes = static_cast<size_t>(picture.bitsPerPixel / 8);
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* const mask = maskRow(picture, y);
        for (uint32_t x = 0; x < picture.width; ++x) {
            if (!isTransparent(mask, x)) return picture.pixels + size_t{y} * picture.stride + x * bytes;
        }
    }
    return nullptr;
}

ExitStatus needMask(Picture& picture) {
    return makeMask(picture) ? kExitDone : fail(kExitInputRefused, "no memory for the transparent pixels");
}

}  // namespace

ExitStatus makeMaskFromIndex(Picture& picture) {
    if (const ExitStatus failed = needMask(picture)) return failed;
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* const row = picture.pixels + size_t{y} * picture.stride;
        uint8_t* const mask = maskRow(picture, y);
        for (uint32_t x = 0; x < picture.width; ++x) {
            if (row[x] == picture.transparentIndex) mask[x / 8] |= imageio::maskBit(x);
        }
    }
    picture.transparentIndex = kNoTransparency;
    return kExitDone;
}

ExitStatus maskColour(Picture& picture, Colour colour, bool& found) {
    if (const ExitStatus failed = needMask(picture)) return failed;
    const bool indexed = picture.bitsPerPixel == kIndexBits;
    found = false;
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* const row = picture.pixels + size_t{y} * picture.stride;
        uint8_t* const mask = maskRow(picture, y);
        for (uint32_t x = 0; x < picture.width; ++x) {
            const uint8_t* const pixel = indexed ? &picture.palette[row[x]].red : row + size_t{x} * kColourBytes;
            if (std::memcmp(pixel, &colour, sizeof colour) != 0) continue;
            mask[x / 8] |= imageio::maskBit(x);
            found = true;
        }
    }
    return kExitDone;
}

void fillTransparentPixels(Picture& picture) {
    const auto bytes = static_cast<size_t>(picture.bitsPerPixel / 8);
    uint8_t fill[sizeof(Colour)] = {};
    if (const uint8_t* const opaque = findOpaquePixel(picture)) std::memcpy(fill, opaque, bytes);
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* const mask = maskRow(picture, y);
        uint8_t* const row = picture.pixels + size_t{y} * picture.stride;
        for (uint32_t x = 0; x < picture.width; ++x) {
            if (isTransparent(mask, x)) std::memcpy(row + x * bytes, fill, bytes);
        }
    }
}

void putTransparentIndex(Picture& picture, uint32_t index, Colour colour) {
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* const mask = maskRow(picture, y);
        uint8_t* const row = picture.pixels + size_t{y} * picture.stride;
        for (uint32_t x = 0; x < picture.width; ++x) {
            if (isTransparent(mask, x)) row[x] = static_cast<uint8_t>(index);
        }
    }
    dropMask(picture);
    picture.palette[index] = colour;
    picture.colours = std::max(picture.colours, index + 1);
    picture.transparentIndex = static_cast<int>(index);
}

uint32_t freeLevel(Picture& picture) {
    uint32_t pixels[kPaletteEntries] = {};
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* const mask = maskRow(picture, y);
        const uint8_t* const row = picture.pixels + size_t{y} * picture.stride;
        for (uint32_t x = 0; x < picture.width; ++x) pixels[row[x]] += isTransparent(mask, x) ? 0 : 1;
    }
    const auto rarest = static_cast<uint32_t>(std::min_element(pixels, pixels + kPaletteEntries) - pixels);
    const auto neighbour = static_cast<uint8_t>(rarest == 0 ? 1 : rarest - 1);
    for (uint32_t y = 0; pixels[rarest] > 0 && y < picture.height; ++y) {
        uint8_t* const row = picture.pixels + size_t{y} * picture.stride;
        std::replace(row, row + picture.width, static_cast<uint8_t>(rarest), neighbour);
    }
    return rarest;
}

}  // namespace cli
