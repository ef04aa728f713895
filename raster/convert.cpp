// convert.cpp: bitmaps from one depth to another, pixel by pixel, and by rows where there is a fast way that gives the
// same.

#include <algorithm>
#include <cstdio>

#include "host/handle.h"
#include "raster/match.h"

using namespace tolva;

namespace {

constexpr int32_t kPackedAtOnce = 256;  // pixels matched before they are packed; a whole number of bytes

void printComplete() {
    if (_debug_color_res != 0) std::fprintf(stderr, "\nColor resolution conversion complete\n");
}

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
    uint32_t entries;  // that the table really has
    Matcher* matcher;
};

using ConvertRow = void (*)(const Conversion& c, int32_t y);

const uint8_t* sourceRow(const Conversion& c, int32_t y) { return c.src + int64_t{y} * c.srcRow; }
uint8_t* targetRow(const Conversion& c, int32_t y) { return c.dst + int64_t{y} * c.dstRow; }

// The definition: one pixel after the other.
void convertPlainly(const Conversion& c, int32_t y) {
    for (int32_t x = 0; x < c.width; ++x) {
        rlSetPixel(c.dst, c.dstRow, x, y, c.dstBits, rlGetPixel(c.src, c.srcRow, x, y, c.srcBits), c.map, c.table,
                   c.count);
    }
}

// Indexed to direct colour with a table of its own: the map leads into the table. For 24 bits it holds colours instead,
// which lead past the table's end: what lies there reads as black.
void convertThroughTable(const Conversion& c, int32_t y) {
    constexpr uint8_t black[kTolvaTripleBytes] = {};
    for (int32_t x = 0; x < c.width; ++x) {
        const uint32_t index = c.map[rlGetPixel(c.src, c.srcRow, x, y, c.srcBits)];
        const uint8_t* const colour = index < c.entries ? c.table + size_t{index} * kTolvaTripleBytes : black;
        rlSetPixel(c.dst, c.dstRow, x, y, c.dstBits, load24(colour), nullptr, nullptr, 0);
    }
}

// Indexed to 8 bits through the map.
void widenIndices(const Conversion& c, int32_t y) {
    const uint8_t* const from = sourceRow(c, y);
    uint8_t* const to = targetRow(c, y);
    const int perByte = 8 / c.srcBits;
    const uint32_t mask = (1u << c.srcBits) - 1;
    for (int32_t x = 0; x < c.width; ++x) {
        const int shift = 8 - c.srcBits * (x % perByte + 1);
        to[x] = static_cast<uint8_t>(c.map[(uint32_t{from[x / perByte]} >> shift) & mask]);
    }
}

// 8 bits to 24: the map holds the source table's colours.
void colourIndices(const Conversion& c, int32_t y) {
    const uint8_t* const from = sourceRow(c, y);
    uint8_t* to = targetRow(c, y);
    for (int32_t x = 0; x < c.width; ++x, to += kTolvaTripleBytes) {
        const uint32_t colour = c.map[from[x]];
        to[0] = static_cast<uint8_t>(colour >> 24);
        to[1] = static_cast<uint8_t>(colour >> 16);
        to[2] = static_cast<uint8_t>(colour >> 8);
    }
}

void copyColours(const Conversion& c, int32_t y) {
    std::memcpy(targetRow(c, y), sourceRow(c, y), static_cast<size_t>(c.width) * kTolvaTripleBytes);
}

void dropFourthBytes(const Conversion& c, int32_t y) {
    const uint8_t* from = sourceRow(c, y);
    uint8_t* to = targetRow(c, y);
    for (int32_t x = 0; x < c.width; ++x, from += 4, to += kTolvaTripleBytes) std::memcpy(to, from, kTolvaTripleBytes);
}

// Direct colour to the nearest entries. The rows are fresh, so bits are only ever set.
void matchColours(const Conversion& c, int32_t y) {
    const int bytesPerPixel = c.srcBits / 8;
    const uint8_t* from = sourceRow(c, y);
    uint8_t* const to = targetRow(c, y);
    if (c.dstBits == 8) {
        answerRow(c.matcher->answers, from, bytesPerPixel, to, c.width);
        return;
    }
    const int perByte = 8 / c.dstBits;
    const uint32_t mask = (1u << c.dstBits) - 1;
    uint8_t indices[kPackedAtOnce];
    for (int32_t x = 0; x < c.width; x += kPackedAtOnce, from += kPackedAtOnce * bytesPerPixel) {
        const int32_t count = std::min(kPackedAtOnce, c.width - x);
        answerRow(c.matcher->answers, from, bytesPerPixel, indices, count);
        for (int32_t i = 0; i < count; ++i) {
            const int shift = 8 - c.dstBits * (i % perByte + 1);
            uint8_t& byte = to[(x + i) / perByte];
            byte = static_cast<uint8_t>(byte | (indices[i] & mask) << shift);
        }
    }
}

ConvertRow rowsFor(const Conversion& c) {
    if (c.dstBits >= 24 && c.map != nullptr && c.table != nullptr) return convertThroughTable;
    if (printsPixels()) return convertPlainly;
    if (isIndexedDepth(c.srcBits) && c.map != nullptr && c.dstBits == 8) return widenIndices;
    if (c.srcBits == 8 && c.map != nullptr && c.dstBits == 24) return colourIndices;
    if (c.srcBits == 24 && c.dstBits == 24 && c.table == nullptr) return copyColours;
    if (c.srcBits == 32 && c.dstBits == 24 && c.table == nullptr) return dropFourthBytes;
    if (c.matcher != nullptr) return matchColours;
    return convertPlainly;
}

void convertRows(const Conversion& c, int32_t height) {
    // Where nothing is read, written or printed, no height makes it take long.
    const bool silent = !printsRows() && !printsPixels();
    if (silent && (c.width <= 0 || !hasPixels(c.dstBits))) return;
    const ConvertRow convertRow = rowsFor(c);
    for (int32_t y = 0; y < height; ++y) {
        convertRow(c, y);
        if (printsRows()) std::fputc('.', stderr);
    }
}

// With a matcher where direct colour goes to the nearest entries of a table.
void convertMatched(Conversion& c, int32_t height) {
    Matcher matcher;
    const bool matches = isDirectDepth(c.srcBits) && isIndexedDepth(c.dstBits) && isWorthMatching(c.width, height) &&
                         makeMatcher(matcher, c.table, c.count);
    c.matcher = matches ? &matcher : nullptr;
    convertRows(c, height);
    c.matcher = nullptr;
    if (matches) freeMatcher(matcher);
}

// The map of an indexed source. Without a table of its own a bitmap of direct colour gets the source table's colours,
// which the definition gives for 24 bits only.
Handle mapFor(Handle srcTable, int16_t srcBits, ColourTable destination, int16_t dstBits, uint16_t dstCount) {
    const bool wantsColours = dstBits == 32 && destination.triples == nullptr;
    // Between the two depths of direct colour there is none: such pixels are index 0, as at any depth that is none.
    const int16_t indexBits = srcBits > 24 && srcBits < 32 ? int16_t{0} : srcBits;
    return buildColourMap(tableOf(srcTable), indexBits, destination, wantsColours ? int16_t{24} : dstBits, dstCount);
}

}  // namespace

Handle rlConvertBitmapDepth(Handle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits,
                            Handle srcTable, Handle dstTable, uint16_t dstCount) {
    const Handle result = allocPicture(paddedRowBytes(width, dstBits), height);
    uint8_t* const dst = static_cast<uint8_t*>(rlLockMemory(result));
    if (dst == nullptr || !holdsBitmap(bits, width, height, srcBits)) {
        printComplete();
        return result;
    }
    if (_debug_color_res != 0) {
        std::fprintf(stderr, "Allocated %d bytes of new memory for the destination bitmap\n",
                     static_cast<int>(GlobalSize(result)));
    }
    const ColourTable destination = tableOf(dstTable);
    const Handle map = mapFor(srcTable, srcBits, destination, dstBits, dstCount);
    if (printsRows()) std::fprintf(stderr, "Converted bits. Each (.) represents one scan line\n");

    Conversion conversion = {
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
        .entries = destination.entries,
        .matcher = nullptr,
    };
    convertMatched(conversion, height);
    rlFreeColormap(map);
    printComplete();
    return result;
}
