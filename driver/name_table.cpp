// name_table.cpp: what a host looks up before anything else: the table of entries and the 16-bit-style entries, which
// answer the version and hand out the 32-bit ones.

#include <tolva/driver.h>
#include <tolva/output.h>
#include "host/numbers.h"
#include "settings/current.h"

namespace {

template <class T>
void* target(T* entry) {
    return reinterpret_cast<void*>(entry);
}

// Ordinals are the hosts': 1007 is not given, and they are not to be made contiguous.
const TolvaNameRow nameTable[] = {
    {"CreateSetup", 1001, target(CreateSetup)},
    {"DestroySetup", 1002, target(DestroySetup)},
    {"EditSetup", 1003, target(EditSetup)},
    {"EscapeSetup", 1004, target(xEscapeSetup)},
    {"ZUNGetFilterVersion", 1005, target(ZUNGetFilterVersion)},
    {"dd_entry", 1006, target(dd_entry)},
    {"RASTER_dd_entry", 1008, target(RASTER_dd_entry)},
    {"ExportCellData", 1009, target(ExportCellData)},
    {"szDLLName", 1010, target(&export_szDLLName)},
};
static_assert(sizeof nameTable / sizeof nameTable[0] == kTolvaNameTableRows);

void answer(int16_t func, void* out, void* entry32) {
    if (out == nullptr) return;
    if (func == kTolvaFuncVersion) tolva::store(out, ZUNGetFilterVersion());
    if (func == kTolvaFuncEntry32) tolva::store(out, entry32);
}

}  // namespace

void fltLoadPointers(TolvaNameTableRecord* record) {
    if (record == nullptr) return;
    tolva::storeField(record, offsetof(TolvaNameTableRecord, count), uint16_t{kTolvaNameTableRows});
    tolva::storeField(record, offsetof(TolvaNameTableRecord, table), &nameTable[0]);
}

int32_t RASTER_dd_entry(int16_t func, void* out, void*) {
    answer(func, out, target(RASTER_dd_entry32));
    return 0;
}

int32_t dd_entry(int16_t func, void* out, void*) {
    answer(func, out, target(dd_entry32));
    return 0;
}
