#include "quantize/histogram.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "quantize/runs.h"

namespace tolva {
namespace {

constexpr uint32_t kSide = 4;                            // levels, of a bin
constexpr uint64_t kMostUncarried = UINT32_MAX / kSide;  // sums grow by at most 3 a pixel
constexpr uint32_t kBlock = 16;

using LevelTable = std::array<uint32_t, 256>;

// The eight bins of each cell of 8 x 8 x 8 colours stand side by side, in two lines of the cache.
constexpr LevelTable placesOf(uint32_t shift) {
    LevelTable table{};
    for (uint32_t level = 0; level < 256; ++level) {
        table[level] = (level / 8) << (3 + 5 * shift) | ((level / kSide) & 1) << shift;
    }
    return table;
}
constexpr LevelTable kRedPlaces = placesOf(2), kGreenPlaces = placesOf(1), kBluePlaces = placesOf(0);

uint32_t placeOf(const uint8_t* p) { return kRedPlaces[p[0]] | kGreenPlaces[p[1]] | kBluePlaces[p[2]]; }

// The level of a bin's corner.
uint32_t corner(uint32_t bin, uint32_t channel) {
    const uint32_t shift = 2 - channel;
    return (bin >> (3 + 5 * shift) & 31) * 8 + (bin >> shift & 1) * kSide;
}

void add(Bin& bin, const uint8_t* p, uint32_t pixels) {
    bin.pixels += pixels;
    for (uint32_t c = 0; c < kChannels; ++c) bin.above[c] += p[c] % kSide * pixels;
}

bool carry(Histogram& h) {
    if (h.wide == nullptr) h.wide = static_cast<WideBin*>(std::calloc(kBins, sizeof(WideBin)));
    if (h.wide == nullptr) return false;
    for (uint32_t i = 0; i < kBins; ++i) {
        h.wide[i].pixels += h.bins[i].pixels;
        for (uint32_t c = 0; c < kChannels; ++c) h.wide[i].above[c] += h.bins[i].above[c];
        h.bins[i] = {};
    }
    h.uncarried = 0;
    return true;
}

// Room for so many pixels.
bool makeRoom(Histogram& h, uint64_t pixels) {
    if (h.uncarried + pixels > kMostUncarried && !carry(h)) return false;
    h.uncarried += pixels;
    return true;
}

}  // namespace

bool makeHistogram(Histogram& h) {
    h = {};
    h.bins = static_cast<Bin*>(std::calloc(kBins, sizeof(Bin)));
    return h.bins != nullptr;
}

void freeHistogram(Histogram& h) {
    std::free(h.bins);
    std::free(h.wide);
    h = {};
}

bool countColours(Histogram& h, const uint8_t* pixels, int bytesPerPixel, uint32_t width) {
    const size_t step = static_cast<uint32_t>(bytesPerPixel);
    for (uint32_t left = width; left > 0;) {
        const uint32_t n = std::min(left, kBlock);
        if (!makeRoom(h, n)) return false;
        if (runLength(pixels, bytesPerPixel, n) == n) {
            add(h.bins[placeOf(pixels)], pixels, n);
        } else {
            for (uint32_t i = 0; i < n; ++i) add(h.bins[placeOf(pixels + i * step)], pixels + i * step, 1);
        }
        pixels += n * step;
        left -= n;
    }
    return true;
}

bool countColour(Histogram& h, uint32_t colour, uint64_t pixels) {
    const uint8_t levels[] = {static_cast<uint8_t>(colour >> 16), static_cast<uint8_t>(colour >> 8),
                              static_cast<uint8_t>(colour)};
    while (pixels > 0) {
        const uint32_t n = static_cast<uint32_t>(std::min(pixels, kMostUncarried));
        if (!makeRoom(h, n)) return false;
        add(h.bins[placeOf(levels)], levels, n);
        pixels -= n;
    }
    return true;
}

uint32_t pointsOfBins(Histogram& h, ColourPoint** points) {
    static_assert(sizeof(ColourPoint) == sizeof(Bin));
    uint8_t* const block = reinterpret_cast<uint8_t*>(h.bins);
    uint32_t count = 0;
    for (uint32_t i = 0; i < kBins; ++i) {
        const Bin narrow = load<Bin>(block + i * sizeof(Bin));
        WideBin bin = h.wide == nullptr ? WideBin{} : h.wide[i];
        bin.pixels += narrow.pixels;
        if (bin.pixels == 0) continue;
        ColourPoint point{.mean = {}, .unused = 0, .weight = bin.pixels};
        for (uint32_t c = 0; c < kChannels; ++c) {
            const uint64_t above = bin.above[c] + narrow.above[c];
            point.mean[c] =
                static_cast<uint16_t>(corner(i, c) * kLevel + (above * kLevel + bin.pixels / 2) / bin.pixels);
        }
        store(block + count++ * sizeof point, point);
    }
    *points = reinterpret_cast<ColourPoint*>(block);
    return count;
}

}  // namespace tolva
