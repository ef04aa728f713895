// device.cpp: opening and closing the device, and the picture brackets between. Opening makes the output stream;
// closing closes it, or deletes the file when the host wants to stop. Brackets only move the state.

#include <tolva/driver.h>
#include <tolva/stream.h>
#include "output/output_stream.h"
#include "settings/current.h"

using namespace tolva;

namespace {

// A memory stream keeps a variable with its block's address up to date. That variable lives as long as the stream, in a
// block of its own, because a host may go back to a device whose init was followed by another.
Handle openStream(const TolvaEMData& em) {
    void** const memory = static_cast<void**>(zunPtrGlobalAlloc(sizeof(void*)));
    const Handle stream = openOutputStream(lpSetup, em.status, em.fileName, memory);
    if (*memory == nullptr) {
        zunPtrGlobalFree(memory);
    } else {
        static_cast<StreamRecord*>(GlobalLock(stream))->deviceMemory = 1;
    }
    return stream;
}

// What opening took for the stream. Null for one that goes elsewhere, and for a memory stream that the host put in its
// place: its block is the host's.
void** memoryOf(Handle stream) {
    const auto* const s = static_cast<StreamRecord*>(GlobalLock(stream));
    return s == nullptr || s->deviceMemory == 0 ? nullptr : s->blockPointerRef;
}

}  // namespace

void* d_opdv(void* block) {
    if (lpEMData == nullptr) return block;
    TolvaEMData& em = *lpEMData;
    d_empes(block);
    em.state = kTolvaDeviceOpen;
    em.outputStream = openStream(em);
    // Kept: an output device that does not open is not reported; the host whose procedure refused knows.
    const bool hasDevice = lpSetup != nullptr && lpSetup->outputDevice != 0;
    if (em.outputStream == 0 && !hasDevice) push_er(kTolvaStreamFailed);
    return block;
}

void* d_cldv(void* block) {
    if (lpEMData == nullptr) return block;
    TolvaEMData& em = *lpEMData;
    em.state = kTolvaInitialised;
    // First, because the host may put another stream there while it is asked.
    const bool stops = RASTER_escape() != kTolvaNoError;
    void** const memory = memoryOf(em.outputStream);
    if (stops) {
        zunCloseandDelete(em.outputStream, em.fileName);
    } else if (zunClose(em.outputStream) != 0) {
        push_er(kTolvaStreamFailed);
    }
    em.outputStream = 0;
    if (memory != nullptr) freeOutputMemory(memory);
    zunPtrGlobalFree(memory);
    return block;
}

void* d_begp(void* block) {
    if (lpEMData == nullptr) return block;
    lpEMData->state = kTolvaPictureBegun;
    d_reset(0, kTolvaPictureBegun);
    return block;
}

void* d_begpb(void* block) {
    if (lpEMData != nullptr) lpEMData->state = kTolvaPictureBody;
    return block;
}

void* d_endp(void* block) {
    if (lpEMData != nullptr) lpEMData->state = kTolvaPictureEnded;
    return block;
}

void d_reset(int32_t, int32_t) {}
