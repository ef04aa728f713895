// colour_model.cpp: four-byte pixels from and to CMYK, and without their alpha, in place.

#include <algorithm>

#include "host/handle.h"
#include "raster/rows.h"

using namespace tolva;

namespace {

constexpr int kFourBytes = 4;

// The locked pixels and how many there are; none where the block does not hold the bitmap. Rows of four-byte pixels
// have no padding.
struct Pixels {
    uint8_t* data;
    int64_t count;
};

Pixels pixelsOf(Handle bits, int32_t width, int32_t height) {
    if (width <= 0 || height <= 0 || !holdsBitmap(bits, width, height, 32)) return {nullptr, 0};
    return {static_cast<uint8_t*>(rlLockMemory(bits)), int64_t{width} * height};
}

}  // namespace

void rlRGB4toCMYK(Handle bits, int32_t width, int32_t height) {
    const Pixels pixels = pixelsOf(bits, width, height);
    for (uint8_t* p = pixels.data; p != pixels.data + pixels.count * kFourBytes; p += kFourBytes) {
        for (int i = 0; i < kTolvaTripleBytes; ++i) p[i] = static_cast<uint8_t>(255 - p[i]);
        p[3] = 0;
    }
}

void rlCMYKtoRGB(Handle bits, int32_t width, int32_t height) {
    const Pixels pixels = pixelsOf(bits, width, height);
    uint8_t* to = pixels.data;
    for (const uint8_t* p = pixels.data; p != pixels.data + pixels.count * kFourBytes; p += kFourBytes) {
        const uint8_t black = p[3];
        for (int i = 0; i < kTolvaTripleBytes; ++i) *to++ = static_cast<uint8_t>(255 - std::max(p[i], black));
    }
}

void rlALPHAtoRGB(Handle bits, int32_t width, int32_t height) {
    const Pixels pixels = pixelsOf(bits, width, height);
    uint8_t* to = pixels.data;
    for (const uint8_t* p = pixels.data; p != pixels.data + pixels.count * kFourBytes; p += kFourBytes) {
        for (int i = 0; i < kTolvaTripleBytes; ++i) *to++ = p[i];
    }
}
