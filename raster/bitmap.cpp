// bitmap.cpp: how a bitmap lies in memory: row sizes, single pixels at every depth. The loops over whole pictures work
// on rows; these are the definition they must agree with.

#include <algorithm>
#include <cstdio>
#include <limits>

#include "raster/rows.h"

using namespace tolva;

int16_t _debug_color_res = 0;

namespace {

constexpr int16_t kDeepestPixel = 32;
constexpr int64_t kWidestRow = std::numeric_limits<int32_t>::max() / kTolvaRowAlignment * kTolvaRowAlignment;
constexpr int64_t kNarrowestRow = std::numeric_limits<int32_t>::min();

bool isAddressable(int16_t bits) { return bits >= 1 && bits <= kDeepestPixel; }

// The byte that holds pixel x of row y. In double precision, truncated: fractions of a byte are cut alike at every
// depth.
int64_t byteOf(int32_t bytesPerLine, int32_t x, int32_t y, int16_t bits) {
    return int64_t{y} * bytesPerLine + static_cast<uint32_t>(static_cast<int64_t>(x * (bits / 8.0)));
}

int32_t bitInByte(int32_t x, int16_t bits) { return static_cast<int32_t>(int64_t{bits} * x % 8); }

void storeDirect(uint8_t* p, uint32_t value, const uint32_t* map, const uint8_t* table, uint32_t index) {
    if (table != nullptr) {
        // With a table only an index that came through a map names a colour.
        if (map != nullptr) std::copy_n(table + size_t{index} * kTolvaTripleBytes, kTolvaTripleBytes, p);
        return;
    }
    p[0] = static_cast<uint8_t>(value >> 24);
    p[1] = static_cast<uint8_t>(value >> 16);
    p[2] = static_cast<uint8_t>(value >> 8);
}

}  // namespace

int32_t rlBytesPerLine(int32_t width, int16_t bitsPerPixel) {
    return static_cast<int32_t>(std::clamp(paddedRowBytes(width, bitsPerPixel), kNarrowestRow, kWidestRow));
}

uint32_t rlCalcNewSize(int32_t width, int32_t height, int16_t bitsPerPixel) {
    uint32_t bytes = 0;
    const uint32_t rows = static_cast<uint32_t>(height);
    return pictureBytes(paddedRowBytes(width, bitsPerPixel), rows, &bytes) ? bytes : kLargestBlock;
}

uint32_t rlGetPixel(const uint8_t* data, int32_t bytesPerLine, int32_t x, int32_t y, int16_t bitsPerPixel) {
    if (!isAddressable(bitsPerPixel)) return 0;
    const uint8_t* const p = data + byteOf(bytesPerLine, x, y, bitsPerPixel);
    const int32_t bit = bitInByte(x, bitsPerPixel);
    switch (bitsPerPixel) {
        case 1: return (uint32_t{p[0]} >> (7 - bit)) & 1;
        case 4: return bit != 4 ? uint32_t{p[0]} >> 4 : p[0] & 0x0Fu;
        case 8: return p[0];
        case 24: return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8;
        case 32: return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
        default: return 0;
    }
}

int32_t rlSetPixel(uint8_t* data, int32_t bytesPerLine, int32_t x, int32_t y, int16_t bitsPerPixel, uint32_t value,
                   const uint32_t* map, const uint8_t* table, uint16_t tableCount) {
    if (printsPixels()) std::fprintf(stderr, "(%d,%d): ", x, y);
    uint32_t v = value;
    if (map != nullptr) {
        v = map[value];
    } else if (table != nullptr && bitsPerPixel < 24) {
        v = static_cast<uint32_t>(int32_t{static_cast<int8_t>(
            rlNearestRGBIndex(static_cast<int16_t>(value >> 24), static_cast<int16_t>((value >> 16) & 0xFF),
                              static_cast<int16_t>((value >> 8) & 0xFF), table, tableCount))});
    }
    if (!isAddressable(bitsPerPixel)) return 0;
    uint8_t* const p = data + byteOf(bytesPerLine, x, y, bitsPerPixel);
    const int32_t bit = bitInByte(x, bitsPerPixel);
    switch (bitsPerPixel) {
        case 1: {
            const uint32_t cleared = p[0] & ~(1u << (7 - bit));
            p[0] = static_cast<uint8_t>(cleared | (v & 1) << (7 - bit));
            break;
        }
        case 4: p[0] = static_cast<uint8_t>((p[0] & (0x0F << bit)) | (v & 15) << (4 - bit)); break;
        case 8: p[0] = static_cast<uint8_t>(v); break;
        case 24: storeDirect(p, v, map, table, v); break;
        case 32:
            p[3] = table != nullptr ? uint8_t{0} : static_cast<uint8_t>(v);
            storeDirect(p, v, map, table, v);
            break;
        default: break;
    }
    return 0;
}
