// scale.cpp: pictures at another size, through stb_image_resize. Called by hosts between reading and reduction.

#include "imageio/scale.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <stb_image_resize.h>

namespace imageio {
namespace {

constexpr const char* kNoMemory = "no memory for the picture at its new size";

void exchangePixels(Picture& a, Picture& b) {
    std::swap(a.width, b.width);
    std::swap(a.height, b.height);
    std::swap(a.stride, b.stride);
    std::swap(a.bitsPerPixel, b.bitsPerPixel);
    std::swap(a.pixels, b.pixels);
}

bool expandIndices(Picture& picture) {
    Picture wide;
    if (!makePicture(wide, picture.width, picture.height, kColourBits)) return false;
    const bool hasKey = picture.transparentIndex != kNoTransparency;
    if (hasKey && !makeAlpha(picture)) return false;
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* const from = picture.pixels + size_t{y} * picture.stride;
        uint8_t* const to = wide.pixels + size_t{y} * wide.stride;
        for (uint32_t x = 0; x < picture.width; ++x) {
            std::memcpy(to + size_t{x} * kColourBytes, &picture.palette[from[x]], kColourBytes);
            if (hasKey && from[x] == picture.transparentIndex) alphaRow(picture, y)[x] = 0;
        }
    }
    exchangePixels(picture, wide);
    picture.transparentIndex = kNoTransparency;
    return true;
}

bool resize(const uint8_t* from, const Picture& old, uint8_t* to, uint32_t width, uint32_t height, int32_t bits) {
    const auto number = [](uint32_t value) { return static_cast<int>(value); };
    const bool colours = bits == kColourBits;
    return stbir_resize_uint8_generic(from, number(old.width), number(old.height), number(rowBytes(old.width, bits)),
                                      to, number(width), number(height), number(rowBytes(width, bits)), colours ? 3 : 1,
                                      STBIR_ALPHA_CHANNEL_NONE, 0, STBIR_EDGE_CLAMP, STBIR_FILTER_DEFAULT,
                                      colours ? STBIR_COLORSPACE_SRGB : STBIR_COLORSPACE_LINEAR, nullptr) != 0;
}

bool makeMaskFromAlpha(Picture& picture) {
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* const alpha = alphaRow(picture, y);
        for (uint32_t x = 0; x < picture.width; ++x) {
            if (alpha[x] >= kHalfOpaque) continue;
            if (!makeMask(picture)) return false;
            maskRow(picture, y)[x / 8] |= maskBit(x);
        }
    }
    dropAlpha(picture);
    return true;
}

}  // namespace

Reason scalePicture(Picture& picture, uint32_t width, uint32_t height, bool (*stopped)(), const char*& text) {
    text = kNoMemory;
    if (picture.bitsPerPixel == kIndexBits && !expandIndices(picture)) return kRefused;
    Picture scaled;
    if (!makePicture(scaled, width, height, kColourBits)) return kRefused;
    if (!resize(picture.pixels, picture, scaled.pixels, width, height, kColourBits)) return kRefused;
    if (picture.alpha != nullptr) {
        if (!makeAlpha(scaled)) return kRefused;
        if (!resize(picture.alpha, picture, scaled.alpha, width, height, kIndexBits)) return kRefused;
    }
    exchangePixels(picture, scaled);
    std::swap(picture.alpha, scaled.alpha);
    if (picture.alpha != nullptr && !makeMaskFromAlpha(picture)) return kRefused;
    return stopped() ? kStopped : kDone;
}

}  // namespace imageio
