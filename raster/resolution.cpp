// resolution.cpp: how a bitmap comes to another depth: by a reduced table, by dithering, or pixel by pixel. The
// pipeline brings every picture to 8 bits through here.

#include "host/handle.h"
#include "raster/rows.h"

using namespace tolva;

namespace {

constexpr int16_t kDeepestDither = 8;  // below this, depths are reached by error diffusion
constexpr int16_t kShallowestReduced = 4;

uint16_t coloursOf(int16_t bits) { return bits >= 0 && bits < 16 ? static_cast<uint16_t>(1u << bits) : uint16_t{0}; }

// Four bytes a pixel of which the last means nothing: reduced through 24 bits.
Handle changeThrough24(Handle bits, int32_t width, int32_t height, int16_t dstBits, Handle* table) {
    const Handle direct = rlConvertBitmapDepth(bits, width, height, 32, 24, 0, 0, 0);
    *table = 0;
    if (direct == 0 || dstBits == 24) return direct;
    const Handle result = rlChangeColorResolution(direct, width, height, 24, dstBits, table);
    GlobalFree(direct);
    return result;
}

Handle reducedTable(Handle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits, Handle source,
                    uint16_t* count) {
    if (srcBits == 24 && dstBits >= kDeepestDither) return rlReduceColorTable(bits, width, height, count);
    // The source's own table is the picture: one row, an entry a pixel.
    if (dstBits > kShallowestReduced) return rlReduceColorTable(source, coloursOf(srcBits), 1, count);
    return 0;
}

}  // namespace

Handle rlChangeColorResolution(Handle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits,
                               Handle* table) {
    if (srcBits == 32 && dstBits < 32) return changeThrough24(bits, width, height, dstBits, table);
    const Handle source = *table;
    Handle made = 0;
    uint16_t count = coloursOf(dstBits);
    if (dstBits < srcBits) made = reducedTable(bits, width, height, srcBits, dstBits, source, &count);
    const bool dithers = dstBits < kDeepestDither && srcBits > dstBits;
    const Handle result = dithers ? rlDitherBitmap(bits, width, height, srcBits, dstBits, source, &made)
                                  : rlConvertBitmapDepth(bits, width, height, srcBits, dstBits, source, made, count);
    *table = made;
    return result;
}
