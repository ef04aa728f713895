#include "quantize/histogram.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "quantize/runs.h"

namespace tolva {
namespace {

// A colour's number: bits 7 to 3 of its components, then bits 2, bits 1, bits 0 of all three. So cubes of 8, 4 and 2
// levels are runs of numbers.
constexpr uint32_t kColours = 1u << 24;
constexpr uint32_t kBinColours = 64;
constexpr uint32_t kBins = kColours / kBinColours;
constexpr uint32_t kCubeColours = 512;  // of the cubes of 8 levels that keep sums, and of the coarsest points
constexpr uint32_t kCubes = kColours / kCubeColours;
constexpr uint32_t kMostPoints = 32768;
constexpr uint32_t kFew = 32768;             // a cube with no more than such a part of the pixels is one point
constexpr uint32_t kManyCubes = kCubes / 4;  // with sums: a picture of which fine points are too many

// The first bin's counters are nobody's.
constexpr uint32_t kMostCounting = 26624;
constexpr uint32_t kCounters = (1 + kMostCounting) * kBinColours;

// A counter is a byte, so that a bin is a line of the cache, and stays above 0 when it carries: what is 0 has no
// pixels.
constexpr uint32_t kCarry = 255;
constexpr uint64_t kCarriedTwice = uint64_t{kCarry} << 16;

constexpr uint64_t kMostUncarried = UINT32_MAX / 8;  // sums grow by at most 7 a pixel
constexpr uint32_t kAhead = 64;                      // bins, the counters of which are fetched early
constexpr uint32_t kBlock = 64;                      // pixels counted together

using LevelTable = std::array<uint32_t, 256>;

constexpr LevelTable spread(uint32_t channel) {
    const uint32_t shift = 2 - channel;
    LevelTable table{};
    for (uint32_t level = 0; level < 256; ++level) {
        table[level] = (level >> 3) << (9 + 5 * shift) | (level >> 2 & 1) << (6 + shift) |
                       (level >> 1 & 1) << (3 + shift) | (level & 1) << shift;
    }
    return table;
}
constexpr LevelTable kSpread[kChannels] = {spread(0), spread(1), spread(2)};

inline uint32_t numberOf(const uint8_t* p) { return kSpread[0][p[0]] | kSpread[1][p[1]] | kSpread[2][p[2]]; }

constexpr uint32_t levelOf(uint32_t number, uint32_t channel) {
    const uint32_t shift = 2 - channel;
    return (number >> (9 + 5 * shift) & 31) << 3 | (number >> (6 + shift) & 1) << 2 | (number >> (3 + shift) & 1) << 1 |
           (number >> shift & 1);
}

constexpr std::array<SummingCube, kCubeColours> makeSteps() {
    std::array<SummingCube, kCubeColours> steps{};
    for (uint32_t i = 0; i < kCubeColours; ++i) {
        steps[i] = {uint64_t{1} << 32 | levelOf(i, 0), uint64_t{levelOf(i, 1)} << 32 | levelOf(i, 2)};
    }
    return steps;
}
constexpr std::array<SummingCube, kCubeColours> kSteps = makeSteps();  // what a pixel adds, by its place in the cube

uint32_t high(uint64_t pair) { return static_cast<uint32_t>(pair >> 32); }
uint32_t low(uint64_t pair) { return static_cast<uint32_t>(pair); }

void add(SummingCube& bin, uint32_t at, uint32_t pixels) {
    bin.pixelsRed += kSteps[at].pixelsRed * pixels;
    bin.greenBlue += kSteps[at].greenBlue * pixels;
}

void carry(Histogram& h, uint32_t at, uint64_t times) {
    h.carries[at / kBinColours] = true;
    const uint64_t carried = h.carried[at] + times;
    h.carried[at] = static_cast<uint16_t>(carried);
    if (carried > UINT16_MAX) h.carriedTwice[at] += carried >> 16;
}

void addCounted(Histogram& h, uint32_t at, uint32_t pixels) {
    const uint32_t sum = h.counters[at] + pixels;
    const uint32_t times = (sum - 1) / kCarry;
    h.counters[at] = static_cast<uint8_t>(sum - times * kCarry);
    if (times > 0) carry(h, at, times);
}

uint64_t counted(const Histogram& h, uint32_t at) {
    const uint64_t twice = h.carriedTwice == nullptr ? 0 : h.carriedTwice[at];
    return h.counters[at] + h.carried[at] * uint64_t{kCarry} + twice * kCarriedTwice;
}

// To a bin that did not count when it was looked up.
void addElsewhere(Histogram& h, uint32_t number, uint32_t pixels) {
    uint16_t& place = h.places[number / kBinColours];
    if (place == 0 && h.counting < kMostCounting) place = static_cast<uint16_t>(++h.counting);
    if (place != 0) {
        addCounted(h, place * kBinColours + number % kBinColours, pixels);
        return;
    }
    SummingCube& cube = h.sums[number / kCubeColours];
    const bool known = h.wideSums != nullptr && h.wideSums[number / kCubeColours].pixels != 0;
    h.summing += cube.pixelsRed == 0 && !known;
    add(cube, number % kCubeColours, pixels);
}

template <size_t step>
void addBlock(Histogram& h, const uint8_t* pixels, uint32_t count) {
    const uint16_t* const places = h.places;  // bytes alias everything: what h has would be loaded for each pixel
    uint8_t* const counters = h.counters;
#pragma GCC unroll 4
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t number = numberOf(pixels + i * step);
        const uint32_t place = places[number / kBinColours];
        if (place == 0) [[unlikely]] {
            addElsewhere(h, number, 1);
            continue;
        }
        const uint32_t at = place * kBinColours + number % kBinColours;
        if (++counters[at] == 0) [[unlikely]] {
            counters[at] = 1;
            carry(h, at, 1);
        }
    }
}

template <size_t step>
void sumBlock(Histogram& h, const uint8_t* pixels, uint32_t count) {
    SummingCube* const sums = h.sums;
#pragma GCC unroll 4
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t number = numberOf(pixels + i * step);
        add(sums[number / kCubeColours], number % kCubeColours, 1);
    }
}

void freeCounters(Histogram& h) {
    std::free(h.counters);
    std::free(h.carries);
    std::free(h.carried);
    std::free(h.carriedTwice);
    h.counters = nullptr;
    h.carries = nullptr;
    h.carried = nullptr;
    h.carriedTwice = nullptr;
}

bool makeWideSums(Histogram& h) {
    if (h.wideSums == nullptr) h.wideSums = static_cast<WideSums*>(std::calloc(kCubes, sizeof(WideSums)));
    return h.wideSums != nullptr;
}

bool carrySums(Histogram& h) {
    if (!makeWideSums(h)) return false;
    for (uint32_t i = 0; i < kCubes; ++i) {
        SummingCube& bin = h.sums[i];
        h.wideSums[i].pixels += high(bin.pixelsRed);
        h.wideSums[i].above[0] += low(bin.pixelsRed);
        h.wideSums[i].above[1] += high(bin.greenBlue);
        h.wideSums[i].above[2] += low(bin.greenBlue);
        bin = {};
    }
    h.uncarried = 0;
    return true;
}

// Room for so many pixels.
bool makeRoom(Histogram& h, uint64_t pixels) {
    if (h.uncarried + pixels > kMostUncarried && !carrySums(h)) return false;
    h.uncarried += pixels;
    h.pixels += pixels;
    if (h.pixels < kCarriedTwice || h.carriedTwice != nullptr || h.counters == nullptr) return true;
    h.carriedTwice = static_cast<uint64_t*>(std::calloc(kCounters, sizeof(uint64_t)));
    return h.carriedTwice != nullptr;
}

// ---- Points ----

struct Gathered {
    uint64_t pixels;
    uint64_t sums[kChannels];
};

ColourPoint meanOf(const Gathered& g) {
    ColourPoint point{.mean = {}, .unused = 0, .weight = g.pixels};
    for (uint32_t c = 0; c < kChannels; ++c) {
        point.mean[c] = static_cast<int16_t>((g.sums[c] * static_cast<uint32_t>(kLevel[c]) + g.pixels / 2) / g.pixels);
    }
    return point;
}

// What a cube has whose first colour this is.
void gather(Gathered& g, uint32_t number, const SummingCube& narrow, const WideSums& wide) {
    const uint64_t pixels = high(narrow.pixelsRed) + wide.pixels;
    const uint64_t above[] = {low(narrow.pixelsRed) + wide.above[0], high(narrow.greenBlue) + wide.above[1],
                              low(narrow.greenBlue) + wide.above[2]};
    g.pixels += pixels;
    for (uint32_t c = 0; c < kChannels; ++c) g.sums[c] += pixels * levelOf(number, c) + above[c];
}

void gatherSums(const Histogram& h, uint32_t cube, Gathered& g) {
    gather(g, cube * kCubeColours, h.sums[cube], h.wideSums == nullptr ? WideSums{} : h.wideSums[cube]);
}

// Some of a bin's counters.
void gatherCounters(const Histogram& h, uint32_t bin, uint32_t first, uint32_t count, Gathered& g) {
    const uint32_t counters = h.places[bin] * kBinColours;
    for (uint32_t i = first; i < first + count; ++i) {
        if (h.counters[counters + i] == 0) continue;
        const uint64_t pixels = counted(h, counters + i);
        g.pixels += pixels;
        for (uint32_t c = 0; c < kChannels; ++c) g.sums[c] += pixels * levelOf(bin * kBinColours + i, c);
    }
}

// Eight counters as vectors: a row of a bin, whose place has bits 1 of red, green and blue above bits 0.
using Row = uint16_t __attribute__((vector_size(16)));
constexpr uint32_t kRowColours = sizeof(Row) / sizeof(uint16_t);
using NarrowRow = uint8_t __attribute__((vector_size(kRowColours)));

uint32_t sumOf(const Row& row) {
    uint32_t sum = 0;
    for (uint32_t i = 0; i < kRowColours; ++i) sum += row[i];
    return sum;
}

void gatherBin(const Histogram& h, uint32_t bin, Gathered& g) {
    const uint32_t counters = h.places[bin] * kBinColours;
    if (h.carries[h.places[bin]]) {
        gatherCounters(h, bin, 0, kBinColours, g);
        return;
    }
    Row all = {}, upper[kChannels] = {};
    for (uint32_t i = 0; i < kBinColours / kRowColours; ++i) {
        NarrowRow narrow;  // copied in, because vectors that functions return are called another way on some machines
        std::memcpy(&narrow, h.counters + counters + i * kRowColours, sizeof narrow);
        const Row row = __builtin_convertvector(narrow, Row);
        all += row;
        for (uint32_t c = 0; c < kChannels; ++c) {
            if (levelOf(i * kRowColours, c) != 0) upper[c] += row;
        }
    }
    const uint64_t pixels = sumOf(all);
    g.pixels += pixels;
    for (uint32_t c = 0; c < kChannels; ++c) {
        g.sums[c] += pixels * levelOf(bin * kBinColours, c) + 2 * sumOf(upper[c]);
        for (uint32_t i = 0; i < kRowColours; ++i) g.sums[c] += levelOf(i, c) * all[i];
    }
}

// The means of all cubes of so many colours that have any; how many. Cubes of the coarsest size with hardly any pixels
// become one point each.
uint32_t meansOf(const Histogram& h, uint32_t colours, ColourPoint* points) {
    const uint64_t few = h.pixels / kFew;
    ColourPoint* next = points;
    ColourPoint* first = points;
    Gathered g = {}, coarse = {};
    const auto endCube = [&](uint32_t number) {
        if (number % colours != 0 || g.pixels == 0) return;
        *next++ = meanOf(g);
        coarse.pixels += g.pixels;
        for (uint32_t c = 0; c < kChannels; ++c) coarse.sums[c] += g.sums[c];
        g = {};
    };
    const auto endCoarse = [&] {
        if (next - first > 1 && coarse.pixels <= few) {
            *first = meanOf(coarse);
            next = first + 1;
        }
        first = next;
        coarse = {};
    };
    const uint32_t step = std::min(colours, kBinColours);
    for (uint32_t bin = 0; bin < kBins; ++bin, endCube(bin * kBinColours)) {
        if (bin * kBinColours % kCubeColours == 0) {
            endCoarse();
            gatherSums(h, bin * kBinColours / kCubeColours, g);
            if (colours < kCubeColours) endCube(bin * kBinColours);
        }
        if (bin + kAhead < kBins) __builtin_prefetch(h.counters + h.places[bin + kAhead] * kBinColours);
        if (h.places[bin] == 0) continue;
        if (step == kBinColours) {
            gatherBin(h, bin, g);
            continue;
        }
        for (uint32_t i = 0; i < kBinColours; i += step) {
            gatherCounters(h, bin, i, step, g);
            endCube(bin * kBinColours + i + step);
        }
    }
    endCoarse();
    return static_cast<uint32_t>(next - points);
}

// How many cubes of so many colours of the bins that count have any.
uint32_t cubes(const Histogram& h, uint32_t colours) {
    uint32_t count = 0;
    for (uint32_t at = kBinColours; at < (1 + h.counting) * kBinColours; at += colours) {
        count += colours == 1 ? h.counters[at] != 0 : load<uint64_t>(h.counters + at) != 0;
    }
    return count;
}

// Where the points will be those of the coarsest cubes, nothing else is counted any more.
bool countCoarsely(Histogram& h) {
    if (!makeWideSums(h)) return false;
    for (uint32_t bin = 0; bin < kBins; ++bin) {
        if (h.places[bin] == 0) continue;
        Gathered g = {};
        gatherCounters(h, bin, 0, kBinColours, g);
        WideSums& wide = h.wideSums[bin * kBinColours / kCubeColours];
        wide.pixels += g.pixels;
        for (uint32_t c = 0; c < kChannels; ++c) {
            wide.above[c] += g.sums[c] - g.pixels * levelOf(bin * kBinColours & ~(kCubeColours - 1), c);
        }
        h.places[bin] = 0;
    }
    freeCounters(h);
    return true;
}

}  // namespace

bool makeHistogram(Histogram& h) {
    h = {};
    h.places = static_cast<uint16_t*>(std::calloc(kBins, sizeof(uint16_t)));
    h.counters = static_cast<uint8_t*>(std::calloc(kCounters, 1));
    h.carries = static_cast<bool*>(std::calloc(1 + kMostCounting, sizeof(bool)));
    h.carried = static_cast<uint16_t*>(std::calloc(kCounters, sizeof(uint16_t)));
    h.sums = static_cast<SummingCube*>(std::calloc(kCubes, sizeof(SummingCube)));
    return h.places != nullptr && h.counters != nullptr && h.carries != nullptr && h.carried != nullptr &&
           h.sums != nullptr;
}

void freeHistogram(Histogram& h) {
    std::free(h.places);
    freeCounters(h);
    std::free(h.sums);
    std::free(h.wideSums);
    h = {};
}

bool countColours(Histogram& h, const uint8_t* pixels, int bytesPerPixel, uint32_t width) {
    const size_t step = static_cast<uint32_t>(bytesPerPixel);
    for (uint32_t left = width; left > 0;) {
        const uint32_t n = std::min(left, kBlock);
        if (!makeRoom(h, n)) return false;
        if (h.counters == nullptr) {
            step == 3 ? sumBlock<3>(h, pixels, n) : sumBlock<4>(h, pixels, n);
        } else if (runLength(pixels, bytesPerPixel, n) == n) {
            addElsewhere(h, numberOf(pixels), n);
        } else {
            step == 3 ? addBlock<3>(h, pixels, n) : addBlock<4>(h, pixels, n);
            if (h.summing > kManyCubes && !countCoarsely(h)) return false;
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
        addElsewhere(h, numberOf(levels), n);
        pixels -= n;
    }
    return true;
}

uint32_t pointsOfBins(const Histogram& h, ColourPoint** points) {
    uint32_t colours = kBinColours;
    uint32_t count = h.counting + h.summing;
    if (h.summing > kManyCubes) {
        colours = kCubeColours;
        count = kCubes;
    }
    while (colours > 1 && h.summing == 0) {
        const uint32_t finer = cubes(h, colours / 8);
        if (finer > kMostPoints) break;
        colours /= 8;
        count = finer;
    }
    if (count == 0) return 0;
    *points = static_cast<ColourPoint*>(std::malloc(count * sizeof(ColourPoint)));
    return *points == nullptr ? 0 : meansOf(h, colours, *points);
}

}  // namespace tolva
