// candidates.cpp: which entries are candidates. How much farther one entry is than another is linear in the colour: so
// an entry is out where at all corners of a cube it is farther than the one that is nearest to its middle. Numbers are
// floating-point ones, of which every machine has vectors: all of them whole and of less than 24 bits, so exact, but
// for what fills blocks up, which is too far away to matter.

#include "nearest/candidates.h"

#include <cfloat>
#include <cstring>

namespace tolva {
namespace {

using Floats = float __attribute__((vector_size(16)));
using Ranks = int32_t __attribute__((vector_size(16)));
constexpr Ranks kFirstRanks = {0, 1, 2, 3};
constexpr float kOutside = 4096;  // of all cubes, so far that it is nobody's candidate
static_assert(kCandidatesOfBlock == 4);

float number(int32_t x) { return static_cast<float>(x); }

// Vectors go by reference: not every machine has a convention for them as results.
void takeAway(float level, const CandidateBlock& block, uint32_t channel, Floats& difference) {
    std::memcpy(&difference, block.components[channel], sizeof difference);
    difference -= level;
}

}  // namespace

uint32_t layCandidates(CandidateBlock* blocks, const int16_t (*components)[kMostEntries], const uint8_t* entries,
                       uint32_t count) {
    const uint32_t used = blocksOf(count);
    for (uint32_t i = 0; i < used * kCandidatesOfBlock; ++i) {
        CandidateBlock& block = blocks[i / kCandidatesOfBlock];
        const uint32_t lane = i % kCandidatesOfBlock;
        for (uint32_t k = 0; k < 3; ++k)
            block.components[k][lane] = i < count ? number(components[k][entries[i]]) : kOutside;
        block.entries[lane] = i < count ? entries[i] : 0;
    }
    return used;
}

uint32_t narrowCandidates(const CandidateBlock* from, uint32_t count, const uint8_t* lowest, int32_t side,
                          uint8_t* to) {
    const uint32_t blocks = blocksOf(count);
    Floats distances[kMostCandidateBlocks];  // from the lowest colour
    Floats least = Floats{} + FLT_MAX;
    Ranks nearest = {}, ranks = kFirstRanks;
    for (uint32_t i = 0; i < blocks; ++i, ranks += kCandidatesOfBlock) {
        Floats red, green, blue;
        takeAway(number(lowest[0]), from[i], 0, red);
        takeAway(number(lowest[1]), from[i], 1, green);
        takeAway(number(lowest[2]), from[i], 2, blue);
        distances[i] = red * red + green * green + blue * blue;
        const Floats fromMiddle = distances[i] - number(side) * (red + green + blue);  // but for what all have
        const auto nearer = fromMiddle < least;
        least = nearer ? fromMiddle : least;
        nearest = nearer ? ranks : nearest;
    }
    uint32_t lane = 0;
    for (uint32_t k = 1; k < kCandidatesOfBlock; ++k) lane = least[k] < least[lane] ? k : lane;
    const int32_t middle = nearest[lane];
    const CandidateBlock& block = from[static_cast<uint32_t>(middle) / kCandidatesOfBlock];
    lane = static_cast<uint32_t>(middle) % kCandidatesOfBlock;
    const float distance = distances[static_cast<uint32_t>(middle) / kCandidatesOfBlock][lane];
    uint32_t kept = 0;
    ranks = kFirstRanks;
    for (uint32_t i = 0; i < blocks; ++i, ranks += kCandidatesOfBlock) {
        Floats gains = {};  // of a step to where the entry does best
        for (uint32_t k = 0; k < 3; ++k) {
            Floats gain;
            takeAway(block.components[k][lane], from[i], k, gain);
            gains += gain > 0 ? gain : Floats{};
        }
        const Floats margins = distances[i] - distance - number(2 * (side - 1)) * gains;
        const auto first = __builtin_convertvector(ranks <= middle, Floats);
        const auto candidates = margins + first < 0;  // also where both are equally far, and this one's index is lower
        for (uint32_t k = 0; k < kCandidatesOfBlock; ++k) {
            to[kept] = from[i].entries[k];
            kept -= static_cast<uint32_t>(candidates[k]);
        }
    }
    return kept;
}

}  // namespace tolva
