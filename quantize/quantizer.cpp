// quantizer.cpp: the calls that hosts make, in which order, and what a quantizer has at which time: first what
// colours are counted in, then what pixels are mapped by: the list of all colours, or answers.

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <tolva/quantize.h>
#include "nearest/answers.h"
#include "quantize/diffusion.h"
#include "quantize/distinct.h"
#include "quantize/histogram.h"
#include "quantize/k_means.h"
#include "quantize/opaque.h"
#include "quantize/texture.h"
#include "quantize/variance_cut.h"

using namespace tolva;

struct TolvaQuantizer {
    TolvaQuantizeOrder order;
    Distinct distinct;
    Histogram histogram;
    bool overflowed;   // there are too many colours for the list: all of them are in the histogram
    bool transparent;  // there are such pixels
    bool broken;       // out of memory amid a count
    bool fitted;       // the palette stands
    TolvaPalette palette;
    Texture texture;
    uint32_t rows;   // seen in the first pass
    uint32_t error;  // squared, of the palette that was fitted, in 16ths
    bool answering;  // its answers stand, too
    Answers answers;
    Diffusion diffusion;
};

namespace {

static_assert(kPiece % kTextureApart == 0);
constexpr uint32_t kMostAnswered = 1u << 30;  // pixels of a row mapped at once

struct Row {
    uint8_t* pixels;
    const uint8_t* mask;
};

Row rowOf(const TolvaPixelRows& rows, uint32_t y) {
    const intptr_t at = static_cast<intptr_t>(y);
    return {rows.pixels + at * rows.stride, rows.mask == nullptr ? nullptr : rows.mask + at * rows.maskStride};
}

bool mayBeTransparent(const TolvaQuantizer& q, const TolvaPixelRows& rows) {
    return rows.mask != nullptr || q.order.format == kTolvaRgba;
}

bool areRows(const TolvaPixelRows* rows) {
    return rows != nullptr && rows->width > 0 && (rows->rows == 0 || rows->pixels != nullptr);
}

bool pourDistinct(TolvaQuantizer& q) {
    q.overflowed = true;
    for (uint32_t i = 0; i < q.distinct.count; ++i) {
        if (!countColour(q.histogram, q.distinct.colours[i].colour, q.distinct.colours[i].pixels)) return false;
    }
    freeDistinct(q.distinct);
    return true;
}

bool countPixels(TolvaQuantizer& q, const uint8_t* pixels, int bytesPerPixel, uint32_t width) {
    if (q.order.diffusion != kTolvaDiffuseNever) countTexture(q.texture, pixels, bytesPerPixel, width, q.rows);
    if (!q.overflowed) {
        const uint32_t listed = listColours(q.distinct, pixels, bytesPerPixel, width);
        if (listed == width) return true;
        if (!pourDistinct(q)) return false;
        pixels += size_t{listed} * static_cast<uint32_t>(bytesPerPixel);
        width -= listed;
    }
    return countColours(q.histogram, pixels, bytesPerPixel, width);
}

bool countSeenPixels(TolvaQuantizer& q, const Row& row, uint32_t width) {
    SeenPixels seen;
    for (uint32_t first = 0, n = 0; first < width; first += n) {
        n = std::min(width - first, kPiece);
        seePixels(q.order, row.pixels, row.mask, first, n, seen);
        uint32_t opaque = 0;
        for (uint32_t i = 0; i < n; ++i) {
            std::memmove(seen.colours + 3 * opaque, seen.colours + 3 * i, 3);
            opaque += !seen.transparent[i];
        }
        q.transparent |= opaque < n;
        if (!countPixels(q, seen.colours, 3, opaque)) return false;
    }
    return true;
}

// ---- The palette ----

uint32_t pointsOfDistinct(Distinct& d, ColourPoint** points) {
    *points = static_cast<ColourPoint*>(std::malloc(d.count * sizeof(ColourPoint)));
    if (*points == nullptr) return 0;
    for (uint32_t i = 0; i < d.count; ++i) {
        const uint32_t colour = d.colours[i].colour;
        ColourPoint& p = (*points)[i];
        p = {.mean = {}, .unused = 0, .weight = d.colours[i].pixels};
        for (uint32_t c = 0; c < kChannels; ++c)
            p.mean[c] = static_cast<int16_t>(static_cast<int32_t>(colour >> (16 - 8 * c) & 255) * kLevel[c]);
    }
    return d.count;
}

// At most `most` entries; 0: no memory.
uint32_t fitPalette(TolvaQuantizer& q, uint32_t most, uint8_t* table) {
    ColourPoint* points = nullptr;
    const uint32_t count = q.overflowed ? pointsOfBins(q.histogram, &points) : pointsOfDistinct(q.distinct, &points);
    Cluster clusters[kTolvaLargestPalette];
    uint32_t entries = cutByVariance(points, count, clusters, most);
    if (entries > 0 && !settleCentroids(points, clusters, entries, table, &q.error)) entries = 0;
    std::free(points);
    return entries;
}

int32_t makePalette(TolvaQuantizer& q) {
    TolvaPalette& p = q.palette;
    p = {.colours = {}, .count = 0, .key = kTolvaNoKey, .distinct = kTolvaManyColours, .exact = 0};
    const uint32_t key = q.transparent ? 1 : 0;
    if (!q.overflowed) p.distinct = std::min<uint32_t>(q.distinct.count + key, kTolvaManyColours);
    if (p.distinct <= q.order.colours) {
        p.exact = 1;
        p.count = q.distinct.count;
        for (uint32_t i = 0; i < p.count; ++i) {
            for (uint32_t c = 0; c < 3; ++c)
                p.colours[3 * i + c] = static_cast<uint8_t>(q.distinct.colours[i].colour >> (16 - 8 * c));
        }
    } else {
        p.count = fitPalette(q, q.order.colours - key, p.colours);
        if (p.count == 0) return kTolvaQuantizeNoMemory;
    }
    if (q.transparent) {
        p.key = static_cast<int32_t>(p.count++);
        std::copy_n(q.order.background, 3, p.colours + 3 * p.key);
    }
    freeHistogram(q.histogram);
    return kTolvaQuantized;
}

// ---- The second pass ----

bool diffuses(const TolvaQuantizer& q) {
    return q.order.diffusion == kTolvaDiffuse ||
           (q.order.diffusion == kTolvaDiffuseUnlessExact && q.palette.exact == 0);
}

uint32_t opaqueEntries(const TolvaPalette& p) { return p.count - (p.key == kTolvaNoKey ? 0 : 1); }

bool haveAnswers(TolvaQuantizer& q) {
    if (q.answering) return true;
    q.answering = makeAnswers(q.answers, q.palette.colours, opaqueEntries(q.palette));
    if (q.answering)
        beginDiffusion(q.diffusion, q.palette.colours, opaqueEntries(q.palette),
                       {q.error, textureBeside(q.texture, q.error)});
    return q.answering;
}

// What is in the list of colours is not searched for.
bool mapPixels(TolvaQuantizer& q, const uint8_t* pixels, int bytesPerPixel, uint32_t width, uint8_t* to) {
    uint32_t first = q.palette.exact == 0 ? 0 : indexColours(q.distinct, pixels, bytesPerPixel, to, width);
    if (first < width && !haveAnswers(q)) return false;
    for (uint32_t n = 0; first < width; first += n) {
        n = std::min(width - first, kMostAnswered);
        answerRow(q.answers, pixels + size_t{first} * static_cast<uint32_t>(bytesPerPixel), bytesPerPixel, to + first,
                  static_cast<int32_t>(n));
    }
    return true;
}

bool mapSeenRow(TolvaQuantizer& q, const Row& row, uint32_t width, uint8_t* to) {
    SeenPixels seen;
    PassedErrors passed = {};
    const bool keyed = q.palette.key != kTolvaNoKey;
    const uint8_t key = static_cast<uint8_t>(keyed ? q.palette.key : 0);
    for (uint32_t first = 0, n = 0; first < width; first += n) {
        n = std::min(width - first, kPiece);
        seePixels(q.order, row.pixels, row.mask, first, n, seen);
        if (diffuses(q)) {
            const bool* const transparent = keyed ? seen.transparent : nullptr;
            diffusePiece(q.diffusion, q.answers, {seen.colours, transparent, key, to + first, first, n}, passed);
            continue;
        }
        if (!mapPixels(q, seen.colours, 3, n, to + first)) return false;
        for (uint32_t i = 0; keyed && i < n; ++i) {
            if (seen.transparent[i]) to[first + i] = key;
        }
    }
    return true;
}

// False: no memory.
bool mapRows(TolvaQuantizer& q, const TolvaPixelRows& rows, uint8_t* indices, intptr_t indexStride) {
    const bool opaque = !mayBeTransparent(q, rows);
    const int step = bytesOf(q.order.format);
    const bool seen = opaqueEntries(q.palette) > 0;
    if (seen && diffuses(q) && !(haveAnswers(q) && beginRows(q.diffusion, rows.width))) return false;
    for (uint32_t y = 0, n = 0; y < rows.rows; y += n) {
        n = diffuses(q) && opaque && rows.rows - y >= kRowsInFlight ? kRowsInFlight : 1;
        DiffusedRow band[kRowsInFlight];
        for (uint32_t i = 0; i < n; ++i) {
            band[i] = {rowOf(rows, y + i).pixels, indices + static_cast<intptr_t>(y + i) * indexStride};
        }
        if (!seen) {
            for (uint32_t i = 0; i < n; ++i) std::memset(band[i].to, 0, rows.width);
        } else if (!opaque) {
            if (!mapSeenRow(q, rowOf(rows, y), rows.width, band[0].to)) return false;
        } else if (n == kRowsInFlight) {
            diffuseRows(q.diffusion, q.answers, band, step);
        } else if (diffuses(q)) {
            diffuseRow(q.diffusion, q.answers, band, step);
        } else if (!mapPixels(q, band[0].pixels, step, rows.width, band[0].to)) {
            return false;
        }
    }
    return true;
}

bool isOrder(const TolvaQuantizeOrder& o) {
    return o.colours >= kTolvaSmallestPalette && o.colours <= kTolvaLargestPalette && o.format >= kTolvaRgb &&
           o.format <= kTolvaRgba && o.diffusion >= kTolvaDiffuseNever && o.diffusion <= kTolvaDiffuseUnlessExact;
}

}  // namespace

int32_t tolvaQuantizeBegin(const TolvaQuantizeOrder* order, TolvaQuantizer** quantizer) {
    if (quantizer == nullptr) return kTolvaQuantizeBadArgument;
    *quantizer = nullptr;
    if (order == nullptr || !isOrder(*order)) return kTolvaQuantizeBadArgument;
    TolvaQuantizer* const q = static_cast<TolvaQuantizer*>(std::calloc(1, sizeof(TolvaQuantizer)));
    if (q == nullptr) return kTolvaQuantizeNoMemory;
    q->order = *order;
    if (!makeDistinct(q->distinct) || !makeHistogram(q->histogram)) {
        tolvaQuantizeEnd(q);
        return kTolvaQuantizeNoMemory;
    }
    *quantizer = q;
    return kTolvaQuantized;
}

int32_t tolvaQuantizeCount(TolvaQuantizer* quantizer, const TolvaPixelRows* rows) {
    if (quantizer == nullptr || !areRows(rows)) return kTolvaQuantizeBadArgument;
    TolvaQuantizer& q = *quantizer;
    if (q.fitted) return kTolvaQuantizeWrongOrder;
    for (uint32_t y = 0; y < rows->rows && !q.broken; ++y, ++q.rows) {
        const Row row = rowOf(*rows, y);
        q.broken = mayBeTransparent(q, *rows) ? !countSeenPixels(q, row, rows->width)
                                              : !countPixels(q, row.pixels, bytesOf(q.order.format), rows->width);
    }
    return q.broken ? kTolvaQuantizeNoMemory : kTolvaQuantized;
}

int32_t tolvaQuantizePalette(TolvaQuantizer* quantizer, TolvaPalette* palette) {
    if (quantizer == nullptr || palette == nullptr) return kTolvaQuantizeBadArgument;
    *palette = {.colours = {}, .count = 0, .key = kTolvaNoKey, .distinct = 0, .exact = 0};
    if (quantizer->broken) return kTolvaQuantizeNoMemory;
    if (!quantizer->fitted) {
        const int32_t result = makePalette(*quantizer);
        quantizer->broken = result != kTolvaQuantized;
        if (quantizer->broken) return result;
        quantizer->fitted = true;
    }
    *palette = quantizer->palette;
    return kTolvaQuantized;
}

int32_t tolvaQuantizeMap(TolvaQuantizer* quantizer, const TolvaPixelRows* rows, uint8_t* indices,
                         intptr_t indexStride) {
    if (quantizer == nullptr || !areRows(rows)) return kTolvaQuantizeBadArgument;
    if (!quantizer->fitted) return kTolvaQuantizeWrongOrder;
    if (rows->rows == 0) return kTolvaQuantized;
    if (indices == nullptr) return kTolvaQuantizeBadArgument;
    return mapRows(*quantizer, *rows, indices, indexStride) ? kTolvaQuantized : kTolvaQuantizeNoMemory;
}

void tolvaQuantizeEnd(TolvaQuantizer* quantizer) {
    if (quantizer == nullptr) return;
    freeDistinct(quantizer->distinct);
    freeHistogram(quantizer->histogram);
    if (quantizer->answering) freeAnswers(quantizer->answers);
    freeDiffusion(quantizer->diffusion);
    std::free(quantizer);
}
