// scale.cpp: bitmaps to another size by point sampling and replication; nothing is averaged. The pipeline shrinks
// before it converts and stretches after. Which source pixel a column takes is worked out once a bitmap, from the very
// products that define it: stepping a position along would truncate differently. Where every pixel is printed, pixels
// are written one by one in the order that defines them.

#include <algorithm>

#include "host/handle.h"
#include "raster/rows.h"

using namespace tolva;

namespace {

constexpr uint32_t kUntouched = UINT32_MAX;  // a destination column that no source pixel reaches
constexpr uint32_t kMostRows = 32768;        // what StretchX's 16-bit row counter can reach

// What a direction does to the columns: which source pixel each takes, and where it starts to write.
struct Columns {
    void (*map)(uint32_t* map, uint32_t srcWidth, uint32_t dstWidth);
    bool fromRight;
};

uint32_t product(uint64_t i, double ratio) {
    return static_cast<uint32_t>(truncated<uint64_t>(static_cast<double>(i) * ratio));
}

// Column k takes source pixel trunc(k x ratio), the last one the last source pixel.
void sampleColumns(uint32_t* map, uint32_t srcWidth, uint32_t dstWidth) {
    const double ratio = static_cast<double>(srcWidth) / dstWidth;
    for (uint32_t k = 0; k < dstWidth; ++k) map[k] = std::min(product(k, ratio), srcWidth - 1);
    map[dstWidth - 1] = srcWidth - 1;
}

// From the right, each source pixel as often as its products differ. Kept: the counters have 16 bits, as in all
// pictures that hosts have had scaled, so a source of 32769 to 65536 pixels draws nothing, and a pixel repeated 32768
// to 65535 times is not drawn either; beyond that they wrap.
void replicateColumns(uint32_t* map, uint32_t srcWidth, uint32_t dstWidth) {
    std::fill(map, map + dstWidth, kUntouched);
    const double ratio = static_cast<double>(dstWidth) / srcWidth;
    uint32_t left = dstWidth;
    int16_t previous = 0;
    for (int32_t sx = low16(int64_t{srcWidth} - 1); sx >= 0; --sx) {
        const int16_t position = low16(product(srcWidth - static_cast<uint32_t>(sx), ratio));
        const int16_t times = low16(position - previous);
        previous = position;
        for (int16_t n = times; n > 0 && left > 0; --n) map[--left] = static_cast<uint32_t>(sx);
    }
}

template <int bytes>
void mapBytes(const uint8_t* src, uint8_t* dst, const uint32_t* map, uint32_t width) {
    for (uint32_t x = 0; x < width; ++x, dst += bytes) {
        if (map[x] != kUntouched) std::memcpy(dst, src + size_t{map[x]} * bytes, bytes);
    }
}

void mapBits(const uint8_t* src, uint8_t* dst, int16_t bits, const uint32_t* map, uint32_t width) {
    const uint32_t perByte = 8u / static_cast<uint32_t>(bits);
    const uint32_t mask = (1u << bits) - 1;
    const auto shiftOf = [=](uint32_t x) { return 8 - static_cast<uint32_t>(bits) * (x % perByte + 1); };
    for (uint32_t x = 0; x < width; ++x) {
        if (map[x] == kUntouched) continue;
        const uint32_t value = (uint32_t{src[map[x] / perByte]} >> shiftOf(map[x])) & mask;
        uint8_t& byte = dst[x / perByte];
        byte = static_cast<uint8_t>((byte & ~(mask << shiftOf(x))) | value << shiftOf(x));
    }
}

struct Scaling {
    const uint8_t* src;
    uint8_t* dst;
    int64_t srcRow;  // bytes
    int64_t dstRow;
    int16_t bits;
    uint32_t dstWidth;
    const uint32_t* map;
    bool fromRight;
};

void scalePlainly(const Scaling& s, const uint8_t* src, uint8_t* dst, int32_t y) {
    for (uint32_t i = 0; i < s.dstWidth; ++i) {
        const uint32_t x = s.fromRight ? s.dstWidth - 1 - i : i;
        if (s.map[x] == kUntouched) continue;
        const uint32_t value = rlGetPixel(src, 0, static_cast<int32_t>(s.map[x]), 0, s.bits);
        // Rows of 0 bytes: `dst` is the row already, and y is only printed.
        rlSetPixel(dst, 0, static_cast<int32_t>(x), y, s.bits, value, nullptr, nullptr, 0);
    }
}

// Kept: y is the row for ShrinkX and StretchX alone. Shrink and Stretch hand over one row at a time, which is its row 0
// to hosts that have pixels printed.
void scaleRow(const Scaling& s, int64_t from, int64_t to, int32_t y = 0) {
    const uint8_t* const src = s.src + from * s.srcRow;
    uint8_t* const dst = s.dst + to * s.dstRow;
    if (printsPixels()) return scalePlainly(s, src, dst, y);
    switch (s.bits) {
        case 8: mapBytes<1>(src, dst, s.map, s.dstWidth); break;
        case 24: mapBytes<3>(src, dst, s.map, s.dstWidth); break;
        case 32: mapBytes<4>(src, dst, s.map, s.dstWidth); break;
        case 1:
        case 4: mapBits(src, dst, s.bits, s.map, s.dstWidth); break;
        default: break;
    }
}

using ScaleRows = void (*)(const Scaling& s, uint32_t srcRows, uint32_t dstRows);

// Destination row k from source row trunc(k x ratio), top to bottom. Kept: positions have 16 bits and the steps between
// them too, as those of columns. A step so large that it turns negative would leave the bitmap: the row then shows the
// last source row, if it is the last, or stays as it is. Kept: the last source row goes into the last row in any case
// and is then written over; only hosts that have pixels printed can tell.
void sampleRows(const Scaling& s, uint32_t srcRows, uint32_t dstRows) {
    const double ratio = static_cast<double>(srcRows) / dstRows;
    int64_t from = 0;
    int16_t previous = 0;
    for (uint32_t k = 0; k < dstRows; ++k) {
        const bool inside = from >= 0 && from < srcRows;
        if (k + 1 == dstRows && (!inside || printsPixels())) scaleRow(s, int64_t{srcRows} - 1, k);
        if (inside) scaleRow(s, from, k);
        const int16_t position = low16(product(uint64_t{k} + 1, ratio));
        from += low16(position - previous);
        previous = position;
    }
}

// Each source row as often as its products differ, bottom to top.
void replicateRows(const Scaling& s, uint32_t srcRows, uint32_t dstRows) {
    const double ratio = static_cast<double>(dstRows) / srcRows;
    int64_t to = int64_t{dstRows} - 1;
    int64_t previous = 0;
    for (int64_t from = int64_t{srcRows} - 1; from >= 0; --from) {
        const int64_t position = truncated<int32_t>(static_cast<double>(srcRows - from) * ratio);
        const int64_t first = to;
        for (; previous < position && to >= 0; ++previous, --to) {
            if (to == first) {
                scaleRow(s, from, to);
            } else if (hasPixels(s.bits)) {
                std::memcpy(s.dst + to * s.dstRow, s.dst + first * s.dstRow, static_cast<size_t>(s.dstRow));
            }
        }
        previous = position;
    }
}

void oneByOne(const Scaling& s, uint32_t rows, uint32_t) {
    for (uint32_t y = 0; y < rows; ++y) scaleRow(s, y, y, static_cast<int32_t>(y));
}

int32_t scale(const uint8_t* src, uint8_t* dst, int16_t bits, uint32_t srcWidth, uint32_t srcRows, uint32_t dstWidth,
              uint32_t dstRows, Columns inRow, ScaleRows scaleRows) {
    // A size of nothing would divide by zero; there is nothing to draw either. Other depths have no pixels, but those
    // are printed.
    if (src == nullptr || dst == nullptr || !(hasPixels(bits) || printsPixels())) return 0;
    if (srcWidth == 0 || srcRows == 0 || dstWidth == 0 || dstRows == 0) return 0;
    const Handle columns = rlGetMemory(sizeof(uint32_t), dstWidth);
    uint32_t* const map = static_cast<uint32_t*>(rlLockMemory(columns));
    if (map == nullptr) return 0;
    inRow.map(map, srcWidth, dstWidth);
    const Scaling scaling = {
        .src = src,
        .dst = dst,
        .srcRow = paddedRowBytes(srcWidth, bits),
        .dstRow = paddedRowBytes(dstWidth, bits),
        .bits = bits,
        .dstWidth = dstWidth,
        .map = map,
        .fromRight = inRow.fromRight,
    };
    scaleRows(scaling, srcRows, dstRows);
    rlFreeNewData(columns);
    return 0;
}

constexpr Columns kSampled = {sampleColumns, false};
constexpr Columns kReplicated = {replicateColumns, true};

Columns columnsFor(uint32_t srcWidth, uint32_t dstWidth) { return dstWidth > srcWidth ? kReplicated : kSampled; }

Handle scaleBitmap(Handle bits, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t srcHeight, uint32_t dstWidth,
                   uint32_t dstHeight) {
    const Handle result = allocPicture(paddedRowBytes(dstWidth, bitsPerPixel), dstHeight);
    uint8_t* const dst = static_cast<uint8_t*>(rlLockMemory(result));
    if (dst == nullptr || !holdsBitmap(bits, srcWidth, srcHeight, bitsPerPixel)) return result;
    const uint8_t* const src = static_cast<const uint8_t*>(rlLockMemory(bits));
    if (dstHeight > srcHeight) {
        Stretch(src, dst, bitsPerPixel, srcWidth, srcHeight, dstWidth, dstHeight);
    } else {
        Shrink(src, dst, bitsPerPixel, srcWidth, srcHeight, dstWidth, dstHeight);
    }
    return result;
}

}  // namespace

Handle rlShrinkBitmap(Handle bits, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t srcHeight, uint32_t dstWidth,
                      uint32_t dstHeight) {
    return scaleBitmap(bits, bitsPerPixel, srcWidth, srcHeight, dstWidth, dstHeight);
}

Handle rlStretchBitmap(Handle bits, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t srcHeight, uint32_t dstWidth,
                       uint32_t dstHeight) {
    return scaleBitmap(bits, bitsPerPixel, srcWidth, srcHeight, dstWidth, dstHeight);
}

int32_t Shrink(const uint8_t* src, uint8_t* dst, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t srcHeight,
               uint32_t dstWidth, uint32_t dstHeight) {
    return scale(src, dst, bitsPerPixel, srcWidth, srcHeight, dstWidth, dstHeight, columnsFor(srcWidth, dstWidth),
                 sampleRows);
}

int32_t Stretch(const uint8_t* src, uint8_t* dst, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t srcHeight,
                uint32_t dstWidth, uint32_t dstHeight) {
    return scale(src, dst, bitsPerPixel, srcWidth, srcHeight, dstWidth, dstHeight, columnsFor(srcWidth, dstWidth),
                 replicateRows);
}

int32_t ShrinkX(const uint8_t* src, uint8_t* dst, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t rows,
                uint32_t dstWidth) {
    return scale(src, dst, bitsPerPixel, srcWidth, rows, dstWidth, rows, kSampled, oneByOne);
}

int32_t StretchX(const uint8_t* src, uint8_t* dst, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t rows,
                 uint32_t dstWidth) {
    rows = std::min(rows, kMostRows);
    return scale(src, dst, bitsPerPixel, srcWidth, rows, dstWidth, rows, kReplicated, oneByOne);
}
