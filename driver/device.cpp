// device.cpp: opening and closing the device, and the picture brackets between. Opening makes the output stream;
// closing closes it, or deletes the file when the host wants to stop. Brackets only move the state.

#include "driver/driver.h"
#include "host/numbers.h"
#include "settings/settings.h"
#include "stream/stream.h"

namespace {

using namespace tolva;

// The block of a memory stream: its stream keeps this variable up to date, so it must outlive the call that opens it.
void* memoryBlock = nullptr;

uintptr_t outputDevice() { return lpSetup == nullptr ? 0 : lpSetup->outputDevice; }

// Through the host's own I/O. Kept: a failed open is not reported.
Handle openOutputDevice(const EMData& em) {
    StreamDescriptor descriptor = {};
    descriptor.blockRef =
        em.status == nullptr ? 0 : loadField<intptr_t>(em.status, offsetof(StatusRecord, streamContext));
    descriptor.ioProc = static_cast<intptr_t>(outputDevice());
    return zunOpen(em.fileName, &descriptor, kCreateAndWrite);
}

Handle openMemoryStream() {
    memoryBlock = GlobalLock(GlobalAlloc(kMoveableZeroed, 1));
    StreamDescriptor descriptor = {};
    descriptor.blockRef = reinterpret_cast<intptr_t>(&memoryBlock);
    descriptor.growBy = kUsualGrowth;
    return zunOpen(nullptr, &descriptor, kCreateAndWrite);
}

void freeMemoryBlock() {
    if (memoryBlock != nullptr) GlobalFree(GlobalHandle(memoryBlock));
    memoryBlock = nullptr;
}

}  // namespace

void* d_opdv(void* block) {
    if (lpEMData == nullptr) return block;
    EMData& em = *lpEMData;
    d_empes(block);
    em.state = kDeviceOpen;
    if (outputDevice() != 0) {
        em.outputStream = openOutputDevice(em);
        return block;
    }
    em.outputStream = em.fileName[0] != '\0' ? zunOpen(em.fileName, nullptr, kCreateAndWrite) : openMemoryStream();
    if (em.outputStream == 0) push_er(kStreamFailed);
    return block;
}

void* d_cldv(void* block) {
    if (lpEMData == nullptr) return block;
    EMData& em = *lpEMData;
    em.state = kInitialised;
    if (RASTER_escape() != kNoError) {
        zunCloseandDelete(em.outputStream, em.fileName);
    } else if (zunClose(em.outputStream) != 0) {
        push_er(kStreamFailed);
    }
    em.outputStream = 0;
    freeMemoryBlock();
    return block;
}

void* d_begp(void* block) {
    if (lpEMData == nullptr) return block;
    lpEMData->state = kPictureBegun;
    d_reset(0, kPictureBegun);
    return block;
}

void* d_begpb(void* block) {
    if (lpEMData != nullptr) lpEMData->state = kPictureBody;
    return block;
}

void* d_endp(void* block) {
    if (lpEMData != nullptr) lpEMData->state = kPictureEnded;
    return block;
}

void d_reset(int32_t, int32_t) {}
