// picture.h: a picture as the driver takes it: palette indices or red, green, blue, bottom row first, rows padded to 4
// bytes. The readers fill one, preparePicture may reduce it, the session sends it. Its pixels are the only large block
// of the command-line host: the library borrows them where it can, so they stay as they are until the driver has
// closed.
#ifndef TOLVA_IMAGEIO_PICTURE_H
#define TOLVA_IMAGEIO_PICTURE_H

#include <cstddef>
#include <cstdint>

#include "cli/terminal/messages.h"

namespace cli {

inline constexpr uint32_t kPaletteEntries = 256;
inline constexpr int kNoTransparency = -1;
inline constexpr int32_t kIndexBits = 8;
inline constexpr int32_t kColourBits = 24;
inline constexpr int32_t kMaskBits = 1;

struct Colour {
    uint8_t red, green, blue;
    bool operator==(const Colour&) const = default;
};
static_assert(sizeof(Colour) == 3, "a palette is handed over as packed triples");

struct Picture {
    uint32_t width;
    uint32_t height;
    uint32_t stride;       // bytes from one row to the next
    int32_t bitsPerPixel;  // kIndexBits or kColourBits
    uint8_t* pixels;       // bottom row first
    uint8_t* mask;         // null, or a bit for every pixel, rows as the pixels': set where it is transparent
    Colour palette[kPaletteEntries];  // of indices; black behind `colours`
    uint32_t colours;
    int transparentIndex;  // or kNoTransparency
};

uint32_t rowBytes(uint64_t width, int32_t bitsPerPixel);
// Refuses extents that no GIF can hold, and more pixels than the user allows.
ExitStatus checkExtents(const char* name, uint64_t width, uint64_t height, uint64_t mostPixels);
// Takes the pixels of a picture of checked extents, all zero, and sets everything else up.
ExitStatus makePicture(Picture& picture, const char* name, uint64_t width, uint64_t height, int32_t bitsPerPixel);
void freePicture(Picture& picture);
// Every level its own index.
void setGreyRamp(Picture& picture);

// The mask is made with the first transparent pixel; false when there is no memory for it.
bool makeMask(Picture& picture);
inline uint8_t maskBit(uint32_t x) { return static_cast<uint8_t>(0x80 >> (x % 8)); }
inline uint8_t* maskRow(const Picture& picture, uint32_t row) {
    return picture.mask + size_t{row} * rowBytes(picture.width, kMaskBits);
}

// Row `y` counted from the top, as files have it.
inline uint8_t* rowFromTop(const Picture& picture, uint32_t y) {
    return picture.pixels + size_t{picture.height - 1 - y} * picture.stride;
}

}  // namespace cli

#endif
