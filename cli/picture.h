// picture.h: a picture as the driver takes it: palette indices, bottom row first, rows padded to 4 bytes. The readers
// fill one, the session sends it. Its pixels are the only large block of the command-line host: the library borrows
// them where it can, so they stay as they are until the driver has closed.
#ifndef TOLVA_CLI_PICTURE_H
#define TOLVA_CLI_PICTURE_H

#include <cstddef>
#include <cstdint>

#include "cli/messages.h"

namespace cli {

inline constexpr uint32_t kPaletteEntries = 256;
inline constexpr int kNoTransparency = -1;

struct Colour {
    uint8_t red, green, blue;
    bool operator==(const Colour&) const = default;
};
static_assert(sizeof(Colour) == 3, "a palette is handed over as packed triples");

struct Picture {
    uint32_t width;
    uint32_t height;
    uint32_t stride;  // bytes from one row to the next
    int32_t bitsPerPixel;
    uint8_t* pixels;                  // bottom row first
    Colour palette[kPaletteEntries];  // black behind `colours`
    uint32_t colours;
    int transparentIndex;  // or kNoTransparency
};

// Refuses extents that no GIF can hold, and those whose bytes do not fit the 32 bits of a memory block.
ExitStatus checkExtents(const char* name, uint64_t width, uint64_t height);
// Takes the pixels of a picture of checked extents, all zero, and sets everything else up.
ExitStatus makePicture(Picture& picture, const char* name, uint64_t width, uint64_t height);
void freePicture(Picture& picture);

// Row `y` counted from the top, as files have it.
inline uint8_t* rowFromTop(const Picture& picture, uint32_t y) {
    return picture.pixels + size_t{picture.height - 1 - y} * picture.stride;
}

}  // namespace cli

#endif
