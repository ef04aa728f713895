// nearest.cpp: the nearest colour of a table, and the colour maps built on it. Greys are matched with greys and colours
// with colours, so that a grey never takes on a tint.

#include <algorithm>

#include "host/handle.h"
#include "raster/rows.h"

using namespace tolva;

namespace tolva {
namespace {

constexpr uint32_t kFarthest = 0x7FFFFFFF;
constexpr int16_t kDeepestMap = 23;  // direct colour needs no map

uint32_t square(int32_t difference) {
    const uint32_t d = static_cast<uint32_t>(difference);
    return d * d;
}

uint32_t entriesOf(int16_t bits) { return bits >= 0 && bits <= kDeepestMap ? 1u << bits : 0; }

}  // namespace

Handle buildColourMap(ColourTable source, int16_t srcBits, ColourTable destination, int16_t dstBits,
                      uint16_t dstCount) {
    if (srcBits > kDeepestMap) return 0;
    const uint32_t entries = entriesOf(srcBits);
    if (srcBits <= dstBits && destination.triples == nullptr) {
        destination = source;
        dstCount = static_cast<uint16_t>(entries);
    }
    // At least one entry: pixels of a depth that is none read as 0.
    const Handle h = rlGetMemory(sizeof(uint32_t), entries == 0 ? 1 : entries);
    uint32_t* const map = static_cast<uint32_t*>(rlLockMemory(h));
    if (map == nullptr || source.triples == nullptr || destination.triples == nullptr) return h;
    if (dstCount > destination.entries) dstCount = static_cast<uint16_t>(destination.entries);
    const auto become = [&](const uint8_t* c) {
        if (dstBits == 24) return load24(c);
        return static_cast<uint32_t>(rlNearestRGBIndex(c[0], c[1], c[2], destination.triples, dstCount));
    };
    const uint32_t known = std::min(entries, source.entries);
    for (uint32_t i = 0; i < known; ++i) map[i] = become(source.triples + size_t{i} * kTolvaTripleBytes);
    constexpr uint8_t black[kTolvaTripleBytes] = {};
    if (known < entries) std::fill(map + known, map + entries, become(black));
    return h;
}

}  // namespace tolva

using namespace tolva;

int32_t rlNearestRGBIndex(int16_t red, int16_t green, int16_t blue, const uint8_t* table, uint16_t count) {
    const bool grey = isGreyWithin(kTolvaGreyTolerance, red, green, blue);
    uint32_t least = kFarthest;
    int32_t best = 0;
    for (int32_t i = 0; i < count; ++i, table += kTolvaTripleBytes) {
        const bool greyEntry = table[0] == table[1] && table[1] == table[2];
        if (greyEntry != grey) continue;
        const uint32_t distance = square(blue - table[2]) + square(green - table[1]) + square(red - table[0]);
        if (distance >= least) continue;
        least = distance;
        best = i;
        if (distance == 0) break;
    }
    return best;
}

Handle rlBuildColormap(const uint8_t* srcTable, int16_t srcBits, const uint8_t* dstTable, int16_t dstBits,
                       uint16_t dstCount) {
    // Bare pointers carry no length: the tables are taken to be as long as depth and count say.
    return buildColourMap({srcTable, entriesOf(srcBits)}, srcBits, {dstTable, dstCount}, dstBits, dstCount);
}
