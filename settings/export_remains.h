// export_remains.h: what exports outside a device leave with a Setup block. Its fields tell hosts where to look; who
// owns what they point at is remembered here, by block, because a host may copy a block, and a copy owns nothing.
#ifndef TOLVA_SETTINGS_EXPORT_REMAINS_H
#define TOLVA_SETTINGS_EXPORT_REMAINS_H

#include "settings/current.h"

namespace tolva {

// The export variant's stream, from its init to its term, kept in exporting.outputStream.
void keepStream(Setup& setup, Handle stream);
// The stream, if this block's own still stands there, and else 0; forgotten here and in the block.
Handle takeStream(Setup& setup);

// The memory that ExportCellData wrote to, kept in exporting.memory until the block's next export or its end. What the
// block had before is freed.
void keepMemory(Setup& setup, void* memory);

}  // namespace tolva

#endif
