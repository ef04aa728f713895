// indexed_picture.h: what the library is given: a QImage as 8-bit indices that it writes as they are.
#ifndef TOLVA_QT_INDEXED_PICTURE_H
#define TOLVA_QT_INDEXED_PICTURE_H

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include <QString>

#include <tolva/quantize.h>

class QImage;

namespace qtolva {

struct Free {
    void operator()(void* block) const { std::free(block); }
};

struct Colour {
    uint8_t red, green, blue;
};

struct IndexedPicture {
    int width, height;
    size_t stride;                        // bytes from a row to the next, a multiple of 4
    std::unique_ptr<uint8_t, Free> rows;  // bottom row first
    std::array<Colour, kTolvaLargestPalette> palette;
    int key;  // the transparent entry's index, or kTolvaNoKey
};

// A picture with a colour table keeps it, and its indices; one of true colour gets its own colours where they are no
// more than 256, and a fitted table where they are. Whatever is less than half opaque becomes one transparent entry,
// the rest is laid over white. A sentence where it cannot be done, else nothing.
QString makeIndexed(const QImage& image, TolvaDiffusion diffusion, IndexedPicture& picture);

}  // namespace qtolva

#endif
