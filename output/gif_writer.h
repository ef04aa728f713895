// gif_writer.h: what the pipeline needs of the writer beyond its exported calls.
#ifndef TOLVA_OUTPUT_GIF_WRITER_H
#define TOLVA_OUTPUT_GIF_WRITER_H

#include "output/output.h"

namespace tolva {

// Rows that are made as they are written, so that nothing holds them all: `make` puts one, counted from the bottom,
// into `to`.
struct RowMaker {
    void (*make)(void* context, int64_t row, uint8_t* to);
    void* context;
};

// WriteCellBits for a whole picture of 8 bits whose rows are made on demand.
int32_t writeMadeRows(Handle stream, const RowMaker& maker, int32_t width, int32_t rows, Handle state);

// WriteCellBits for a band of 8 bits that is not the writer's: its memory is left alone.
int32_t writeKeptBand(Handle stream, Handle band, int32_t width, int32_t rows, Handle state);

// Frees an image that is given up half way, its spool and spool file included; nothing more is written.
void abandonCellBitmap(Handle state);

}  // namespace tolva

#endif
