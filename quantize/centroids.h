// centroids.h: four centroids compared at once, with the vector instructions every build of the machine has, or plainly
// with the same results. Used by k_means.cpp alone.
#ifndef TOLVA_QUANTIZE_CENTROIDS_H
#define TOLVA_QUANTIZE_CENTROIDS_H

#include <algorithm>

#include "quantize/points.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tolva {

constexpr uint32_t kLanes = 4;

// Red and green interleaved, blue with zeros: two products and their sum are one instruction.
struct CentroidBlock {
    int16_t redGreen[2 * kLanes];
    int16_t blue[2 * kLanes];
    int32_t rank[kLanes];
};

// Distances are compared without their last bits, where the rank stands: its bit at the top makes each of them a
// floating-point number, of which this instruction set has a minimum, with the same order. Two centroids that differ by
// less than the bits lost, a sixteenth of a squared level, are as good as one another.
constexpr int32_t kRankTop = 0x40000000;
constexpr int32_t kRankMask = 0xFF;

// The box that a cluster's points lie in.
struct Bounds {
    int16_t lowest[kChannels];
    int16_t highest[kChannels];
};

// Squared distances from centroids to the nearest and to the farthest colour within bounds.
struct BoundDistances {
    int32_t least[kLanes];
    int32_t greatest[kLanes];
};

struct Nearest {
    uint32_t rank;
    uint32_t distance;
};

inline Nearest nearestOf(int32_t ranked) {
    return {static_cast<uint32_t>(ranked & kRankMask), static_cast<uint32_t>(ranked & ~(kRankTop | kRankMask))};
}

#if defined(__SSE2__)

inline __m128i loadLanes(const void* from) { return _mm_loadu_si128(static_cast<const __m128i*>(from)); }
inline __m128i redGreenOf(const int16_t* c) { return _mm_set1_epi32(c[1] << 16 | c[0]); }

inline __m128i sumOfSquares(__m128i redGreen, __m128i blue) {
    return _mm_add_epi32(_mm_madd_epi16(redGreen, redGreen), _mm_madd_epi16(blue, blue));
}

inline Nearest nearestCentroid(const CentroidBlock* blocks, uint32_t count, const int16_t* colour) {
    const __m128i redGreen = redGreenOf(colour);
    const __m128i blue = _mm_set1_epi32(colour[2]);
    const __m128i mask = _mm_set1_epi32(~kRankMask);
    const auto ranked = [&](const CentroidBlock& block) {
        const __m128i distance = sumOfSquares(_mm_sub_epi16(loadLanes(block.redGreen), redGreen),
                                              _mm_sub_epi16(loadLanes(block.blue), blue));
        return _mm_castsi128_ps(_mm_or_si128(_mm_and_si128(distance, mask), loadLanes(block.rank)));
    };
    __m128 best = ranked(blocks[0]);
    for (uint32_t i = 1; i < count; ++i) best = _mm_min_ps(best, ranked(blocks[i]));
    best = _mm_min_ps(best, _mm_movehl_ps(best, best));
    best = _mm_min_ss(best, _mm_shuffle_ps(best, best, 1));
    return nearestOf(_mm_cvtsi128_si32(_mm_castps_si128(best)));
}

inline BoundDistances distancesTo(const Bounds& bounds, const CentroidBlock& block) {
    const __m128i rg = loadLanes(block.redGreen), b = loadLanes(block.blue), zero = _mm_setzero_si128();
    const __m128i lowRg = redGreenOf(bounds.lowest), highRg = redGreenOf(bounds.highest);
    const __m128i lowB = _mm_set1_epi32(bounds.lowest[2]), highB = _mm_set1_epi32(bounds.highest[2]);
    const __m128i overLowRg = _mm_sub_epi16(rg, lowRg), underHighRg = _mm_sub_epi16(highRg, rg);
    const __m128i overLowB = _mm_sub_epi16(b, lowB), underHighB = _mm_sub_epi16(highB, b);
    const __m128i nearRg = _mm_min_epi16(_mm_min_epi16(overLowRg, underHighRg), zero);
    const __m128i nearB = _mm_min_epi16(_mm_min_epi16(overLowB, underHighB), zero);
    BoundDistances d;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d.least), sumOfSquares(nearRg, nearB));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d.greatest),
                     sumOfSquares(_mm_max_epi16(overLowRg, underHighRg), _mm_max_epi16(overLowB, underHighB)));
    return d;
}

#else

inline int32_t componentOf(const CentroidBlock& block, uint32_t lane, uint32_t channel) {
    return channel == 2 ? block.blue[2 * lane] : block.redGreen[2 * lane + channel];
}

inline Nearest nearestCentroid(const CentroidBlock* blocks, uint32_t count, const int16_t* colour) {
    int32_t best = INT32_MAX;
    for (uint32_t i = 0; i < count * kLanes; ++i) {
        const CentroidBlock& block = blocks[i / kLanes];
        int32_t distance = 0;
        for (uint32_t c = 0; c < kChannels; ++c) {
            const int32_t apart = componentOf(block, i % kLanes, c) - colour[c];
            distance += apart * apart;
        }
        best = std::min(best, (distance & ~kRankMask) | block.rank[i % kLanes]);
    }
    return nearestOf(best);
}

inline BoundDistances distancesTo(const Bounds& bounds, const CentroidBlock& block) {
    BoundDistances d = {};
    for (uint32_t lane = 0; lane < kLanes; ++lane) {
        for (uint32_t c = 0; c < kChannels; ++c) {
            const int32_t overLow = componentOf(block, lane, c) - bounds.lowest[c];
            const int32_t underHigh = bounds.highest[c] - componentOf(block, lane, c);
            const int32_t outside = std::min({overLow, underHigh, 0});
            const int32_t farther = std::max(overLow, underHigh);
            d.least[lane] += outside * outside;
            d.greatest[lane] += farther * farther;
        }
    }
    return d;
}

#endif

}  // namespace tolva

#endif
