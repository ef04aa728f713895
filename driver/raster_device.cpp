// raster_device.cpp: the raster variant from init to term: the working path, on which a host opens a device and draws
// into it through opcodes.

#include <cstring>

#include <tolva/driver.h>
#include <tolva/raster.h>
#include "driver/status.h"
#include "host/numbers.h"
#include "settings/current.h"
#include "settings/one_call.h"

using namespace tolva;

namespace {

struct Capability {
    uint8_t slot;
    int32_t value;
};

// What the device can do, by the hosts' slots, in the order they are stored; slots that are not listed keep the host's
// values.
// clang-format off
constexpr Capability kCapabilities[] = {
    {0, 100}, {1, -1},  {2, -1},  {3, -1},  {4, -1},  {5, 0},   {9, -1},  {10, -1}, {11, -1}, {12, -1},
    {13, -1}, {14, -1}, {15, -1}, {16, -1}, {17, -1}, {18, -1}, {19, 0},  {20, 0},  {21, 0},  {22, 0},
    {23, -1}, {24, -1}, {25, -1}, {26, -1}, {27, -1}, {28, -1}, {29, -1}, {31, 0},  {32, -1}, {33, -1},
    {34, 0},  {35, 0},  {36, -1}, {37, -1}, {38, 1},  {39, 1},  {40, 0},  {41, -1}, {44, 0},  {45, -1},
    {55, 0},  {56, 0},  {57, -1}, {58, 0},  {59, -1}, {kTolvaCapabilityConversion, 0},
};
// clang-format on
static_assert(sizeof kCapabilities / sizeof kCapabilities[0] == 46);

constexpr intptr_t kInitReport = -2;
constexpr intptr_t kInitProgress = 100;

void storeCapabilities(void* array, int32_t conversionMode) {
    if (array == nullptr) return;
    for (const Capability& c : kCapabilities) storeField(array, c.slot * sizeof c.value, c.value);
    storeField(array, kTolvaCapabilityConversion * sizeof conversionMode, conversionMode);
}

// Modes that hosts do not know leave the conversion as it is.
void setConversionMode(TolvaEMData& em, int32_t colourMode) {
    if (colourMode >= kTolvaColourNormal && colourMode <= kTolvaColourInvertGrey)
        em.conversionMode = colourMode - kTolvaColourNormal;
}

void reportInit(const TolvaStatusRecord* status) {
    if (status == nullptr || statusFunctionOf(status) == nullptr || statusContextOf(status) == 0) return;
    CallGetSet_Status(statusFunctionOf(status), statusContextOf(status), 0, kInitReport, kInitProgress, 0, 0, 0);
}

void freeReplyBuffer(TolvaEMData& em) {
    if (em.replyHandle != 0) GlobalFree(em.replyHandle);
    em.replyHandle = 0;
    em.replyBuffer = nullptr;
}

bool makeReplyBuffer(TolvaEMData& em, uintptr_t size) {
    if (size > kLargestBlock) return false;
    em.replySize = static_cast<uint32_t>(size);
    em.replyHandle = GlobalAlloc(kTolvaMoveableZeroed, em.replySize);
    em.replyBuffer = static_cast<uint8_t*>(GlobalLock(em.replyHandle));
    return em.replyHandle != 0;
}

bool copyFileName(TolvaEMData& em, const char* name) {
    em.fileName[0] = '\0';
    if (name == nullptr) return true;
    const size_t bytes = strnlen(name, kTolvaFileNameBytes) + 1;
    if (bytes > kTolvaFileNameBytes) return false;
    std::memcpy(em.fileName, name, bytes);
    return true;
}

bool startDevice(TolvaEMData& em, const TolvaRasterInitBlock& block) {
    freeReplyBuffer(em);  // of a block that a host holds from before
    hSetup = block.setup;
    lpSetup = static_cast<Setup*>(GlobalLock(block.setup));
    if (lpSetup == nullptr) return false;
    em.setup = block.setup;
    setConversionMode(em, lpSetup->colourMode);
    em.status = block.status;
    reportInit(em.status);
    return makeReplyBuffer(em, block.replySize) && copyFileName(em, block.fileName);
}

int32_t callOpcode(void* block) {
    if (lpEMData == nullptr) return 0;
    lpEMData->result = kTolvaNoError;
    if (lpEMData->state <= 0 || block == nullptr) return 0;
    getfunc(load<int32_t>(block))(block);
    return lpEMData == nullptr ? 0 : lpEMData->result;
}

bool refusesInit() { return hCommon != 0 && lpEMData != nullptr && lpEMData->state != -1; }

int32_t initDevice(TolvaRasterInitBlock* block) {
    if (block == nullptr || AllocGlobal() != 0 || lpEMData == nullptr) return kTolvaExportFailed;
    const TolvaRasterInitBlock init = load<TolvaRasterInitBlock>(block);
    if (!startDevice(*lpEMData, init)) {
        freeReplyBuffer(*lpEMData);
        FreeGlobal();
        return kTolvaExportFailed;
    }
    storeField(block, offsetof(TolvaRasterInitBlock, replyBuffer), lpEMData->replyBuffer);
    lpEMData->state = kTolvaInitialised;
    storeCapabilities(init.capabilities, lpEMData->conversionMode);
    return kTolvaNoError;
}

int32_t termDevice() {
    if (lpEMData == nullptr) return 0;
    if (lpEMData->state != kTolvaInitialised) d_cldv(nullptr);
    GlobalFree(lpEMData->pictureBitmap);  // of a picture that was never closed
    freeReplyBuffer(*lpEMData);
    FreeGlobal();
    return 0;
}

int32_t serveEntry(int16_t func, void* block) {
    if (func == kTolvaFuncInit) return refusesInit() ? 0 : initDevice(static_cast<TolvaRasterInitBlock*>(block));
    if (func == kTolvaFuncCall) return callOpcode(block);
    if (lpEMData != nullptr) lpEMData->result = kTolvaNoError;
    return termDevice();
}

}  // namespace

int32_t RASTER_initdvr(TolvaRasterInitBlock* block) {
    return asOneCall(kTolvaExportFailed, [=] { return initDevice(block); });
}

int32_t RASTER_termdvr() { return asOneCall(kTolvaExportFailed, termDevice); }

int32_t RASTER_dd_entry32(uintptr_t, int16_t func, void* block) {
    switch (func) {
        case kTolvaFuncInit:
        case kTolvaFuncCall:
        case kTolvaFuncTerm: return asOneCall(kTolvaExportFailed, [=] { return serveEntry(func, block); });
        case kTolvaFuncVersion:
            if (block != nullptr) store(block, ZUNGetFilterVersion());
            return sizeof(uint32_t);
        default: return 0;
    }
}
