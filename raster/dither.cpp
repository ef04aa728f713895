// dither.cpp: few colours by error diffusion, against a caller's table, a fixed table of greys, or a reduced one with
// eight fixed colours behind it. Rows run left to right, each pixel's error into its right neighbour and the row below.

#include <algorithm>
#include <array>
#include <cstdio>

#include "host/handle.h"
#include "raster/match.h"

using namespace tolva;

// clang-format off
const uint8_t MonoTable[kTolvaMonoColours * kTolvaTripleBytes] = {
    0, 0, 0,  255, 255, 255,  64, 64, 64,  128, 128, 128,  160, 160, 160,  192, 192, 192,  208, 208, 208,  224, 224, 224,
};
const uint8_t must_have_colors[kTolvaMustHaveColours * kTolvaTripleBytes] = {
    255, 255, 255,  255, 255, 0,  255, 0, 255,  0, 255, 255,  255, 0, 0,  0, 255, 0,  0, 0, 255,  0, 0, 0,
};
#define ROW16(v) (v), (v) + 1, (v) + 2, (v) + 3, (v) + 4, (v) + 5, (v) + 6, (v) + 7, \
                 (v) + 8, (v) + 9, (v) + 10, (v) + 11, (v) + 12, (v) + 13, (v) + 14, (v) + 15
#define SAME16(v) (v), (v), (v), (v), (v), (v), (v), (v), (v), (v), (v), (v), (v), (v), (v), (v)
const uint8_t BOUNDARY_CHK[kTolvaClampBytes] = {
    SAME16(0), SAME16(0), SAME16(0), SAME16(0), SAME16(0), SAME16(0), SAME16(0), SAME16(0),
    ROW16(0), ROW16(16), ROW16(32), ROW16(48), ROW16(64), ROW16(80), ROW16(96), ROW16(112),
    ROW16(128), ROW16(144), ROW16(160), ROW16(176), ROW16(192), ROW16(208), ROW16(224), ROW16(240),
    SAME16(255), SAME16(255), SAME16(255), SAME16(255), SAME16(255), SAME16(255), SAME16(255), SAME16(255),
};
#undef ROW16
#undef SAME16
// clang-format on

namespace {

constexpr uint32_t kFewestReduced = 8;  // colours: below this there is no room for the fixed ones
constexpr int16_t kDeepestTable = 15;   // bits: counts are 16-bit

uint8_t clamped(int32_t value) { return BOUNDARY_CHK[kTolvaClampBase + value]; }

void addTo(uint8_t* pixel, const std::array<int32_t, 3>& amounts) {
    for (size_t i = 0; i < 3; ++i) pixel[i] = clamped(pixel[i] + amounts[i]);
}

// Replaces pixel x by its entry and hands its error on.
void diffuse(uint8_t* pixel, uint8_t* below, bool first, const uint8_t* entry) {
    std::array<int32_t, 3> right;
    std::array<int32_t, 3> eighth;
    for (size_t i = 0; i < 3; ++i) {
        const int32_t error = pixel[i] - entry[i];
        eighth[i] = error / 8;
        right[i] = 7 * error / 16;
        pixel[i] = entry[i];
    }
    addTo(pixel + kTolvaTripleBytes, right);
    if (below == nullptr) return;
    const auto less = [&](int32_t times) {
        return std::array<int32_t, 3>{right[0] - times * eighth[0], right[1] - times * eighth[1],
                                      right[2] - times * eighth[2]};
    };
    addTo(below, less(1));
    if (!first) addTo(below - kTolvaTripleBytes, less(2));
    addTo(below + kTolvaTripleBytes, less(3));
}

// Kept: the last pixel of a row is not searched; it takes the choice of the one before it, or entry 0. Every dithered
// picture that hosts have ends its rows so.
template <class Choose>
void ditherLine(uint8_t* current, uint8_t* next, const uint8_t* table, int32_t width, Choose choose) {
    uint32_t index = 0;
    for (int32_t x = 0; x + 1 < width; ++x) {
        uint8_t* const pixel = current + int64_t{x} * kTolvaTripleBytes;
        index = choose(pixel);
        uint8_t* const below = next == nullptr ? nullptr : next + int64_t{x} * kTolvaTripleBytes;
        diffuse(pixel, below, x == 0, table + index * kTolvaTripleBytes);
    }
    if (width > 0) {
        std::copy_n(table + index * kTolvaTripleBytes, kTolvaTripleBytes,
                    current + int64_t{width - 1} * kTolvaTripleBytes);
    }
}

// Rows that were turned to grey and meet a table of exact greys alone stay grey: their three channels go the same way,
// so one of them is followed. What happens to a value is worked out once for each.
struct GreyStep {
    uint8_t entry;
    int16_t right, below, belowLeft, belowRight;
};

bool isGreyTable(const uint8_t* table, uint32_t count) {
    for (const uint8_t* c = table; c != table + count * kTolvaTripleBytes; c += kTolvaTripleBytes) {
        if (c[0] != c[1] || c[1] != c[2]) return false;
    }
    return true;
}

void makeGreySteps(GreyStep* steps, const uint8_t* table, uint16_t count) {
    for (int32_t value = 0; value < 256; ++value) {
        const int16_t grey = static_cast<int16_t>(value);
        const uint8_t entry = table[rlNearestRGBIndex(grey, grey, grey, table, count) * kTolvaTripleBytes];
        const int32_t error = value - entry;
        const int32_t eighth = error / 8;
        const int32_t right = 7 * error / 16;
        steps[value] = {entry, low16(right), low16(right - eighth), low16(right - 2 * eighth),
                        low16(right - 3 * eighth)};
    }
}

void ditherGreyLine(uint8_t* current, uint8_t* next, int32_t width, const GreyStep* steps, uint8_t firstEntry) {
    uint8_t entry = firstEntry;
    int32_t value = width > 0 ? current[0] : 0;
    for (int32_t x = 0; x + 1 < width; ++x) {
        const GreyStep& step = steps[value];
        uint8_t* const pixel = current + int64_t{x} * kTolvaTripleBytes;
        entry = step.entry;
        pixel[0] = pixel[1] = pixel[2] = entry;
        value = clamped(pixel[kTolvaTripleBytes] + step.right);
        if (next == nullptr) continue;
        uint8_t* const below = next + int64_t{x} * kTolvaTripleBytes;
        below[0] = clamped(below[0] + step.below);
        if (x > 0) below[-kTolvaTripleBytes] = clamped(below[-kTolvaTripleBytes] + step.belowLeft);
        below[kTolvaTripleBytes] = clamped(below[kTolvaTripleBytes] + step.belowRight);
    }
    uint8_t* const last = current + int64_t{width - 1} * kTolvaTripleBytes;
    if (width > 0) last[0] = last[1] = last[2] = entry;
}

struct Dithering {
    uint8_t* work;  // the 24-bit copy
    int32_t width;
    int32_t height;
    int16_t dstBits;
    const uint8_t* table;
    uint16_t count;
};

void ditherRows(const Dithering& d, Matcher* matcher) {
    const int64_t rowBytes = paddedRowBytes(d.width, 24);
    if (d.width <= 0 && !printsRows()) return;
    const bool grey = d.dstBits == 1 && isGreyTable(d.table, d.count);
    GreyStep steps[256];
    if (grey) makeGreySteps(steps, d.table, d.count);
    if (printsRows()) std::printf("Dithering...each(.) represents one scan line\n");
    for (int32_t y = 0; y < d.height; ++y) {
        uint8_t* const current = d.work + y * rowBytes;
        uint8_t* const next = y + 1 < d.height ? current + rowBytes : nullptr;
        // Two colours are chosen by lightness: each row is turned to grey once, before error reaches it.
        if (d.dstBits == 1 && y == 0) rev_rgb(d.width, current, kTolvaConvertGrey);
        if (d.dstBits == 1 && next != nullptr) rev_rgb(d.width, next, kTolvaConvertGrey);
        if (grey) {
            ditherGreyLine(current, next, d.width, steps, d.table[0]);
        } else if (matcher == nullptr) {
            _rlDitherOneLine(current, next, d.table, d.width, d.count);
        } else {
            ditherLine(current, next, d.table, d.width, [&](const uint8_t* p) { return answer(matcher->answers, p); });
        }
        if (printsRows()) std::printf(".");
    }
    if (printsRows()) std::printf("\n");
}

// Dithers the work copy, frees it, and returns the bitmap made of it.
Handle ditherCopy(Handle work, int32_t width, int32_t height, int16_t dstBits, Handle table, uint16_t count) {
    const ColourTable entries = tableOf(table);
    count = static_cast<uint16_t>(std::min<uint32_t>(count, entries.entries));
    uint8_t* const copy = static_cast<uint8_t*>(rlLockMemory(work));
    if (copy != nullptr && entries.triples != nullptr && count != 0) {
        Matcher matcher;
        const bool matches = isWorthMatching(width, height) && makeMatcher(matcher, entries.triples, count);
        ditherRows({copy, width, height, dstBits, entries.triples, count}, matches ? &matcher : nullptr);
        if (matches) freeMatcher(matcher);
    }
    const Handle result = rlConvertBitmapDepth(work, width, height, 24, dstBits, 0, table, count);
    rlFreeNewData(work);
    return result;
}

Handle copyOf(const uint8_t* triples, uint32_t count) {
    const Handle h = rlGetMemory(kTolvaTripleBytes, count);
    std::copy_n(triples, count * kTolvaTripleBytes, static_cast<uint8_t*>(rlLockMemory(h)));
    return h;
}

// A reduced table with the fixed colours behind it; entries that the picture has no colours for are black.
Handle reducedTable(Handle work, int32_t width, int32_t height, uint32_t n) {
    uint16_t count = static_cast<uint16_t>(n - kTolvaMustHaveColours);
    const Handle reduced = rlReduceColorTable(work, width, height, &count);
    const Handle h = rlGetMemory(kTolvaTripleBytes, n);
    uint8_t* const table = static_cast<uint8_t*>(rlLockMemory(h));
    std::copy_n(static_cast<const uint8_t*>(rlLockMemory(reduced)), count * kTolvaTripleBytes, table);
    std::copy_n(must_have_colors, sizeof must_have_colors, table + count * kTolvaTripleBytes);
    rlFreeNewData(reduced);
    return h;
}

// Chooses the table for 2^dstBits colours; the number of its entries.
uint16_t chooseTable(Handle work, int32_t width, int32_t height, int16_t dstBits, bool takesCallers, Handle* table) {
    uint32_t n = 1u << dstBits;
    const bool few = n < kFewestReduced;
    if ((few || takesCallers) && *table != 0) return static_cast<uint16_t>(n);
    if (few) {
        *table = copyOf(MonoTable, kTolvaMonoColours);
        n = kTolvaMonoColours;
    } else {
        *table = reducedTable(work, width, height, n);
    }
    return static_cast<uint16_t>(n);
}

void printTable(Handle h, uint16_t n) {
    if (_debug_color_res == 0) return;
    const ColourTable table = tableOf(h);
    std::printf("Dithering to the following colortable:\n");
    for (uint32_t i = 0; i < n && i < table.entries; ++i) {
        const uint8_t* const c = table.triples + i * kTolvaTripleBytes;
        std::printf("color %d: [%d, %d, %d]\n", static_cast<int>(i), c[0], c[1], c[2]);
    }
}

// The copy that is diffused in place takes the source table's colours; without them all would be black.
Handle makeWorkCopy(Handle bits, int32_t width, int32_t height, int16_t srcBits, Handle srcTable) {
    return rlConvertBitmapDepth(bits, width, height, srcBits, 24, srcTable, 0, 0);
}

bool isPossible(int16_t dstBits) { return dstBits >= 0 && dstBits <= kDeepestTable; }

}  // namespace

Handle rlDitherBitmap(Handle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits, Handle srcTable,
                      Handle* table) {
    if (!isPossible(dstBits)) return 0;
    const Handle work = makeWorkCopy(bits, width, height, srcBits, srcTable);
    if (work == 0) return 0;
    const uint16_t count = chooseTable(work, width, height, dstBits, true, table);
    printTable(*table, count);
    return ditherCopy(work, width, height, dstBits, *table, count);
}

void rlDitherGetCT(Handle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits, Handle srcTable,
                   Handle* table, uint16_t* count) {
    if (!isPossible(dstBits)) return;
    const Handle work = makeWorkCopy(bits, width, height, srcBits, srcTable);
    if (work == 0) return;
    *count = chooseTable(work, width, height, dstBits, false, table);
    printTable(*table, *count);
    rlFreeNewData(work);
}

Handle rlDitherGivenCT(Handle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits, Handle srcTable,
                       Handle table, uint16_t count) {
    const Handle work = makeWorkCopy(bits, width, height, srcBits, srcTable);
    return work == 0 ? 0 : ditherCopy(work, width, height, dstBits, table, count);
}

void _rlDitherOneLine(uint8_t* current, uint8_t* next, const uint8_t* table, int32_t width, uint16_t count) {
    if (table == nullptr || count == 0) return;
    ditherLine(current, next, table, width, [&](const uint8_t* p) {
        return static_cast<uint32_t>(rlNearestRGBIndex(p[0], p[1], p[2], table, count));
    });
}
