// gif_writer.h: what the pipeline needs of the writer beyond its exported calls.
#ifndef TOLVA_OUTPUT_GIF_WRITER_H
#define TOLVA_OUTPUT_GIF_WRITER_H

#include <tolva/output.h>
#include "host/handle.h"

namespace tolva {

// Frees an image that is given up half way, its spool and spool file included; nothing more is written.
void abandonCellBitmap(Handle state);

}  // namespace tolva

#endif
