// export_remains.h: what exports outside a device leave with a Setup block. Its fields tell hosts where to look; who
// owns what they point at is remembered here, by block, because a host may copy a block, and a copy owns nothing.
#ifndef TOLVA_SETTINGS_EXPORT_REMAINS_H
#define TOLVA_SETTINGS_EXPORT_REMAINS_H

#include "settings/current.h"

namespace tolva {

// The export variant's stream, from its init to its term, held in exporting.outputStream.
void keepStream(Setup& setup, Handle stream);
// Whether what stands there is this block's own.
bool ownsStream(const Setup& setup);
// Closes what stands there, a host's stream too; the memory of this block's own is freed. What zunClose gives, or 0
// without a stream.
int32_t closeStream(Setup& setup);

// The memory that ExportCellData wrote to, held in exporting.memory until the block's next export to memory or its end.
void keepMemory(Setup& setup, void* memory);
void dropMemory(Setup& setup);

}  // namespace tolva

#endif
