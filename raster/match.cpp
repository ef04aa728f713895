// match.cpp: the nearest-colour search over whole pictures. Greys depend on their sum alone. For colours, each cell of
// 8 x 8 x 8 that is met gets a list of the entries that can be nearest to anything in it: those whose least distance to
// the cell is not beyond the least of all greatest distances; and each part of 4 x 4 x 4 such a list out of that. Lists
// keep the table's order and are searched for the first of the nearest, so that ties fall as the definition has them.

#include "raster/match.h"

#include <cstdlib>
#include <limits>

#include "raster/lanes.h"

namespace tolva {
namespace {

constexpr uint32_t kMostBlocks = kTolvaLargestColourTable / kLanes;
constexpr uint32_t kPoolBlocks = 20480;  // 2 MB; parts met after it is full search longer lists
constexpr uint16_t kMayBeGrey = 0x8000;
static_assert(kPoolBlocks <= kMayBeGrey);
constexpr int16_t kFarAway = 1000;  // of a lane without an entry: farther than any colour, and its square still fits

bool isGreyEntry(const uint8_t* c) { return c[0] == c[1] && c[1] == c[2]; }

// By the sum s of a near-grey's components the nearest grey g is the one with the least |3g - s|: what the components
// differ among themselves adds the same to every distance.
void indexGreys(Matcher& m, const uint8_t* table, uint32_t count) {
    uint8_t greys[kTolvaLargestColourTable];
    uint32_t known = 0;
    for (uint32_t i = 0; i < count; ++i) {
        if (isGreyEntry(table + i * kTolvaTripleBytes)) greys[known++] = static_cast<uint8_t>(i);
    }
    for (int32_t sum = 0; sum < static_cast<int32_t>(kGreySums); ++sum) {
        int32_t least = std::numeric_limits<int32_t>::max();
        m.greyIndex[sum] = 0;
        for (uint32_t k = 0; k < known; ++k) {
            const int32_t distance = std::abs(3 * table[greys[k] * kTolvaTripleBytes] - sum);
            if (distance >= least) continue;
            least = distance;
            m.greyIndex[sum] = greys[k];
        }
    }
}

struct Entry {
    int16_t red, green, blue;
    uint8_t index;
};
constexpr Entry kNoEntry = {kFarAway, kFarAway, kFarAway, 0};

Entry entryOf(const CandidateBlock& block, uint32_t lane) {
    return {block.redGreen[2 * lane], block.redGreen[2 * lane + 1], block.blue[2 * lane],
            static_cast<uint8_t>(block.rank[lane])};
}

// A list under construction, at the end of the pool.
struct Builder {
    CandidateBlock* blocks;
    uint32_t entries;
};

Builder openList(Matcher& m) { return {m.pool + m.poolUsed, 0}; }

void append(Builder& b, const Entry& e) {
    CandidateBlock& block = b.blocks[b.entries / kLanes];
    const uint32_t lane = b.entries % kLanes;
    block.redGreen[2 * lane] = e.red;
    block.redGreen[2 * lane + 1] = e.green;
    block.blue[2 * lane] = e.blue;
    block.blue[2 * lane + 1] = 0;
    block.rank[lane] = kRankTop | e.index;
    ++b.entries;
}

// Fills the last block up with lanes that never win. A list has at least one block; index 0 is the answer of an empty
// one.
uint16_t closeList(Matcher& m, Builder& b) {
    while (b.entries == 0 || b.entries % kLanes != 0) append(b, kNoEntry);
    b.blocks[0].more = b.entries / kLanes - 1;
    const uint32_t place = m.poolUsed;
    m.poolUsed += b.entries / kLanes;
    return static_cast<uint16_t>(place);
}

// The entries of a list that can be nearest to something in the cube around a colour, of `steps` + 1 values a side.
uint16_t candidatesAround(Matcher& m, uint16_t from, const uint8_t* c, int32_t steps) {
    const CandidateBlock* const blocks = m.pool + from;
    const uint32_t count = blocks->more + 1;
    if (count == 1 || m.poolUsed + kMostBlocks > kPoolBlocks) return from;
    const int32_t low[] = {c[0] & ~steps, c[1] & ~steps, c[2] & ~steps};
    CubeDistances distances[kMostBlocks];
    int32_t bound = std::numeric_limits<int32_t>::max();
    for (uint32_t i = 0; i < count; ++i) {
        distances[i] = distancesToCube(blocks[i], low, steps);
        for (const int32_t greatest : distances[i].greatest) bound = std::min(bound, greatest);
    }
    Builder list = openList(m);
    for (uint32_t i = 0; i < count * kLanes; ++i) {
        // Lanes without an entry are farther than any bound.
        if (distances[i / kLanes].least[i % kLanes] <= bound) append(list, entryOf(blocks[i / kLanes], i % kLanes));
    }
    return closeList(m, list);
}

uint32_t partOf(const uint8_t* c) { return uint32_t{c[0]} >> 2 << 12 | uint32_t{c[1]} >> 2 << 6 | uint32_t{c[2]} >> 2; }

// Whether a near-grey lies in the part of this colour: components of 4 values each that are neighbours at most.
bool mayBeGrey(const uint8_t* c) {
    const auto apart = [](int a, int b) { return std::abs((a >> 2) - (b >> 2)) > 1; };
    return !(apart(c[0], c[1]) || apart(c[1], c[2]) || apart(c[0], c[2]));
}

// What is rare or costs more: parts met for the first time, and those where near-greys lie.
__attribute__((noinline)) uint8_t matchSlowly(Matcher& m, const uint8_t* c) {
    uint16_t& part = m.parts[partOf(c)];
    if (part == 0) {
        uint16_t& cell = m.cells[(c[0] >> 3) << 10 | (c[1] >> 3) << 5 | c[2] >> 3];
        if (cell == 0) cell = candidatesAround(m, m.all, c, 7);
        part = candidatesAround(m, cell, c, 3);
        if (mayBeGrey(c)) part |= kMayBeGrey;
    }
    if (isGreyWithin(kTolvaGreyTolerance, c[0], c[1], c[2])) return m.greyIndex[c[0] + c[1] + c[2]];
    return static_cast<uint8_t>(nearestEntry(m.pool + (part & ~kMayBeGrey), c));
}

inline uint8_t match(Matcher& m, const uint8_t* c) {
    const uint16_t part = m.parts[partOf(c)];
    if (static_cast<int16_t>(part) <= 0) return matchSlowly(m, c);
    return static_cast<uint8_t>(nearestEntry(m.pool + part, c));
}

template <int bytes>
void matchPixels(Matcher& m, const uint8_t* from, uint8_t* to, int32_t width) {
    for (int32_t x = 0; x < width;) {
        const uint8_t index = match(m, from);
        // Flat areas: a run of bytes that each equal the one a pixel before.
        do {
            to[x++] = index;
            from += bytes;
        } while (x + 8 <= width && load<uint64_t>(from) == load<uint64_t>(from - bytes));
    }
}

}  // namespace

bool makeMatcher(Matcher& m, const uint8_t* table, uint32_t count) {
    if (table == nullptr || count == 0 || count > kTolvaLargestColourTable) return false;
    m.hPool = rlGetMemory(sizeof(CandidateBlock), kPoolBlocks);
    m.hCells = rlGetMemory(sizeof(uint16_t), kCells);
    m.hParts = rlGetMemory(sizeof(uint16_t), kParts);
    m.pool = static_cast<CandidateBlock*>(GlobalLock(m.hPool));
    m.cells = static_cast<uint16_t*>(GlobalLock(m.hCells));
    m.parts = static_cast<uint16_t*>(GlobalLock(m.hParts));
    m.poolUsed = 1;  // place 0 is no list
    indexGreys(m, table, count);
    Builder all = openList(m);
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t* const c = table + i * kTolvaTripleBytes;
        if (!isGreyEntry(c)) append(all, {c[0], c[1], c[2], static_cast<uint8_t>(i)});
    }
    m.all = closeList(m, all);
    return true;
}

void freeMatcher(Matcher& m) {
    GlobalFree(m.hPool);
    GlobalFree(m.hCells);
    GlobalFree(m.hParts);
}

uint8_t nearestIndex(Matcher& m, const uint8_t* colour) { return match(m, colour); }

void matchRow(Matcher& m, const uint8_t* from, int bytesPerPixel, uint8_t* to, int32_t width) {
    if (bytesPerPixel == 3) {
        matchPixels<3>(m, from, to, width);
    } else {
        matchPixels<4>(m, from, to, width);
    }
}

}  // namespace tolva
