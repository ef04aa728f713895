// match.cpp: the nearest-colour search over whole pictures. Greys depend on their sum alone. For colours, each cell of
// 8 x 8 x 8 that is met gets a list of the entries that can be nearest to anything in it: those whose least distance to
// the cell is not beyond the least of all greatest distances. Lists keep the table's order and are searched for the first
// of the nearest, so that ties fall as the definition has them.

#include "raster/match.h"

#include <algorithm>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tolva {
namespace {

constexpr uint32_t kLanes = 8;
constexpr uint32_t kMostBlocks = kLargestColourTable / kLanes;
constexpr uint32_t kPoolBlocks = 24576;  // 2 MB; cells met after it is full search the whole table
constexpr int16_t kFarAway = 1000;       // of a lane without an entry: farther than any colour, and its square still fits

bool isGreyEntry(const uint8_t* c) { return c[0] == c[1] && c[1] == c[2]; }

// By the sum s of a near-grey's components the nearest grey g is the one with the least |3g - s|: what the components
// differ among themselves adds the same to every distance.
void indexGreys(Matcher& m, const uint8_t* table, uint32_t count) {
    uint8_t greys[kLargestColourTable];
    uint32_t known = 0;
    for (uint32_t i = 0; i < count; ++i) {
        if (isGreyEntry(table + i * kTripleBytes)) greys[known++] = static_cast<uint8_t>(i);
    }
    for (int32_t sum = 0; sum < static_cast<int32_t>(kGreySums); ++sum) {
        int32_t least = std::numeric_limits<int32_t>::max();
        m.greyIndex[sum] = 0;
        for (uint32_t k = 0; k < known; ++k) {
            const int32_t distance = std::abs(3 * table[greys[k] * kTripleBytes] - sum);
            if (distance >= least) continue;
            least = distance;
            m.greyIndex[sum] = greys[k];
        }
    }
}

void putLane(CandidateBlock& block, uint32_t lane, int16_t red, int16_t green, int16_t blue, uint8_t index) {
    block.redGreen[2 * lane] = red;
    block.redGreen[2 * lane + 1] = green;
    block.blue[2 * lane] = blue;
    block.blue[2 * lane + 1] = 0;
    block.index[lane] = index;
}

// A list under construction, at the end of the pool.
struct Builder {
    CandidateBlock* blocks;
    uint32_t entries;
};

void append(Builder& b, int16_t red, int16_t green, int16_t blue, uint8_t index) {
    putLane(b.blocks[b.entries / kLanes], b.entries % kLanes, red, green, blue, index);
    ++b.entries;
}

CandidateList close(Matcher& m, Builder& b) {
    // The search needs at least one block, and empty lanes that never win; index 0 is the answer when nothing is there.
    const uint32_t blocks = std::max<uint32_t>((b.entries + kLanes - 1) / kLanes, 1);
    for (uint32_t lane = b.entries; lane < blocks * kLanes; ++lane) {
        putLane(b.blocks[lane / kLanes], lane % kLanes, kFarAway, kFarAway, kFarAway, 0);
    }
    const CandidateList list = {m.poolUsed, blocks};
    m.poolUsed += blocks;
    return list;
}

Builder open(Matcher& m) { return {m.pool + m.poolUsed, 0}; }

struct Entry {
    int16_t red, green, blue;
    uint8_t index;
};

Entry entryOf(const CandidateBlock* blocks, uint32_t i) {
    const CandidateBlock& b = blocks[i / kLanes];
    const uint32_t lane = i % kLanes;
    return {b.redGreen[2 * lane], b.redGreen[2 * lane + 1], b.blue[2 * lane], b.index[lane]};
}

// Least and greatest squared distance of a component to the eight values from `low` on.
int32_t leastSquare(int32_t value, int32_t low) {
    const int32_t d = value < low ? low - value : std::max(value - (low + 7), 0);
    return d * d;
}
int32_t greatestSquare(int32_t value, int32_t low) {
    const int32_t d = std::max(std::abs(value - low), std::abs(value - (low + 7)));
    return d * d;
}

}  // namespace

bool makeMatcher(Matcher& m, const uint8_t* table, uint32_t count) {
    if (table == nullptr || count == 0 || count > kLargestColourTable) return false;
    m.hPool = rlGetMemory(sizeof(CandidateBlock), kPoolBlocks);
    m.hCells = rlGetMemory(sizeof(CandidateList), kCells);
    m.pool = static_cast<CandidateBlock*>(GlobalLock(m.hPool));
    m.cells = static_cast<CandidateList*>(GlobalLock(m.hCells));
    m.poolUsed = 0;
    indexGreys(m, table, count);
    Builder all = open(m);
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t* const c = table + i * kTripleBytes;
        if (!isGreyEntry(c)) append(all, c[0], c[1], c[2], static_cast<uint8_t>(i));
    }
    m.all = close(m, all);
    m.lastColour = 1;  // no packed colour of three components is odd
    m.lastIndex = 0;
    return true;
}

void freeMatcher(Matcher& m) {
    GlobalFree(m.hPool);
    GlobalFree(m.hCells);
}

CandidateList makeCell(Matcher& m, uint32_t cell) {
    if (m.all.blocks == 1 || m.poolUsed + kMostBlocks > kPoolBlocks) return m.cells[cell] = m.all;
    const int32_t red = static_cast<int32_t>(cell >> 10) * 8;
    const int32_t green = static_cast<int32_t>(cell >> 5 & 31) * 8;
    const int32_t blue = static_cast<int32_t>(cell & 31) * 8;
    const CandidateBlock* const all = m.pool + m.all.first;
    const uint32_t count = m.all.blocks * kLanes;
    int32_t least[kLargestColourTable];
    int32_t bound = std::numeric_limits<int32_t>::max();
    for (uint32_t i = 0; i < count; ++i) {
        const Entry e = entryOf(all, i);
        least[i] = leastSquare(e.red, red) + leastSquare(e.green, green) + leastSquare(e.blue, blue);
        bound = std::min(bound, greatestSquare(e.red, red) + greatestSquare(e.green, green) + greatestSquare(e.blue, blue));
    }
    Builder list = open(m);
    for (uint32_t i = 0; i < count; ++i) {
        const Entry e = entryOf(all, i);
        if (least[i] <= bound && e.red != kFarAway) append(list, e.red, e.green, e.blue, e.index);
    }
    return m.cells[cell] = close(m, list);
}

#if defined(__SSE2__)

// Distances with the lane's number below them, so that the least of both is the first of the nearest. They are compared as
// floating-point numbers, the only minimum this instruction set has for 32 bits: a bit at the top makes each of them one
// with the same order.
uint32_t searchBlocks(const CandidateBlock* blocks, uint32_t count, int32_t red, int32_t green, int32_t blue) {
    const __m128i redGreen = _mm_set1_epi32(green << 16 | red);
    const __m128i blueOnly = _mm_set1_epi32(blue);
    const __m128i order = _mm_set1_epi32(0x40000000);
    __m128i lanesLow = _mm_or_si128(_mm_set_epi32(3, 2, 1, 0), order);
    __m128 best = _mm_castsi128_ps(_mm_set1_epi32(0x7F000000));
    for (uint32_t i = 0; i < count; ++i) {
        const __m128i* const rg = reinterpret_cast<const __m128i*>(blocks[i].redGreen);
        const __m128i* const b = reinterpret_cast<const __m128i*>(blocks[i].blue);
        for (int half = 0; half < 2; ++half) {
            const __m128i d1 = _mm_sub_epi16(_mm_loadu_si128(rg + half), redGreen);
            const __m128i d2 = _mm_sub_epi16(_mm_loadu_si128(b + half), blueOnly);
            const __m128i distance = _mm_add_epi32(_mm_madd_epi16(d1, d1), _mm_madd_epi16(d2, d2));
            const __m128i ranked = _mm_add_epi32(_mm_slli_epi32(distance, 8), lanesLow);
            best = _mm_min_ps(best, _mm_castsi128_ps(ranked));
            lanesLow = _mm_add_epi32(lanesLow, _mm_set1_epi32(4));
        }
    }
    best = _mm_min_ps(best, _mm_movehl_ps(best, best));
    best = _mm_min_ss(best, _mm_shuffle_ps(best, best, 1));
    const uint32_t lane = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_castps_si128(best))) & 0xFF;
    return blocks[lane / kLanes].index[lane % kLanes];
}

#else

uint32_t searchBlocks(const CandidateBlock* blocks, uint32_t count, int32_t red, int32_t green, int32_t blue) {
    uint32_t best = UINT32_MAX;
    for (uint32_t lane = 0; lane < count * kLanes; ++lane) {
        const Entry e = entryOf(blocks, lane);
        const int32_t r = e.red - red;
        const int32_t g = e.green - green;
        const int32_t b = e.blue - blue;
        best = std::min(best, static_cast<uint32_t>(r * r + g * g + b * b) << 8 | lane);
    }
    return blocks[(best & 0xFF) / kLanes].index[best & 0xFF & (kLanes - 1)];
}

#endif

}  // namespace tolva
