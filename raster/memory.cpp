// memory.cpp: the thin memory calls of the raster library, for its callers and itself.

#include <tolva/raster.h>
#include "host/numbers.h"

using namespace tolva;

Handle rlGetMemory(uint16_t elementSize, uint32_t count) { return allocPicture(elementSize, count); }
void* rlLockMemory(Handle h) { return h == 0 ? nullptr : GlobalLock(h); }
int32_t rlUnlockMemory(Handle h) { return h == 0 ? 0 : GlobalUnlock(h); }
Handle rlPointertoHandle(const void* data) { return GlobalHandle(data); }

int32_t rlFreeNewData(Handle h) {
    if (h == 0) return 0;
    GlobalFree(h);
    return 1;
}

int32_t rlFreeColormap(Handle map) {
    rlFreeNewData(map);
    return 0;
}
