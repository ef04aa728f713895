// rows.h: what the raster library's own files share: row sizes in 64 bits and which depths have pixels at all.
#ifndef TOLVA_RASTER_ROWS_H
#define TOLVA_RASTER_ROWS_H

#include <cstdint>

#include <tolva/raster.h>
#include "host/numbers.h"

namespace tolva {

// Bytes a row, padded to kTolvaRowAlignment; never wraps. Negative ones are padded upward too: -3 gives 0, -4 stays.
inline int64_t paddedRowBytes(int64_t width, int64_t bitsPerPixel) {
    const int64_t bits = width * bitsPerPixel;
    const int64_t bytes = bits / 8 + (bits % 8 != 0 ? 1 : 0);
    return (bytes + kTolvaRowAlignment - 1) & ~int64_t{kTolvaRowAlignment - 1};
}

constexpr int16_t kTrueColourDepth = 24;  // red, green, blue
constexpr int16_t kFourByteDepth = 32;    // and a fourth byte
constexpr int16_t kDeepestTable = 8;      // of depths whose pixels are indices

inline bool isIndexedDepth(int16_t bits) { return bits == 1 || bits == 4 || bits == 8; }
inline bool isDirectDepth(int16_t bits) { return bits == 24 || bits == 32; }
inline bool hasPixels(int16_t bits) { return isIndexedDepth(bits) || isDirectDepth(bits); }

// What the debug levels print: 1 and 2 a dot a row, those above 3 each pixel written.
inline bool printsRows() { return _debug_color_res == 1 || _debug_color_res == 2; }
inline bool printsPixels() { return _debug_color_res > 3; }

// Whether the block behind the handle really holds a bitmap's pixels. The last row's padding may be missing: a colour
// table is read as a bitmap of one row.
inline bool holdsBitmap(Handle bits, int64_t width, int64_t height, int16_t bitsPerPixel) {
    uint32_t above = 0;
    if (width < 0 || bitsPerPixel < 0) return false;
    if (height <= 0) return height == 0;
    if (!pictureBytes(paddedRowBytes(width, bitsPerPixel), height - 1, &above)) return false;
    return above + uint64_t{static_cast<uint64_t>(width * bitsPerPixel + 7) / 8} <= GlobalSize(bits);
}

// Whether the components lie so close together that the colour counts as a grey. Without branches: it is asked of every
// pixel.
inline bool isGreyWithin(int32_t tolerance, int32_t red, int32_t green, int32_t blue) {
    const auto isFar = [tolerance](int32_t a, int32_t b) {
        return static_cast<uint32_t>(a - b + tolerance) > static_cast<uint32_t>(2 * tolerance);
    };
    return !(isFar(red, green) | isFar(green, blue) | isFar(red, blue));
}

// A triple as a packed colour.
inline uint32_t load24(const uint8_t* c) { return uint32_t{c[0]} << 24 | uint32_t{c[1]} << 16 | uint32_t{c[2]} << 8; }

// A colour table that knows its length. What lies outside it reads as black.
struct ColourTable {
    const uint8_t* triples;
    uint32_t entries;
};

inline ColourTable tableOf(Handle h) {
    return {static_cast<const uint8_t*>(GlobalLock(h)), GlobalSize(h) / kTolvaTripleBytes};
}

// rlBuildColormap on tables that know their lengths.
Handle buildColourMap(ColourTable source, int16_t srcBits, ColourTable destination, int16_t dstBits, uint16_t dstCount);

}  // namespace tolva

#endif
