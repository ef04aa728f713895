// output_stream.cpp: opens the stream that a GIF is written to: through the host's own I/O, to a file, or to memory.

#include "output/output_stream.h"

#include <tolva/stream.h>
#include "host/numbers.h"
#include "settings/current.h"

using namespace tolva;

namespace {

Handle openDevice(uintptr_t device, const TolvaStatusRecord* status, const char* name) {
    StreamDescriptor descriptor = {};
    descriptor.blockRef =
        status == nullptr ? 0 : loadField<intptr_t>(status, offsetof(TolvaStatusRecord, streamContext));
    descriptor.ioProc = static_cast<intptr_t>(device);
    return zunOpen(name, &descriptor, kTolvaCreateAndWrite);
}

Handle openMemory(void** memory) {
    *memory = GlobalLock(GlobalAlloc(kTolvaMoveableZeroed, 1));
    StreamDescriptor descriptor = {};
    descriptor.blockRef = reinterpret_cast<intptr_t>(memory);
    descriptor.growBy = kTolvaUsualGrowth;
    const Handle stream = zunOpen(nullptr, &descriptor, kTolvaCreateAndWrite);
    if (stream == 0) freeOutputMemory(memory);
    return stream;
}

}  // namespace

namespace tolva {

Handle openOutputStream(const Setup* setup, const TolvaStatusRecord* status, const char* name, void** memory) {
    if (setup != nullptr && setup->outputDevice != 0) return openDevice(setup->outputDevice, status, name);
    return name != nullptr && name[0] != '\0' ? zunOpen(name, nullptr, kTolvaCreateAndWrite) : openMemory(memory);
}

void freeOutputMemory(void** memory) {
    zunPtrGlobalFree(*memory);
    *memory = nullptr;
}

}  // namespace tolva
