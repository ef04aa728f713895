// resample.cpp: scaling through stb_image_resize, tile by tile: so what is read of any kind of picture takes little
// memory and stays in the cache, the library's own sizes stay small, and a stop is noticed. Called by scalePicture.
//
// A tile is gathered with what the filter needs around it; at the picture's edges that is its mirror image. Pixels that
// shrink very much are averaged before: the filter would need too many at once.

#include "imageio/resample.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <stb_image_resize.h>

#include "imageio/linear_light.h"

namespace imageio {
namespace {

constexpr int64_t kTilePixels = 1024;   // along a side, gathered or made
constexpr uint32_t kMostRatio = 32;     // that the filter is left with
constexpr uint32_t kAveragedRatio = 8;  // the least it is left with behind averaging
constexpr int64_t kFilterRadius = 2;    // of both filters, in the larger pixels
constexpr uint32_t kMostChannels = 4;

// One direction: `pixels` of the picture, averaged to `cells`, become `result`.
struct Axis {
    uint32_t pixels;
    uint32_t cells;
    uint32_t result;
};

// Of one direction, what becomes `first` to `first + count` of the result: cells, of which those outside the picture
// are mirrored.
struct Span {
    uint32_t first;
    uint32_t count;
    int64_t firstCell;
    uint32_t cells;
};

struct Work {
    const Picture* from;
    Picture* to;
    Axis across;
    Axis down;
    uint32_t colourChannels;
    bool alpha;
    bool deep;  // amounts of light of 16 bits instead of sRGB's 8
};

struct Free {
    void operator()(void* block) const { std::free(block); }
};
using Block = std::unique_ptr<uint8_t, Free>;

Axis axisOf(uint32_t pixels, uint32_t result) {
    if (pixels / kMostRatio <= result) return {pixels, pixels, result};
    return {pixels, result * kAveragedRatio, result};
}

bool isAveraged(const Axis& axis) { return axis.cells != axis.pixels; }
double ratioOf(const Axis& axis) { return static_cast<double>(axis.cells) / axis.result; }
uint32_t channelsOf(const Work& work) { return work.colourChannels + (work.alpha ? 1 : 0); }
uint32_t sampleBytes(const Work& work) { return work.deep ? sizeof(uint16_t) : sizeof(uint8_t); }

uint32_t tileSide(const Axis& axis) {
    const double largest = std::max(ratioOf(axis), 1.0);
    return static_cast<uint32_t>(kTilePixels / largest) - 2 * kFilterRadius;
}

Span spanOf(const Axis& axis, uint32_t first) {
    const uint32_t count = std::min(tileSide(axis), axis.result - first);
    const double ratio = ratioOf(axis);
    const double margin = kFilterRadius * std::max(ratio, 1.0) + 1;
    const auto from = static_cast<int64_t>(std::floor(first * ratio - margin));
    const auto to = static_cast<int64_t>(std::ceil((first + count) * ratio + margin));
    return {first, count, from, static_cast<uint32_t>(to - from)};
}

// Inside the picture. Mirrored at the middle of the outermost cell, so that patterns go on.
uint32_t cellAt(const Axis& axis, int64_t cell) {
    const int64_t last = int64_t{axis.cells} - 1;
    while (cell < 0 || cell > last) {
        if (last == 0) return 0;
        cell = cell < 0 ? -cell : 2 * last - cell;
    }
    return static_cast<uint32_t>(cell);
}

// The pixels under a cell, which may lie there in part: a pixel is as many units long as the axis has cells.
struct Cover {
    uint32_t first;
    uint32_t behind;
    uint64_t start;  // in units
    uint64_t end;
};

Cover coverOf(const Axis& axis, uint32_t cell) {
    const uint64_t start = uint64_t{cell} * axis.pixels;
    const uint64_t end = start + axis.pixels;
    return {static_cast<uint32_t>(start / axis.cells), static_cast<uint32_t>((end + axis.cells - 1) / axis.cells),
            start, end};
}

uint64_t unitsOf(const Axis& axis, const Cover& cover, uint32_t pixel) {
    const uint64_t start = uint64_t{pixel} * axis.cells;
    return std::min(cover.end, start + axis.cells) - std::max(cover.start, start);
}

// ---- Gathering ----

struct Pixel {
    uint32_t sample[kMostChannels];  // as the picture has them, with 16 bits where it is deep
};

Pixel pixelAt(const Work& work, uint32_t x, uint32_t y) {
    const Picture& picture = *work.from;
    const uint8_t* const row = picture.pixels + size_t{y} * picture.stride;
    Pixel pixel = {};
    if (picture.bitsPerPixel == kDeepBits) {
        uint16_t samples[kColourBytes];
        // cppcheck-suppress legacyUninitvar ; this fills it
        std::memcpy(samples, row + size_t{x} * sizeof samples, sizeof samples);
        std::copy(std::begin(samples), std::end(samples), pixel.sample);
    } else {
        const bool indexed = picture.bitsPerPixel == kIndexBits;
        const uint8_t* const colour = indexed ? &picture.palette[row[x]].red : row + size_t{x} * kColourBytes;
        std::copy(colour, colour + work.colourChannels, pixel.sample);
    }
    if (work.alpha) {
        const auto ofIndex = [&] { return row[x] == picture.transparentIndex ? 0 : kOpaque; };
        pixel.sample[work.colourChannels] = picture.alpha != nullptr ? alphaRow(picture, y)[x] : ofIndex();
    }
    return pixel;
}

// Samples as amounts of light of 16 bits; alpha is one already.
void addLight(const Work& work, const Pixel& pixel, uint64_t weight, uint64_t (&sums)[kMostChannels]) {
    const uint32_t perSample = work.from->bitsPerPixel == kDeepBits ? 1 : kDeepPerByte;
    const LinearLight& tables = linearLight();
    for (uint32_t i = 0; i < work.colourChannels; ++i) sums[i] += weight * tables.light[pixel.sample[i] * perSample];
    if (work.alpha) sums[work.colourChannels] += weight * pixel.sample[work.colourChannels] * kDeepPerByte;
}

void gatherDeep(const Work& work, const Span& across, uint32_t row, uint8_t* to) {
    const uint32_t channels = channelsOf(work);
    const Cover rows = coverOf(work.down, row);
    const uint64_t whole = uint64_t{work.across.pixels} * work.down.pixels;
    for (uint32_t i = 0; i < across.cells; ++i) {
        const Cover columns = coverOf(work.across, cellAt(work.across, across.firstCell + i));
        uint64_t sums[kMostChannels] = {};
        for (uint32_t y = rows.first; y < rows.behind; ++y) {
            const uint64_t units = unitsOf(work.down, rows, y);
            for (uint32_t x = columns.first; x < columns.behind; ++x) {
                addLight(work, pixelAt(work, x, y), units * unitsOf(work.across, columns, x), sums);
            }
        }
        uint16_t means[kMostChannels];
        for (uint32_t k = 0; k < channels; ++k) means[k] = static_cast<uint16_t>((sums[k] + whole / 2) / whole);
        // cppcheck-suppress uninitvar ; as many as were filled
        std::memcpy(to, means, channels * sizeof(uint16_t));
        to += channels * sizeof(uint16_t);
    }
}

// The usual case: nothing but bytes, of which most are copied.
void gatherBytes(const Work& work, const Span& across, uint32_t row, uint8_t* to) {
    const Picture& picture = *work.from;
    const uint32_t channels = channelsOf(work);
    const auto place = [&](int64_t cell) { return static_cast<uint32_t>(std::clamp<int64_t>(cell, 0, across.cells)); };
    const bool copies = !work.alpha && picture.bitsPerPixel == kColourBits;
    const uint32_t first = copies ? place(-across.firstCell) : across.cells;
    const uint32_t behind = copies ? place(work.across.cells - across.firstCell) : across.cells;
    const auto gather = [&](uint32_t from, uint32_t end) {
        for (uint32_t i = from; i < end; ++i) {
            const Pixel pixel = pixelAt(work, cellAt(work.across, across.firstCell + i), row);
            std::copy(pixel.sample, pixel.sample + channels, to + size_t{i} * channels);
        }
    };
    gather(0, first);
    gather(behind, across.cells);
    if (first < behind) {
        const uint8_t* const from = picture.pixels + size_t{row} * picture.stride;
        std::memcpy(to + size_t{first} * kColourBytes,
                    from + static_cast<size_t>(across.firstCell + first) * kColourBytes,
                    size_t{behind - first} * kColourBytes);
    }
}

// ---- Laying down ----

bool layRow(const Work& work, const Span& across, uint32_t y, const uint8_t* row) {
    Picture& to = *work.to;
    const uint32_t channels = channelsOf(work);
    const LinearLight* const tables = work.deep ? &linearLight() : nullptr;
    uint8_t* const laid = to.pixels + size_t{y} * to.stride + size_t{across.first} * work.colourChannels;
    for (uint32_t i = 0; i < across.count; ++i) {
        uint16_t light[kMostChannels];
        const uint8_t* const bytes = row + size_t{i} * channels;
        if (work.deep) std::memcpy(light, row + size_t{i} * channels * sizeof *light, channels * sizeof *light);
        for (uint32_t k = 0; k < work.colourChannels; ++k) {
            // cppcheck-suppress uninitvar ; filled where it is deep
            laid[i * work.colourChannels + k] = work.deep ? tables->sample[light[k]] : bytes[k];
        }
        if (!work.alpha) continue;
        const uint32_t last = work.colourChannels;
        const uint32_t alpha = work.deep ? cutToByte(light[last]) : bytes[last];
        if (alpha >= kHalfOpaque) continue;
        if (!makeMask(to)) return false;
        const uint32_t x = across.first + i;
        maskRow(to, y)[x / 8] |= maskBit(x);
    }
    return true;
}

// ---- A tile ----

// Mitchell's filter makes smaller without ringing, Catmull and Rom's larger without blur; at the same size it changes
// nothing.
stbir_filter filterOf(const Axis& axis) {
    return axis.result < axis.cells ? STBIR_FILTER_MITCHELL : STBIR_FILTER_CATMULLROM;
}

float scaleOf(const Axis& axis) { return static_cast<float>(1 / ratioOf(axis)); }
float offsetOf(const Axis& axis, const Span& span) {
    return static_cast<float>(span.first - static_cast<double>(span.firstCell) / ratioOf(axis));
}

bool resizeTile(const Work& work, const Span& across, const Span& down, const uint8_t* cells, uint8_t* made) {
    const auto number = [](uint32_t value) { return static_cast<int>(value); };
    const uint32_t pixelBytes = channelsOf(work) * sampleBytes(work);
    return stbir_resize_subpixel(
               cells, number(across.cells), number(down.cells), number(across.cells * pixelBytes), made,
               number(across.count), number(down.count), number(across.count * pixelBytes),
               work.deep ? STBIR_TYPE_UINT16 : STBIR_TYPE_UINT8, number(channelsOf(work)),
               work.alpha ? number(work.colourChannels) : STBIR_ALPHA_CHANNEL_NONE, STBIR_FLAG_ALPHA_PREMULTIPLIED,
               STBIR_EDGE_CLAMP, STBIR_EDGE_CLAMP, filterOf(work.across), filterOf(work.down),
               work.deep ? STBIR_COLORSPACE_LINEAR : STBIR_COLORSPACE_SRGB, nullptr, scaleOf(work.across),
               scaleOf(work.down), offsetOf(work.across, across), offsetOf(work.down, down)) != 0;
}

bool makeTile(const Work& work, const Span& across, const Span& down) {
    const size_t pixelBytes = size_t{channelsOf(work)} * sampleBytes(work);
    const size_t stride = across.cells * pixelBytes;
    const size_t madeStride = across.count * pixelBytes;
    const Block cells(static_cast<uint8_t*>(std::malloc(stride * down.cells)));
    const Block made(static_cast<uint8_t*>(std::malloc(madeStride * down.count)));
    if (cells == nullptr || made == nullptr) return false;
    const auto gather = work.deep ? gatherDeep : gatherBytes;
    for (uint32_t i = 0; i < down.cells; ++i) {
        gather(work, across, cellAt(work.down, down.firstCell + i), cells.get() + i * stride);
    }
    if (!resizeTile(work, across, down, cells.get(), made.get())) return false;
    for (uint32_t i = 0; i < down.count; ++i) {
        if (!layRow(work, across, down.first + i, made.get() + i * madeStride)) return false;
    }
    return true;
}

}  // namespace

Reason resample(const Picture& from, Picture& to, bool (*stopped)(), void (*advanced)(uint64_t done, uint64_t whole)) {
    const Axis across = axisOf(from.width, to.width);
    const Axis height = axisOf(from.height, to.height);
    const Work work = {.from = &from,
                       .to = &to,
                       .across = across,
                       .down = height,
                       .colourChannels = to.bitsPerPixel == kIndexBits ? 1 : kColourBytes,
                       .alpha = from.alpha != nullptr || from.transparentIndex != kNoTransparency,
                       .deep = from.bitsPerPixel == kDeepBits || isAveraged(across) || isAveraged(height)};
    const uint64_t pixels = uint64_t{to.width} * to.height;
    for (uint32_t y = 0; y < to.height; y += tileSide(work.down)) {
        const Span down = spanOf(work.down, y);
        for (uint32_t x = 0; x < to.width; x += tileSide(work.across)) {
            if (stopped()) return kStopped;
            if (advanced != nullptr) advanced(uint64_t{y} * to.width + uint64_t{x} * down.count, pixels);
            if (!makeTile(work, spanOf(work.across, x), down)) return kRefused;
        }
    }
    return kDone;
}

}  // namespace imageio
