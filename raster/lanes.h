// lanes.h: eight entries of a colour table compared at once, with the vector instructions every build of the machine
// has, or plainly. Used by match.cpp alone.
#ifndef TOLVA_RASTER_LANES_H
#define TOLVA_RASTER_LANES_H

#include <algorithm>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tolva {

constexpr uint32_t kLanes = 8;

// Red and green interleaved, blue with zeros: two products and their sum are one instruction. The rank is the entry's
// index in the table below a bit at the top (see nearestEntry). `more` counts the blocks of the list behind this one.
struct CandidateBlock {
    int16_t redGreen[2 * kLanes];
    int16_t blue[2 * kLanes];
    int32_t rank[kLanes];
    uint32_t more;
};
constexpr int32_t kRankTop = 0x40000000;

// Squared distances from a block's entries to a cube of colours, by its lowest corner and the steps to its highest.
struct CubeDistances {
    int32_t least[kLanes];
    int32_t greatest[kLanes];
};

#if defined(__SSE2__)

// The index of the nearest entry in a list. Distances stand above indices, so that the least of both is the first of
// the nearest. They are compared as floating-point numbers, the only minimum this instruction set has for 32 bits: the
// bit at the top makes each of them one, with the same order.
inline uint32_t nearestEntry(const CandidateBlock* block, const uint8_t* colour) {
    const __m128i redGreen = _mm_set1_epi32(colour[1] << 16 | colour[0]);
    const __m128i blue = _mm_set1_epi32(colour[2]);
    const auto ranked = [&](int half) {
        const __m128i rg = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block->redGreen) + half);
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block->blue) + half);
        const __m128i rank = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block->rank) + half);
        const __m128i d1 = _mm_sub_epi16(rg, redGreen);
        const __m128i d2 = _mm_sub_epi16(b, blue);
        const __m128i distance = _mm_add_epi32(_mm_madd_epi16(d1, d1), _mm_madd_epi16(d2, d2));
        return _mm_castsi128_ps(_mm_add_epi32(_mm_slli_epi32(distance, 8), rank));
    };
    __m128 best = _mm_min_ps(ranked(0), ranked(1));
    for (uint32_t more = block->more; more > 0; --more) {
        ++block;
        best = _mm_min_ps(best, _mm_min_ps(ranked(0), ranked(1)));
    }
    best = _mm_min_ps(best, _mm_movehl_ps(best, best));
    best = _mm_min_ss(best, _mm_shuffle_ps(best, best, 1));
    return static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_castps_si128(best))) & 0xFF;
}

inline CubeDistances distancesToCube(const CandidateBlock& block, const int32_t* low, int32_t steps) {
    const __m128i lowRg = _mm_set1_epi32(low[1] << 16 | low[0]);
    const __m128i lowB = _mm_set1_epi32(low[2]);
    const __m128i stepsRg = _mm_set1_epi32(steps << 16 | steps);
    const __m128i stepsB = _mm_set1_epi32(steps);
    const __m128i zero = _mm_setzero_si128();
    CubeDistances d;
    for (int half = 0; half < 2; ++half) {
        const __m128i rg =
            _mm_sub_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(block.redGreen) + half), lowRg);
        const __m128i b = _mm_sub_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(block.blue) + half), lowB);
        // Outside the cube's extent by how much; and how far its farther side is.
        const __m128i outRg = _mm_max_epi16(_mm_max_epi16(_mm_sub_epi16(zero, rg), _mm_sub_epi16(rg, stepsRg)), zero);
        const __m128i outB = _mm_max_epi16(_mm_max_epi16(_mm_sub_epi16(zero, b), _mm_sub_epi16(b, stepsB)), zero);
        const __m128i farRg = _mm_max_epi16(rg, _mm_sub_epi16(stepsRg, rg));
        const __m128i farB = _mm_max_epi16(b, _mm_sub_epi16(stepsB, b));
        const __m128i least = _mm_add_epi32(_mm_madd_epi16(outRg, outRg), _mm_madd_epi16(outB, outB));
        const __m128i greatest = _mm_add_epi32(_mm_madd_epi16(farRg, farRg), _mm_madd_epi16(farB, farB));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d.least) + half, least);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d.greatest) + half, greatest);
    }
    return d;
}

#else

inline uint32_t nearestEntry(const CandidateBlock* block, const uint8_t* colour) {
    uint32_t best = UINT32_MAX;
    for (uint32_t left = block->more + 1; left > 0; --left, ++block) {
        for (uint32_t lane = 0; lane < kLanes; ++lane) {
            const int32_t r = block->redGreen[2 * lane] - colour[0];
            const int32_t g = block->redGreen[2 * lane + 1] - colour[1];
            const int32_t b = block->blue[2 * lane] - colour[2];
            const uint32_t distance = static_cast<uint32_t>(r * r + g * g + b * b);
            best = std::min(best, (distance << 8) + static_cast<uint32_t>(block->rank[lane]));
        }
    }
    return best & 0xFF;
}

inline CubeDistances distancesToCube(const CandidateBlock& block, const int32_t* low, int32_t steps) {
    CubeDistances d;
    for (uint32_t lane = 0; lane < kLanes; ++lane) {
        const int32_t value[] = {block.redGreen[2 * lane], block.redGreen[2 * lane + 1], block.blue[2 * lane]};
        d.least[lane] = d.greatest[lane] = 0;
        for (int i = 0; i < 3; ++i) {
            const int32_t from = value[i] - low[i];
            const int32_t outside = std::max({-from, from - steps, 0});
            const int32_t farther = std::max(from, steps - from);
            d.least[lane] += outside * outside;
            d.greatest[lane] += farther * farther;
        }
    }
    return d;
}

#endif

}  // namespace tolva

#endif
