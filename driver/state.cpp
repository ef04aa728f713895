// state.cpp: the device's state and the data that both driver variants share. One device at a time: everything hangs on
// the exported globals.

#include <cstddef>

#include <tolva/driver.h>
#include "host/handle.h"

using namespace tolva;

static_assert(sizeof(TolvaEMData) == 1224);
static_assert(sizeof(TolvaErrorRecord) == 8);
static_assert(offsetof(TolvaEMData, errors) == offsetof(TolvaEMData, firstError) + sizeof(TolvaErrorRecord));
static_assert(sizeof(void*) != 4 || offsetof(TolvaEMData, window) == 896);
static_assert(sizeof(void*) != 8 || offsetof(TolvaEMData, window) == 904);
static_assert(sizeof(TolvaStatusRecord) == kTolvaStatusRecordWords * sizeof(void*));
static_assert(offsetof(TolvaRasterInitBlock, capabilities) == 15 * sizeof(void*));
static_assert(offsetof(TolvaNameTableRecord, table) == 2 * sizeof(void*));

uint16_t FilterVersion = 1;
uint16_t FilterID = 19;
uintptr_t hDLLModule = 0;
uintptr_t hAppAnchorBlock = 0;
Handle hCommon = 0;
TolvaCommonBlock* lpCommon = nullptr;
Handle hEMData = 0;
TolvaEMData* lpEMData = nullptr;

uint32_t ZUNGetFilterVersion() { return kTolvaFilterVersion; }

int32_t AllocGlobal() {
    // Kept: with a Common block nothing is made here, and a block that is there already is not released; the host that
    // inits twice holds its handle.
    if (hCommon != 0) return 0;
    hEMData = GlobalAlloc(kTolvaMoveableZeroed, sizeof(TolvaEMData));
    lpEMData = static_cast<TolvaEMData*>(GlobalLock(hEMData));
    return 0;
}

int32_t FreeGlobal() {
    if (lpEMData == nullptr) return 0;
    GlobalUnlock(hEMData);
    GlobalFree(hEMData);
    hEMData = 0;
    lpEMData = nullptr;
    return 0;
}

int32_t LockGlobal(Handle) { return 0; }
int32_t UnlockGlobal(Handle) { return 0; }
