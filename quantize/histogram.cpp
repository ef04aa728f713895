#include "quantize/histogram.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "nearest/colour_numbers.h"
#include "quantize/runs.h"

namespace tolva {
namespace {

constexpr uint32_t kBinColours = 64;
constexpr uint32_t kBins = kColours / kBinColours;
constexpr uint32_t kCubeBins = 8;  // of a cube of 8 levels
constexpr uint32_t kCubeColours = kCubeBins * kBinColours;
constexpr uint32_t kFew = 8192;       // such a cube with no more than such a part of the pixels is one point
constexpr uint32_t kFineColours = 8;  // of a cube of 2 levels
constexpr uint32_t kMostFinePoints = 32768;

constexpr uint32_t kMostCounting = 8192;  // bins; of more, photographs have too many fine points
constexpr uint32_t kCounters = (1 + kMostCounting) * kBinColours;  // the first bin's are nobody's

// A counter is a byte, so that a bin is a line of the cache. It carries half of what it holds: one that is less has
// never done so.
constexpr uint32_t kCarry = 128;

// A bin's sums in 64 bits, which eight bins that lie together have in a line of the cache: pixels from bit 50 up, and
// in 16 bits each by how much red, green and blue are above the bin's corner. They are carried when the pixels reach
// the highest bit, and as many may be added to fewer: 2 * 8192 * 3 fits 16 bits.
constexpr uint32_t kPixelsShift = 50, kRedShift = 32, kGreenShift = 16;
constexpr uint64_t kPixelsFull = 8192;
constexpr uint64_t kWide = uint64_t{1} << 48;  // there are wide sums, too
static_assert(kBinColours * (kCarry - 1) < kPixelsFull, "what has not been carried from a bin's counters fits");

constexpr uint32_t kBlock = 64;  // pixels counted together

constexpr uint64_t packed(uint64_t pixels, uint64_t red, uint64_t green, uint64_t blue) {
    return pixels << kPixelsShift | red << kRedShift | green << kGreenShift | blue;
}

constexpr std::array<uint64_t, kBinColours> makeSteps() {
    std::array<uint64_t, kBinColours> steps{};
    for (uint32_t i = 0; i < kBinColours; ++i) steps[i] = packed(1, levelOf(i, 0), levelOf(i, 1), levelOf(i, 2));
    return steps;
}
constexpr std::array<uint64_t, kBinColours> kSteps = makeSteps();  // what a pixel adds, by its place in the bin

void add(ColourSums& to, const ColourSums& sums) {
    to.pixels += sums.pixels;
    for (uint32_t c = 0; c < kChannels; ++c) to.levels[c] += sums.levels[c];
}

// ---- Colours of few bins, each counted ----

void carry(Histogram& h, uint32_t at, uint64_t times) {
    h.carried[at] = static_cast<uint32_t>(std::min<uint64_t>(h.carried[at] + times, UINT32_MAX));
}

uint64_t counted(const Histogram& h, uint32_t at) {
    const uint8_t counter = h.counters[at];
    return counter < kCarry ? counter : counter + uint64_t{kCarry} * h.carried[at];
}

void count(Histogram& h, uint32_t at, uint64_t pixels) {
    const uint64_t sum = h.counters[at] + pixels;
    const uint64_t times = sum > UINT8_MAX ? sum / kCarry - 1 : 0;
    h.counters[at] = static_cast<uint8_t>(sum - times * kCarry);
    if (times > 0) carry(h, at, times);
}

// The place of a bin that may be new; 0: there are too many.
uint32_t placeOf(Histogram& h, uint32_t number) {
    uint16_t& place = h.places[number / kBinColours];
    if (place == 0 && h.counting < kMostCounting) place = static_cast<uint16_t>(++h.counting);
    return place;
}

// How many: fewer, where the next one's bin is one too many.
uint32_t countNumbers(Histogram& h, const uint32_t* numbers, uint32_t count) {
    const uint16_t* const places = h.places;  // bytes alias everything: what h has would be loaded for each pixel
    uint8_t* const counters = h.counters;
#pragma GCC unroll 4
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t place = places[numbers[i] / kBinColours];
        if (place == 0) [[unlikely]] {
            place = placeOf(h, numbers[i]);
            if (place == 0) return i;
        }
        const uint32_t at = place * kBinColours + numbers[i] % kBinColours;
        if (++counters[at] == 0) [[unlikely]] {
            counters[at] = kCarry;
            carry(h, at, 1);
        }
    }
    return count;
}

bool hasFine(const Histogram& h, uint32_t at) { return load<uint64_t>(h.counters + at) != 0; }

uint32_t finePoints(const Histogram& h) {
    uint32_t count = 0;
    for (uint32_t at = kBinColours; at < (1 + h.counting) * kBinColours; at += kFineColours) count += hasFine(h, at);
    return count;
}

uint32_t countedColours(const Histogram& h) {
    const uint8_t* const first = h.counters + kBinColours;
    const uint32_t counters = h.counting * kBinColours;
    return counters - static_cast<uint32_t>(std::count(first, first + counters, uint8_t{0}));
}

void freeCounters(Histogram& h) {
    std::free(h.places);
    std::free(h.counters);
    std::free(h.carried);
    h.places = nullptr;
    h.counters = nullptr;
    h.carried = nullptr;
}

// ---- Sums of all bins ----

void unpack(uint64_t packedSums, ColourSums& to) {
    add(to, {packedSums >> kPixelsShift,
             {packedSums >> kRedShift & 0xFFFF, packedSums >> kGreenShift & 0xFFFF, packedSums & 0xFFFF}});
}

void carrySums(Histogram& h, uint32_t bin) {
    unpack(h.sums[bin], h.wideSums[bin]);
    h.sums[bin] = kWide;
}

// Pixels of one colour of a bin.
ColourSums sumsOf(uint32_t number, uint64_t pixels) {
    ColourSums sums = {pixels, {}};
    for (uint32_t c = 0; c < kChannels; ++c) sums.levels[c] = pixels * levelOf(number % kBinColours, c);
    return sums;
}

void sumNumbers(Histogram& h, const uint32_t* numbers, uint32_t count) {
    uint64_t* const sums = h.sums;
#pragma GCC unroll 4
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t bin = numbers[i] / kBinColours;
        const uint64_t sum = sums[bin] += kSteps[numbers[i] % kBinColours];
        if (static_cast<int64_t>(sum) < 0) [[unlikely]]
            carrySums(h, bin);
    }
}

void addSums(Histogram& h, uint32_t bin, const ColourSums& sums) {
    if (sums.pixels < kPixelsFull) {
        h.sums[bin] += packed(sums.pixels, sums.levels[0], sums.levels[1], sums.levels[2]);
        if (static_cast<int64_t>(h.sums[bin]) < 0) carrySums(h, bin);
    } else {
        add(h.wideSums[bin], sums);
        h.sums[bin] |= kWide;
    }
}

// What some of a counting bin's colours have.
ColourSums sumsOfCounters(const Histogram& h, uint32_t bin, uint32_t first, uint32_t count) {
    const uint32_t counters = h.places[bin] * kBinColours;
    ColourSums sums = {};
    uint64_t few = 0;  // all that have not carried fit
    for (uint32_t i = first; i < first + count; ++i) {
        const uint8_t counter = h.counters[counters + i];
        if (counter < kCarry) [[likely]] {
            few += kSteps[i] * counter;
        } else {
            add(sums, sumsOf(i, counted(h, counters + i)));
        }
    }
    unpack(few, sums);
    return sums;
}

// The same of a whole bin, its colours eight at a time. Where of two bits a channel's level is made of, the higher one
// tells the eight, and the lower one the place among them.
ColourSums sumsOfCountingBin(const Histogram& h, uint32_t bin) {
    using Eight = uint8_t __attribute__((vector_size(kFineColours)));
    using Counts = uint16_t __attribute__((vector_size(2 * kFineColours)));
    constexpr uint64_t kCarries = UINT64_MAX / UINT8_MAX * kCarry;
    const uint8_t* const counters = h.counters + h.places[bin] * kBinColours;
    Counts all = {}, higher[kChannels] = {};
    uint64_t carries = 0;
    for (uint32_t i = 0; i < kBinColours; i += kFineColours) {
        carries |= load<uint64_t>(counters + i);
        const Counts some = __builtin_convertvector(load<Eight>(counters + i), Counts);
        all += some;
        for (uint32_t c = 0; c < kChannels; ++c) {
            if (levelOf(i, c) != 0) higher[c] += some;
        }
    }
    if ((carries & kCarries) != 0) return sumsOfCounters(h, bin, 0, kBinColours);
    ColourSums sums = {};
    for (uint32_t k = 0; k < kFineColours; ++k) {
        sums.pixels += all[k];
        for (uint32_t c = 0; c < kChannels; ++c) sums.levels[c] += levelOf(k, c) * all[k] + 2u * higher[c][k];
    }
    return sums;
}

// From counters to sums; false: no memory.
bool countCoarsely(Histogram& h) {
    h.sums = static_cast<uint64_t*>(std::calloc(kBins, sizeof(uint64_t)));
    h.wideSums = static_cast<ColourSums*>(std::calloc(kBins, sizeof(ColourSums)));
    if (h.sums == nullptr || h.wideSums == nullptr) return false;
    for (uint32_t bin = 0; bin < kBins; ++bin) {
        if (h.places[bin] != 0) addSums(h, bin, sumsOfCountingBin(h, bin));
    }
    freeCounters(h);
    return true;
}

// False: no memory.
bool addColour(Histogram& h, uint32_t number, uint64_t pixels) {
    const uint32_t place = h.sums == nullptr ? placeOf(h, number) : 0;
    if (place != 0) {
        count(h, place * kBinColours + number % kBinColours, pixels);
        return true;
    }
    if (h.sums == nullptr && !countCoarsely(h)) return false;
    addSums(h, number / kBinColours, sumsOf(number, pixels));
    return true;
}

// ---- Points ----

struct Cube {  // of 8 levels
    uint32_t count;
    ColourSums parts[kCubeColours];
    ColourSums all;
};

void addPart(Cube& cube, uint32_t bin, ColourSums sums) {
    if (sums.pixels == 0) return;
    for (uint32_t c = 0; c < kChannels; ++c) sums.levels[c] += sums.pixels * levelOf(bin * kBinColours, c);
    cube.parts[cube.count++] = sums;
    add(cube.all, sums);
}

void addSummedBin(Cube& cube, const Histogram& h, uint32_t bin) {
    ColourSums sums = {};
    if ((h.sums[bin] & kWide) != 0) sums = h.wideSums[bin];
    unpack(h.sums[bin] & ~kWide, sums);
    addPart(cube, bin, sums);
}

// As parts of so many colours.
void addCountingBin(Cube& cube, const Histogram& h, uint32_t bin, uint32_t colours) {
    for (uint32_t i = 0; i < kBinColours; i += kFineColours) {
        if (!hasFine(h, h.places[bin] * kBinColours + i)) continue;
        for (uint32_t k = i; k < i + kFineColours; k += colours) addPart(cube, bin, sumsOfCounters(h, bin, k, colours));
    }
}

ColourPoint meanOf(const ColourSums& sums) {
    ColourPoint point{.mean = {}, .unused = 0, .weight = sums.pixels};
    for (uint32_t c = 0; c < kChannels; ++c) {
        const uint64_t levels = sums.levels[c] * static_cast<uint32_t>(kLevel[c]);
        point.mean[c] = static_cast<int16_t>((levels + sums.pixels / 2) / sums.pixels);
    }
    return point;
}

// Behind the last point; where the next one goes.
ColourPoint* addPoints(const Cube& cube, uint64_t few, ColourPoint* points) {
    if (cube.count > 0 && cube.all.pixels <= few) {
        *points = meanOf(cube.all);
        return points + 1;
    }
    return std::transform(cube.parts, cube.parts + cube.count, points, meanOf);
}

}  // namespace

bool makeHistogram(Histogram& h) {
    h = {};
    h.places = static_cast<uint16_t*>(std::calloc(kBins, sizeof(uint16_t)));
    h.counters = static_cast<uint8_t*>(std::calloc(kCounters, 1));
    h.carried = static_cast<uint32_t*>(std::calloc(kCounters, sizeof(uint32_t)));
    return h.places != nullptr && h.counters != nullptr && h.carried != nullptr;
}

void freeHistogram(Histogram& h) {
    freeCounters(h);
    std::free(h.sums);
    std::free(h.wideSums);
    h = {};
}

bool countColours(Histogram& h, const uint8_t* pixels, int bytesPerPixel, uint32_t width) {
    const size_t step = static_cast<uint32_t>(bytesPerPixel);
    h.pixels += width;
    for (uint32_t left = width, n = 0; left > 0; left -= n, pixels += n * step) {
        uint32_t numbers[kBlock];
        n = std::min(left, kBlock);
        if (runLength(pixels, bytesPerPixel, n) == n) {
            if (!addColour(h, numberOf(pixels), n)) return false;
            continue;
        }
        numbersOf(pixels, bytesPerPixel, n, numbers);
        if (h.sums != nullptr) {
            sumNumbers(h, numbers, n);
        } else {
            const uint32_t wanted = n;
            n = countNumbers(h, numbers, n);
            if (n < wanted && !countCoarsely(h)) return false;
        }
    }
    return true;
}

bool countColour(Histogram& h, uint32_t colour, uint64_t pixels) {
    const uint8_t levels[] = {static_cast<uint8_t>(colour >> 16), static_cast<uint8_t>(colour >> 8),
                              static_cast<uint8_t>(colour)};
    h.pixels += pixels;
    return addColour(h, numberOf(levels), pixels);
}

uint32_t pointsOfBins(Histogram& h, ColourPoint** points) {
    uint32_t count = h.sums == nullptr ? finePoints(h) : 0, colours = kFineColours;
    if (h.sums == nullptr && count > kMostFinePoints && !countCoarsely(h)) return 0;
    if (h.sums != nullptr) {
        count = kBins - static_cast<uint32_t>(std::count(h.sums, h.sums + kBins, uint64_t{0}));
    } else if (const uint32_t all = countedColours(h); all <= kMostFinePoints) {
        count = all;
        colours = 1;
    }
    if (count == 0) return 0;
    *points = static_cast<ColourPoint*>(std::malloc(count * sizeof(ColourPoint)));
    Cube* const cube = static_cast<Cube*>(std::malloc(sizeof(Cube)));
    ColourPoint* next = *points;
    for (uint32_t bin = 0; next != nullptr && cube != nullptr && bin < kBins; ++bin) {
        if (bin % kCubeBins == 0) {
            cube->count = 0;
            cube->all = {};
        }
        if (h.sums != nullptr) {
            if (h.sums[bin] != 0) addSummedBin(*cube, h, bin);
        } else if (h.places[bin] != 0) {
            addCountingBin(*cube, h, bin, colours);
        }
        if (bin % kCubeBins == kCubeBins - 1) next = addPoints(*cube, h.pixels / kFew, next);
    }
    std::free(cube);
    return static_cast<uint32_t>(next - *points);
}

}  // namespace tolva
