// pixel_rows.cpp: from every kind of pixels to red, green, blue and opacity. Called where colours are counted, and
// where they are reduced.

#include "cli/picture/pixel_rows.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace cli {
namespace {

constexpr uint32_t kBlockPixels = 65536;
constexpr uint8_t kOpaque = 255;

bool isDirect(const Picture& picture) { return picture.bitsPerPixel == kColourBits && picture.alpha == nullptr; }

void putPixel(uint8_t* pixel, Colour colour, bool opaque) {
    std::memcpy(pixel, &colour, sizeof colour);
    pixel[sizeof colour] = opaque ? kOpaque : 0;
}

void expandIndices(const Picture& picture, const uint8_t* from, uint8_t* to) {
    for (uint32_t x = 0; x < picture.width; ++x) {
        putPixel(to + size_t{x} * kTolvaRgbx, picture.palette[from[x]], from[x] != picture.transparentIndex);
    }
}

// Of samples of 16 bits what is left of them in 8.
void expandDeep(const Picture& picture, const uint8_t* from, uint8_t* to) {
    for (uint32_t x = 0; x < picture.width; ++x) {
        uint16_t samples[kColourBytes];
        std::memcpy(samples, from + x * sizeof samples, sizeof samples);
        const auto of = [&](int i) { return static_cast<uint8_t>((samples[i] * 255U + 32767) / 65535); };
        putPixel(to + size_t{x} * kTolvaRgbx, Colour{of(0), of(1), of(2)}, true);
    }
}

void expandColours(const Picture& picture, const uint8_t* from, uint8_t* to) {
    for (uint32_t x = 0; x < picture.width; ++x) {
        const uint8_t* const pixel = from + size_t{x} * kColourBytes;
        putPixel(to + size_t{x} * kTolvaRgbx, Colour{pixel[0], pixel[1], pixel[2]}, true);
    }
}

void expandRow(const Picture& picture, uint32_t row, uint8_t* to) {
    const uint8_t* const from = picture.pixels + size_t{row} * picture.stride;
    const auto expand = picture.bitsPerPixel == kIndexBits    ? expandIndices
                        : picture.bitsPerPixel == kColourBits ? expandColours
                                                              : expandDeep;
    expand(picture, from, to);
    const uint8_t* const alpha = picture.alpha != nullptr ? alphaRow(picture, row) : nullptr;
    for (uint32_t x = 0; alpha != nullptr && x < picture.width; ++x) {
        if (alpha[x] < imageio::kHalfOpaque) to[size_t{x} * kTolvaRgbx + sizeof(Colour)] = 0;
    }
}

TolvaPixelRows takeRowsInFile(const PixelRows& rows, uint32_t y) {
    const Picture& picture = *rows.picture;
    return {.pixels = const_cast<uint8_t*>(picture.file.bytes) + size_t{y} * picture.stride,  // only read
            .stride = static_cast<intptr_t>(picture.stride),
            .mask = nullptr,
            .maskStride = 0,
            .width = picture.width,
            .rows = std::min(rows.mostRows, picture.height - y)};
}

}  // namespace

ExitStatus startRows(const Picture& picture, PixelRows& rows) {
    rows.picture = &picture;
    rows.mostRows = std::max(kBlockPixels / picture.width, 1U);
    if (isDirect(picture)) return kExitDone;
    rows.format = kTolvaRgba;
    rows.block = static_cast<uint8_t*>(std::malloc(size_t{rows.mostRows} * picture.width * kTolvaRgbx));
    return rows.block != nullptr ? kExitDone : fail(kExitInputRefused, "no memory for counting the colours");
}

TolvaPixelRows takeRows(const PixelRows& rows, uint32_t y) {
    const Picture& picture = *rows.picture;
    if (liesInFile(picture)) return takeRowsInFile(rows, y);
    const uint32_t row = picture.height - 1 - y;  // memory has the bottom one first
    TolvaPixelRows taken = {.pixels = picture.pixels + size_t{row} * picture.stride,
                            .stride = -static_cast<intptr_t>(picture.stride),
                            .mask = nullptr,
                            .maskStride = -static_cast<intptr_t>(imageio::rowBytes(picture.width, kMaskBits)),
                            .width = picture.width,
                            .rows = std::min(rows.mostRows, picture.height - y)};
    if (picture.mask != nullptr) taken.mask = maskRow(picture, row);
    if (rows.block == nullptr) return taken;
    taken.pixels = rows.block;
    taken.stride = static_cast<intptr_t>(picture.width) * kTolvaRgbx;
    for (uint32_t i = 0; i < taken.rows; ++i)
        expandRow(picture, row - i, rows.block + size_t{i} * picture.width * kTolvaRgbx);
    return taken;
}

void leaveRows(const PixelRows& rows, uint32_t y, uint32_t count) {
    const Picture& picture = *rows.picture;
    if (liesInFile(picture)) releaseBytes(picture.file, size_t{y} * picture.stride, size_t{count} * picture.stride);
}

PixelRows::~PixelRows() { std::free(block); }

}  // namespace cli
