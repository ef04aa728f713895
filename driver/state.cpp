// state.cpp: the device's state and the data that both driver variants share. One device at a time: everything hangs on
// the exported globals.

#include <cstddef>

#include "driver/driver.h"

static_assert(sizeof(EMData) == 1224);
static_assert(sizeof(ErrorRecord) == 8);
static_assert(offsetof(EMData, errors) == offsetof(EMData, firstError) + sizeof(ErrorRecord));
static_assert(sizeof(void*) != 4 || offsetof(EMData, window) == 896);
static_assert(sizeof(void*) != 8 || offsetof(EMData, window) == 904);
static_assert(sizeof(StatusRecord) == kStatusRecordWords * sizeof(void*));
static_assert(offsetof(RasterInitBlock, capabilities) == 15 * sizeof(void*));
static_assert(offsetof(NameTableRecord, table) == 2 * sizeof(void*));

uint16_t FilterVersion = 1;
uint16_t FilterID = 19;
uintptr_t hDLLModule = 0;
uintptr_t hAppAnchorBlock = 0;
Handle hCommon = 0;
CommonBlock* lpCommon = nullptr;
Handle hEMData = 0;
EMData* lpEMData = nullptr;

uint32_t ZUNGetFilterVersion() { return kFilterVersion; }

int32_t AllocGlobal() {
    // Kept: with a Common block nothing is made here, and a block that is there already is not released; the host that
    // inits twice holds its handle.
    if (hCommon != 0) return 0;
    hEMData = GlobalAlloc(kMoveableZeroed, sizeof(EMData));
    lpEMData = static_cast<EMData*>(GlobalLock(hEMData));
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
