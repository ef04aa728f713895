// raster_device.cpp: the raster variant from init to term: the working path, on which a host opens a device and draws
// into it through opcodes.

#include <cstring>

#include "driver/driver.h"
#include "driver/status.h"
#include "host/numbers.h"
#include "raster/raster.h"
#include "settings/one_call.h"
#include "settings/settings.h"

namespace {

using namespace tolva;

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
    {55, 0},  {56, 0},  {57, -1}, {58, 0},  {59, -1}, {kCapabilityConversion, 0},
};
// clang-format on
static_assert(sizeof kCapabilities / sizeof kCapabilities[0] == 46);

constexpr intptr_t kInitReport = -2;
constexpr intptr_t kInitProgress = 100;

void storeCapabilities(void* array, int32_t conversionMode) {
    if (array == nullptr) return;
    for (const Capability& c : kCapabilities) storeField(array, c.slot * sizeof c.value, c.value);
    storeField(array, kCapabilityConversion * sizeof conversionMode, conversionMode);
}

// Modes that hosts do not know leave the conversion as it is.
void setConversionMode(EMData& em, int32_t colourMode) {
    if (colourMode >= kColourNormal && colourMode <= kColourInvertGrey) em.conversionMode = colourMode - kColourNormal;
}

void reportInit(const StatusRecord* status) {
    if (status == nullptr || statusFunctionOf(status) == nullptr || statusContextOf(status) == 0) return;
    CallGetSet_Status(statusFunctionOf(status), statusContextOf(status), 0, kInitReport, kInitProgress, 0, 0, 0);
}

void freeReplyBuffer(EMData& em) {
    if (em.replyHandle != 0) GlobalFree(em.replyHandle);
    em.replyHandle = 0;
    em.replyBuffer = nullptr;
}

bool makeReplyBuffer(EMData& em, uintptr_t size) {
    if (size > kLargestBlock) return false;
    em.replySize = static_cast<uint32_t>(size);
    em.replyHandle = GlobalAlloc(kMoveableZeroed, em.replySize);
    em.replyBuffer = static_cast<uint8_t*>(GlobalLock(em.replyHandle));
    return em.replyHandle != 0;
}

bool copyFileName(EMData& em, const char* name) {
    em.fileName[0] = '\0';
    if (name == nullptr) return true;
    const size_t bytes = strnlen(name, kFileNameBytes) + 1;
    if (bytes > kFileNameBytes) return false;
    std::memcpy(em.fileName, name, bytes);
    return true;
}

bool startDevice(EMData& em, const RasterInitBlock& block) {
    freeReplyBuffer(em);  // of a block that a host has kept from before
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
    lpEMData->result = kNoError;
    if (lpEMData->state <= 0 || block == nullptr) return 0;
    getfunc(load<int32_t>(block))(block);
    return lpEMData == nullptr ? 0 : lpEMData->result;
}

bool isInitialised() { return hCommon != 0 && lpEMData != nullptr && lpEMData->state != -1; }

int32_t initDevice(RasterInitBlock* block) {
    if (block == nullptr || AllocGlobal() != 0 || lpEMData == nullptr) return kExportFailed;
    const RasterInitBlock init = load<RasterInitBlock>(block);
    if (!startDevice(*lpEMData, init)) {
        freeReplyBuffer(*lpEMData);
        FreeGlobal();
        return kExportFailed;
    }
    storeField(block, offsetof(RasterInitBlock, replyBuffer), lpEMData->replyBuffer);
    lpEMData->state = kInitialised;
    storeCapabilities(init.capabilities, lpEMData->conversionMode);
    return kNoError;
}

int32_t termDevice() {
    if (lpEMData == nullptr) return 0;
    if (lpEMData->state != kInitialised) d_cldv(nullptr);
    GlobalFree(lpEMData->pictureBitmap);  // of a picture that was never closed
    freeReplyBuffer(*lpEMData);
    FreeGlobal();
    return 0;
}

int32_t serveEntry(int16_t func, void* block) {
    if (func == kFuncInit) return isInitialised() ? 0 : initDevice(static_cast<RasterInitBlock*>(block));
    if (func == kFuncCall) return callOpcode(block);
    if (lpEMData != nullptr) lpEMData->result = kNoError;
    return termDevice();
}

}  // namespace

int32_t RASTER_initdvr(RasterInitBlock* block) {
    return asOneCall(kExportFailed, [=] { return initDevice(block); });
}

int32_t RASTER_termdvr() { return asOneCall(kExportFailed, termDevice); }

int32_t RASTER_dd_entry32(uintptr_t, int16_t func, void* block) {
    switch (func) {
        case kFuncInit:
        case kFuncCall:
        case kFuncTerm: return asOneCall(kExportFailed, [=] { return serveEntry(func, block); });
        case kFuncVersion:
            if (block != nullptr) store(block, ZUNGetFilterVersion());
            return sizeof(uint32_t);
        default: return 0;
    }
}
