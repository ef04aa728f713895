// export_variant.cpp: the export-filter variant, for hosts that load that entry. Its lifecycle is still to come: calls
// answer 0 and touch nothing; the version is answered.

#include "driver/driver.h"
#include "host/numbers.h"

int32_t initdvr(void*) { return 0; }
int32_t termdvr(uintptr_t) { return 0; }

int32_t dd_entry32(uintptr_t, int16_t func, void* block) {
    if (func != kFuncVersion) return 0;
    if (block != nullptr) tolva::store(block, ZUNGetFilterVersion());
    return sizeof(uint32_t);
}
