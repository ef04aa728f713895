// match.h: rlNearestRGBIndex for many colours against one table: the same answers, looked up. Used by the depth
// conversion, by dithering, and for true colour that is matched as it is written.
#ifndef TOLVA_RASTER_MATCH_H
#define TOLVA_RASTER_MATCH_H

#include <cstdint>

#include "host/handle.h"
#include "nearest/answers.h"
#include "raster/rows.h"

namespace tolva {

constexpr uint32_t kGreySums = 3 * 255 + 1;

// Whether answers are worth working out: few pixels are searched for one by one in less time than that takes.
inline bool isWorthMatching(int64_t width, int64_t height) { return width * height >= 512; }

// A table made ready. Holds a handle: free it with freeMatcher, and do not copy it.
struct Matcher {
    uint8_t greyIndex[kGreySums];  // by red + green + blue of a near-grey
    Handle hRoom;
    Answers answers;
};

// Makes a table of at most 256 entries ready; false where it has more, or none.
bool makeMatcher(Matcher& m, const uint8_t* table, uint32_t count);
void freeMatcher(Matcher& m);

}  // namespace tolva

#endif
