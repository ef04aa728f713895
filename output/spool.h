// spool.h: where the rows of an interlaced picture wait until all its bands have come.
#ifndef TOLVA_OUTPUT_SPOOL_H
#define TOLVA_OUTPUT_SPOOL_H

#include <tolva/output.h>

namespace tolva {

// Image rows in the order of the file: pass p takes rows start, start + step, ...
struct InterlacePass {
    int32_t start;
    int32_t step;
};
inline constexpr InterlacePass kInterlacePasses[] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};

// Closes and removes the spool, if one is open, and forgets it.
void dropSpool(CellBitmapState& state);

// Frees the memory spool's block, if there is one.
void freeSpoolBlock(CellBitmapState& state);

}  // namespace tolva

#endif
