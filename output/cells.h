// cells.h: a ready bitmap becomes a GIF; for the cell-array handler, which reports what could not run.
#ifndef TOLVA_OUTPUT_CELLS_H
#define TOLVA_OUTPUT_CELLS_H

#include <tolva/output.h>
#include "host/handle.h"

namespace tolva {

// Tables are for depths up to 8; true colour comes as 24 bits or 32. No other depth exists.
inline bool isCellDepth(int64_t depth) { return (depth >= 1 && depth <= 8) || depth == 24 || depth == 32; }

// RasterWriteCellData with an answer: kTolvaExportFailed when the export could not run and nothing was written (a size
// that no GIF can have, a depth that does not exist, a picture too large for a block, no settings), else 0. What went
// wrong while writing is not told.
int32_t writeCells(Handle bitmap, int32_t width, int32_t height, int32_t resolution, int16_t bitsPerPixel,
                   int16_t colourModel);

}  // namespace tolva

#endif
