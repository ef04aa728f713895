// convert.cpp: bitmaps from one depth to another. The pipeline brings every picture to 8 bits with
// rlChangeColorResolution, which chooses the way; rlConvertBitmapDepth walks the pixels.

#include <cstdio>

#include "raster/rows.h"

namespace {

using namespace tolva;

bool printsRows() { return _debug_color_res == 1 || _debug_color_res == 2; }

struct Conversion {
    const uint8_t* src;
    uint8_t* dst;
    int32_t srcRow;
    int32_t dstRow;
    int32_t width;
    int16_t srcBits;
    int16_t dstBits;
    const uint32_t* map;
    const uint8_t* table;
    uint16_t count;
};

// The definition: one pixel after the other.
void convertRowPlainly(const Conversion& c, int32_t y) {
    for (int32_t x = 0; x < c.width; ++x) {
        rlSetPixel(c.dst, c.dstRow, x, y, c.dstBits, rlGetPixel(c.src, c.srcRow, x, y, c.srcBits), c.map, c.table,
                   c.count);
    }
}

// Indexed to direct colour with a table of its own: the map leads into the table. For 24 bits it holds colours instead,
// which lead past the table's end: what lies there reads as black.
void convertRowThroughTable(const Conversion& c, int32_t y) {
    for (int32_t x = 0; x < c.width; ++x) {
        constexpr uint8_t black[kTripleBytes] = {};
        const uint32_t index = c.map[rlGetPixel(c.src, c.srcRow, x, y, c.srcBits)];
        const uint8_t* const colour = index < c.count ? c.table + size_t{index} * kTripleBytes : black;
        rlSetPixel(c.dst, c.dstRow, x, y, c.dstBits, load24(colour), nullptr, nullptr, 0);
    }
}

// Indexed to 8 bits: what the definition does, a byte at a time.
void widenRow(const Conversion& c, int32_t y) {
    const uint8_t* const from = c.src + int64_t{y} * c.srcRow;
    uint8_t* const to = c.dst + int64_t{y} * c.dstRow;
    const int perByte = 8 / c.srcBits;
    const uint32_t mask = (1u << c.srcBits) - 1;
    for (int32_t x = 0; x < c.width; ++x) {
        const int shift = 8 - c.srcBits * (x % perByte + 1);
        to[x] = static_cast<uint8_t>(c.map[(uint32_t{from[x / perByte]} >> shift) & mask]);
    }
}

void convertRows(const Conversion& c, int32_t height) {
    const bool widens = isIndexedDepth(c.srcBits) && c.dstBits == 8 && c.map != nullptr && _debug_color_res <= 3;
    const bool throughTable = c.dstBits >= 24 && c.map != nullptr && c.table != nullptr;
    for (int32_t y = 0; y < height; ++y) {
        if (widens) {
            widenRow(c, y);
        } else if (throughTable) {
            convertRowThroughTable(c, y);
        } else {
            convertRowPlainly(c, y);
        }
        if (printsRows()) std::fputc('.', stderr);
    }
}

}  // namespace

Handle rlConvertBitmapDepth(Handle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits,
                            Handle srcTable, Handle dstTable, uint16_t dstCount) {
    const Handle result = allocPicture(paddedRowBytes(width, dstBits), height);
    uint8_t* const dst = static_cast<uint8_t*>(rlLockMemory(result));
    if (dst == nullptr || !holdsBitmap(bits, width, height, srcBits)) return result;
    if (_debug_color_res != 0) {
        std::fprintf(stderr, "Allocated %d bytes of new memory for the destination bitmap\n",
                     static_cast<int>(GlobalSize(result)));
    }
    const ColourTable destination = tableOf(dstTable);
    const Handle map = buildColourMap(tableOf(srcTable), srcBits, destination, dstBits, dstCount);
    if (printsRows()) std::fprintf(stderr, "Converted bits. Each (.) represents one scan line\n");

    const Conversion conversion = {
        .src = static_cast<const uint8_t*>(rlLockMemory(bits)),
        .dst = dst,
        .srcRow = rlBytesPerLine(width, srcBits),
        .dstRow = rlBytesPerLine(width, dstBits),
        .width = width,
        .srcBits = srcBits,
        .dstBits = dstBits,
        .map = static_cast<const uint32_t*>(rlLockMemory(map)),
        .table = destination.triples,
        .count = static_cast<uint16_t>(dstCount < destination.entries ? dstCount : destination.entries),
    };
    convertRows(conversion, height);
    rlFreeColormap(map);
    if (_debug_color_res != 0) std::fprintf(stderr, "\nColor resolution conversion complete\n");
    return result;
}

Handle rlChangeColorResolution(Handle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits,
                               Handle* table) {
    const Handle source = *table;
    *table = 0;
    // Reducing true colour is still to come; a picture that needs it gets no bitmap.
    if (srcBits < 0 || dstBits < srcBits || srcBits > 8) return 0;
    const uint16_t count = dstBits < 16 ? static_cast<uint16_t>(1u << dstBits) : uint16_t{0};
    return rlConvertBitmapDepth(bits, width, height, srcBits, dstBits, source, 0, count);
}
