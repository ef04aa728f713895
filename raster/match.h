// match.h: rlNearestRGBIndex for many colours against one table: the same answers, found among the few entries that can
// be nearest to anything in the colour's neighbourhood. Used by the depth conversion and by dithering.
#ifndef TOLVA_RASTER_MATCH_H
#define TOLVA_RASTER_MATCH_H

#include <cstdint>

#include "host/handle.h"
#include "raster/rows.h"

namespace tolva {

struct CandidateBlock;

constexpr uint32_t kGreySums = 3 * 255 + 1;
constexpr uint32_t kCells = 32768;         // of 8 x 8 x 8 colours
constexpr uint32_t kParts = 64 * 64 * 64;  // of 4 x 4 x 4

// A table made ready for searching. Holds handles: free it with freeMatcher. Lists are places of their first block in
// the pool; 0 is no list.
struct Matcher {
    uint8_t greyIndex[kGreySums];  // by red + green + blue of a near-grey
    uint16_t all;                  // every colour that is no exact grey
    Handle hPool;
    CandidateBlock* pool;
    uint32_t poolUsed;
    Handle hCells;
    uint16_t* cells;  // by the upper 5 bits of each component: what parts take their candidates from
    Handle hParts;
    uint16_t* parts;  // by the upper 6 bits; kMayBeGrey marks those where near-greys lie
};

// Makes a table of at most 256 entries ready; false where it has more, or none.
bool makeMatcher(Matcher& m, const uint8_t* table, uint32_t count);
void freeMatcher(Matcher& m);

uint8_t nearestIndex(Matcher& m, const uint8_t* colour);
// The indices of a row of pixels of 3 or 4 bytes.
void matchRow(Matcher& m, const uint8_t* from, int bytesPerPixel, uint8_t* to, int32_t width);

}  // namespace tolva

#endif
