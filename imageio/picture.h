// picture.h: a picture in memory: palette indices or red, green, blue, bottom row first, rows padded to 4 bytes. The
// readers fill one; a picture that is to be scaled may have deep colours and an alpha plane until it is. One that is
// only looked at may stay in its file.
#ifndef TOLVA_IMAGEIO_PICTURE_H
#define TOLVA_IMAGEIO_PICTURE_H

#include <cstddef>
#include <cstdint>

#include "imageio/mapped_file.h"

namespace imageio {

inline constexpr uint32_t kPaletteEntries = 256;
inline constexpr int kNoTransparency = -1;
inline constexpr int32_t kIndexBits = 8;
inline constexpr int32_t kColourBits = 24;
inline constexpr int32_t kDeepBits = 48;  // red, green, blue of 16 bits each, in the machine's order of bytes
inline constexpr int32_t kMaskBits = 1;
inline constexpr uint32_t kColourBytes = 3;
inline constexpr uint32_t kOpaque = 255;
inline constexpr uint32_t kHalfOpaque = 128;  // what is less is transparent in the end

struct Colour {
    uint8_t red, green, blue;
    bool operator==(const Colour&) const = default;
};
static_assert(sizeof(Colour) == kColourBytes, "a palette is handed over as packed triples");

struct Picture {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t stride = 0;        // bytes from one row to the next
    int32_t bitsPerPixel = 0;   // kIndexBits, kColourBits or kDeepBits
    uint8_t* pixels = nullptr;  // bottom row first; null while they lie in a file
    MappedFile file;            // red, green and blue, top row first
    uint8_t* mask = nullptr;    // null, or a bit for every pixel, rows as the pixels': set where it is transparent
    uint8_t* alpha = nullptr;   // null, or a byte for every pixel, rows as an 8-bit picture's: kOpaque is opaque
    Colour palette[kPaletteEntries] = {};  // of indices; black behind `colours`
    uint32_t colours = 0;
    int transparentIndex = kNoTransparency;
    bool converted = false;  // to sRGB, from what the file's profile or gamma says

    Picture() = default;
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    ~Picture();
};

uint32_t rowBytes(uint64_t width, int32_t bitsPerPixel);
// Takes the pixels, all zero; false when there is no memory for them.
bool makePicture(Picture& picture, uint32_t width, uint32_t height, int32_t bitsPerPixel);
inline bool liesInFile(const Picture& picture) { return picture.file.bytes != nullptr; }
// Every level its own index.
void setGreyRamp(Picture& picture);

// The mask is made with the first transparent pixel; false when there is no memory for it.
bool makeMask(Picture& picture);
void dropMask(Picture& picture);
inline uint8_t maskBit(uint32_t x) { return static_cast<uint8_t>(0x80 >> (x % 8)); }
inline uint8_t* maskRow(const Picture& picture, uint32_t row) {
    return picture.mask + size_t{row} * rowBytes(picture.width, kMaskBits);
}

// The same of the alpha plane: before, all is opaque.
bool makeAlpha(Picture& picture);
void dropAlpha(Picture& picture);
inline uint8_t* alphaRow(const Picture& picture, uint32_t row) {
    return picture.alpha + size_t{row} * rowBytes(picture.width, kIndexBits);
}

// Row `y` counted from the top, as files have it.
inline uint8_t* rowFromTop(const Picture& picture, uint32_t y) {
    return picture.pixels + size_t{picture.height - 1 - y} * picture.stride;
}

}  // namespace imageio

#endif
