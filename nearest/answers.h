// answers.h: the nearest entry of a colour table, ready for every colour that is asked for. Colours lie in parts of
// 4 x 4 x 4; a part's answers are worked out when one of the 8 parts of its cell is first met, and looked up from then
// on. Shared by raster/, which amends them where its rule differs, and quantize/.
#ifndef TOLVA_NEAREST_ANSWERS_H
#define TOLVA_NEAREST_ANSWERS_H

#include <cstddef>
#include <cstdint>

#include "nearest/candidates.h"
#include "nearest/colour_numbers.h"

namespace tolva {

constexpr int32_t kPartSide = 4;
constexpr uint32_t kPartColours = kPartSide * kPartSide * kPartSide;
constexpr uint32_t kParts = 64 * 64 * 64;
constexpr uint32_t kCubes = 8 * 8 * 8;  // of 32 x 32 x 32 colours: what cells take their candidates from

// A part's answers where they are at most four different ones, as nearly everywhere: 2 bits a colour. Other parts have
// kPartColours bytes in as many blocks as they need.
struct AnswerBlock {
    uint8_t entries[4];
    uint8_t codes[16];  // by the last four bits of the number; by the two before them they stand side by side
};
static_assert(sizeof(AnswerBlock) == 20);
constexpr uint32_t kBlocksOfPlainAnswers = (kPartColours + sizeof(AnswerBlock) - 1) / sizeof(AnswerBlock);
constexpr uint32_t kPartsOfCell = 8;
// Place 0 is no block; then come those of parts with one answer. Behind these a block for every part, and a cell's
// worth of plain answers.
constexpr uint32_t kOwnBlocks = 1 + kMostEntries;
constexpr uint32_t kBlocks = kOwnBlocks + kParts + kPartsOfCell * kBlocksOfPlainAnswers;

constexpr uint32_t kCandidateBlocks = (1 + kCubes) * kMostCandidateBlocks;  // the table's own come first
struct CubeCandidates {
    uint16_t first;       // of its blocks
    uint16_t candidates;  // 0: not met
};
static_assert(kCandidateBlocks <= UINT16_MAX);

// Memory that answers are worked out in. Pages are touched as colours are met.
struct AnswerRoom {
    uint32_t parts[kParts];  // the place of a part's block, kCodedAnswers beside it; 0: not met
    CubeCandidates cubes[kCubes];
    CandidateBlock candidates[kCandidateBlocks];
    AnswerBlock blocks[kBlocks];
};

// What a caller has nearest mean where it is not the nearest entry.
struct AnswerRule {
    bool (*concerns)(const uint8_t* lowest);  // the part whose lowest colour this is
    // Answers by the last bits of the colours' numbers.
    void (*amend)(const void* with, const uint8_t* lowest, uint8_t* answers);
    const void* with;
};

struct Answers {
    AnswerRoom* room;
    uint32_t used;            // blocks
    uint32_t usedCandidates;  // their blocks
    uint32_t count;           // distinct entries, in the table's order
    int16_t components[3][kMostEntries];
    uint8_t indices[kMostEntries];
    AnswerRule rule;  // no functions: none
    bool owned;       // the room is freed with them
};

// The nearest entry of a table of 1 to 256: least squared distance of red, green and blue, the lowest index on a tie.
// False where there is no memory.
// Of none, the index is 0.
bool makeAnswers(Answers& answers, const uint8_t* table, uint32_t count);
void freeAnswers(Answers& answers);

// The same in memory of the caller's, zero-filled, among chosen entries (index 0 where there are none), by a rule.
void beginAnswers(Answers& answers, void* room, const uint8_t* table, const uint8_t* chosen, uint32_t count,
                  const AnswerRule& rule);

// `to` may be `from`.
void answerRow(Answers& answers, const uint8_t* from, int bytesPerPixel, uint8_t* to, int32_t width);

constexpr uint32_t kCodedAnswers = 0x80000000;
// Fills a colour's cell if it has not been met; also the way to plain answers.
uint8_t answerSlowly(Answers& answers, const uint8_t* colour);

inline uint8_t codedAnswer(const AnswerBlock& block, uint32_t place) {
    return block.entries[block.codes[place % 16] >> 2 * (place / 16 % 4) & 3];
}

inline uint8_t plainAnswer(const AnswerBlock* blocks, uint32_t part, uint32_t place) {
    return reinterpret_cast<const uint8_t*>(blocks + (part & ~kCodedAnswers))[place % kPartColours];
}

// Without a branch: where palettes are dense, both kinds alternate from pixel to pixel. What is read in vain lies among
// the blocks: a cell is begun only where all its parts' answers would find room if they were plain.
inline uint8_t eitherAnswer(const AnswerBlock* blocks, uint32_t part, uint32_t place) {
    const uint8_t plain = plainAnswer(blocks, part, place);
    const uint8_t coded = codedAnswer(blocks[part & ~kCodedAnswers], place);
    return (part & kCodedAnswers) != 0 ? coded : plain;
}

inline uint8_t answer(Answers& answers, const uint8_t* colour) {
    const uint32_t place = numberOf(colour);
    const uint32_t part = answers.room->parts[place / kPartColours];
    if ((part & kCodedAnswers) == 0) return answerSlowly(answers, colour);
    return codedAnswer(answers.room->blocks[part & ~kCodedAnswers], place);
}

}  // namespace tolva

#endif
