// scale.cpp: pictures at another size: how it is done, and what a picture is afterwards. Called by hosts between
// reading and reduction.

#include "imageio/scale.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "imageio/linear_light.h"
#include "imageio/resample.h"

namespace imageio {
namespace {

constexpr const char* kNoMemory = "no memory for the picture at its new size";
constexpr uint32_t kFewColours = 256;

// ---- Few colours ----

// The bytes of a pixel, as one number.
uint64_t valueOf(const uint8_t* pixel, size_t bytes) {
    uint64_t value = 0;
    std::memcpy(&value, pixel, bytes);
    return value;
}

bool hasFewColours(const Picture& picture) {
    if (picture.bitsPerPixel == kIndexBits) return true;
    constexpr uint32_t kSlots = 4 * kFewColours;
    constexpr uint64_t kFree = UINT64_MAX;  // no pixel has that many bytes
    uint64_t slots[kSlots];
    std::fill(std::begin(slots), std::end(slots), kFree);
    const auto bytes = static_cast<size_t>(picture.bitsPerPixel / 8);
    uint32_t found = 0;
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* const row = picture.pixels + size_t{y} * picture.stride;
        for (uint32_t x = 0; x < picture.width; ++x) {
            const uint64_t value = valueOf(row + x * bytes, bytes);
            uint64_t slot = (value * 0x9E3779B97F4A7C15U >> 32) % kSlots;
            while (slots[slot] != kFree && slots[slot] != value) slot = (slot + 1) % kSlots;
            if (slots[slot] == value) continue;
            if (++found > kFewColours) return false;
            slots[slot] = value;
        }
    }
    return true;
}

bool growsByWholeFactors(const Picture& picture, uint32_t width, uint32_t height) {
    return width % picture.width == 0 && height % picture.height == 0;
}

// ---- Pixels repeated ----

struct Repeats {
    uint32_t across;
    uint32_t down;
};

void repeatRow(const Picture& from, uint32_t y, uint32_t across, uint8_t* to) {
    const auto bytes = static_cast<size_t>(from.bitsPerPixel / 8);
    const bool deep = from.bitsPerPixel == kDeepBits;
    const size_t shown = deep ? kColourBytes : bytes;
    const uint8_t* pixel = from.pixels + size_t{y} * from.stride;
    for (uint32_t x = 0; x < from.width; ++x, pixel += bytes) {
        uint8_t colour[kColourBytes] = {};
        if (deep) {
            uint16_t samples[kColourBytes];
            std::memcpy(samples, pixel, sizeof samples);
            std::transform(std::begin(samples), std::end(samples), colour, cutToByte);
        } else {
            std::memcpy(colour, pixel, shown);
        }
        for (uint32_t i = 0; i < across; ++i, to += shown) std::memcpy(to, colour, shown);
    }
}

bool repeatMask(const Picture& from, uint32_t y, Repeats repeats, Picture& to) {
    if (from.alpha == nullptr) return true;
    const uint8_t* const alpha = alphaRow(from, y);
    for (uint32_t x = 0; x < to.width; ++x) {
        if (alpha[x / repeats.across] >= kHalfOpaque) continue;
        if (!makeMask(to)) return false;
        for (uint32_t i = 0; i < repeats.down; ++i) maskRow(to, y * repeats.down + i)[x / 8] |= maskBit(x);
    }
    return true;
}

Reason repeatPixels(const Picture& from, Picture& to, bool (*stopped)(),
                    void (*advanced)(uint64_t done, uint64_t whole)) {
    const Repeats repeats = {to.width / from.width, to.height / from.height};
    for (uint32_t y = 0; y < from.height; ++y) {
        if (stopped()) return kStopped;
        if (advanced != nullptr) advanced(y, from.height);
        uint8_t* const row = to.pixels + size_t{y} * repeats.down * to.stride;
        repeatRow(from, y, repeats.across, row);
        for (uint32_t i = 1; i < repeats.down; ++i) std::memcpy(row + size_t{i} * to.stride, row, to.stride);
        if (!repeatMask(from, y, repeats, to)) return kRefused;
    }
    to.colours = from.colours;
    std::copy(std::begin(from.palette), std::end(from.palette), to.palette);
    to.transparentIndex = from.transparentIndex;
    return kDone;
}

// ---- Filtered ----

// Whether one channel is enough.
bool isGrey(const Picture& picture) {
    if (picture.bitsPerPixel != kIndexBits || picture.transparentIndex != kNoTransparency) return false;
    return std::all_of(picture.palette, picture.palette + picture.colours,
                       [](Colour c) { return c.red == c.green && c.green == c.blue; });
}

void exchange(Picture& a, Picture& b) {
    std::swap(a.width, b.width);
    std::swap(a.height, b.height);
    std::swap(a.stride, b.stride);
    std::swap(a.bitsPerPixel, b.bitsPerPixel);
    std::swap(a.pixels, b.pixels);
    std::swap(a.mask, b.mask);
    std::swap(a.alpha, b.alpha);
    std::swap(a.palette, b.palette);
    std::swap(a.colours, b.colours);
    std::swap(a.transparentIndex, b.transparentIndex);
}

}  // namespace

Reason scalePicture(Picture& picture, uint32_t width, uint32_t height, bool (*stopped)(), const char*& text,
                    void (*advanced)(uint64_t done, uint64_t whole)) {
    text = kNoMemory;
    const bool sameSize = width == picture.width && height == picture.height;
    const bool indexed = picture.bitsPerPixel == kIndexBits;
    const bool ready = picture.bitsPerPixel != kDeepBits && picture.alpha == nullptr;
    if (sameSize && ready) return kDone;
    const bool repeats = sameSize || (growsByWholeFactors(picture, width, height) && hasFewColours(picture));
    Picture scaled;
    const bool staysIndexed = indexed && (repeats || isGrey(picture));
    if (!makePicture(scaled, width, height, staysIndexed ? kIndexBits : kColourBits)) return kRefused;
    if (staysIndexed) setGreyRamp(scaled);
    const Reason failed =
        repeats ? repeatPixels(picture, scaled, stopped, advanced) : resample(picture, scaled, stopped, advanced);
    if (failed) return failed;
    exchange(picture, scaled);
    return kDone;
}

}  // namespace imageio
