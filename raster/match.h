// match.h: rlNearestRGBIndex for many colours against one table: the same answers, found among the few entries that can be
// nearest to anything in the colour's neighbourhood. Used by the depth conversion and by dithering.
#ifndef TOLVA_RASTER_MATCH_H
#define TOLVA_RASTER_MATCH_H

#include <cstdint>

#include "raster/rows.h"

namespace tolva {

// Eight entries side by side, as they are compared: red and green interleaved, blue with zeros.
struct CandidateBlock {
    int16_t redGreen[16];
    int16_t blue[16];
    uint8_t index[8];
    uint8_t reserve[8];
};

struct CandidateList {
    uint32_t first;   // block in the pool; 0 = not made yet
    uint32_t blocks;
};

constexpr uint32_t kGreySums = 3 * 255 + 1;
constexpr uint32_t kCells = 32768;  // of 8 x 8 x 8 colours

// A table made ready for searching. Holds handles: free it with freeMatcher.
struct Matcher {
    uint8_t greyIndex[kGreySums];  // by red + green + blue of a near-grey
    CandidateList all;             // every colour that is no exact grey
    Handle hPool;
    CandidateBlock* pool;
    uint32_t poolUsed;
    Handle hCells;
    CandidateList* cells;          // by the upper 5 bits of each component
    uint32_t lastColour;           // packed, and its answer
    uint8_t lastIndex;
};

// Makes a table of at most 256 entries ready; false where it has more, or none.
bool makeMatcher(Matcher& m, const uint8_t* table, uint32_t count);
void freeMatcher(Matcher& m);
CandidateList makeCell(Matcher& m, uint32_t cell);
uint32_t searchBlocks(const CandidateBlock* blocks, uint32_t count, int32_t red, int32_t green, int32_t blue);

inline bool isNearGrey(int32_t red, int32_t green, int32_t blue) {
    const auto far = [](int32_t a, int32_t b) { return static_cast<uint32_t>(a - b + kGreyTolerance) > 2 * kGreyTolerance; };
    return !(far(red, green) | far(green, blue) | far(red, blue));
}

inline uint8_t nearestIndex(Matcher& m, const uint8_t* c) {
    const uint32_t colour = load24(c);
    if (colour == m.lastColour) return m.lastIndex;
    m.lastColour = colour;
    if (isNearGrey(c[0], c[1], c[2])) return m.lastIndex = m.greyIndex[c[0] + c[1] + c[2]];
    const uint32_t cell = (c[0] & 0xF8u) << 7 | (c[1] & 0xF8u) << 2 | c[2] >> 3;
    CandidateList list = m.cells[cell];
    if (list.blocks == 0) list = makeCell(m, cell);
    return m.lastIndex = static_cast<uint8_t>(searchBlocks(m.pool + list.first, list.blocks, c[0], c[1], c[2]));
}

}  // namespace tolva

#endif
