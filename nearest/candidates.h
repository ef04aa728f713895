// candidates.h: the entries of a colour table that can be nearest to something in a cube of colours, narrowed down from
// those of a larger cube that holds it. Called by answers.cpp alone.
#ifndef TOLVA_NEAREST_CANDIDATES_H
#define TOLVA_NEAREST_CANDIDATES_H

#include <cstdint>

namespace tolva {

constexpr uint32_t kMostEntries = 256;

// Entries that are looked at together; those behind the last one lie far outside.
constexpr uint32_t kCandidatesOfBlock = 4;
constexpr uint32_t kMostCandidateBlocks = kMostEntries / kCandidatesOfBlock;
struct CandidateBlock {
    float components[3][kCandidatesOfBlock];
    uint8_t entries[kCandidatesOfBlock];
};

constexpr uint32_t blocksOf(uint32_t candidates) { return (candidates + kCandidatesOfBlock - 1) / kCandidatesOfBlock; }

// Writes some entries, of which the table has the components, as blocks; how many.
uint32_t layCandidates(CandidateBlock* blocks, const int16_t (*components)[kMostEntries], const uint8_t* entries,
                       uint32_t count);

// Those of so many candidates, at least one, that remain in the cube of this lowest colour and this side, in their
// order; how many.
uint32_t narrowCandidates(const CandidateBlock* from, uint32_t count, const uint8_t* lowest, int32_t side, uint8_t* to);

}  // namespace tolva

#endif
