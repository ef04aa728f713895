// output_stream.cpp: opens the stream that a GIF is written to: through the host's own I/O, to a file, or to memory.

#include "output/output_stream.h"

#include "host/numbers.h"
#include "stream/stream.h"

namespace {

using namespace tolva;

Handle openDevice(uintptr_t device, const StatusRecord* status, const char* name) {
    StreamDescriptor descriptor = {};
    descriptor.blockRef = status == nullptr ? 0 : loadField<intptr_t>(status, offsetof(StatusRecord, streamContext));
    descriptor.ioProc = static_cast<intptr_t>(device);
    return zunOpen(name, &descriptor, kCreateAndWrite);
}

Handle openMemory(void** memory) {
    *memory = GlobalLock(GlobalAlloc(kMoveableZeroed, 1));
    StreamDescriptor descriptor = {};
    descriptor.blockRef = reinterpret_cast<intptr_t>(memory);
    descriptor.growBy = kUsualGrowth;
    const Handle stream = zunOpen(nullptr, &descriptor, kCreateAndWrite);
    if (stream == 0) freeOutputMemory(memory);
    return stream;
}

}  // namespace

namespace tolva {

Handle openOutputStream(const Setup* setup, const StatusRecord* status, const char* name, void** memory) {
    if (setup != nullptr && setup->outputDevice != 0) return openDevice(setup->outputDevice, status, name);
    return name != nullptr && name[0] != '\0' ? zunOpen(name, nullptr, kCreateAndWrite) : openMemory(memory);
}

void freeOutputMemory(void** memory) {
    zunPtrGlobalFree(*memory);
    *memory = nullptr;
}

}  // namespace tolva
