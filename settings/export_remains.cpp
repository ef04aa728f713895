// export_remains.cpp: who owns what exports have left, one entry a Setup block that has anything.

#include "settings/export_remains.h"

#include <tolva/stream.h>
#include "settings/current.h"

using namespace tolva;

namespace {

struct Remains {
    const Setup* setup;
    Handle stream;
    void* memory;
    Remains* next;
};

Remains* allRemains = nullptr;

Remains** linkTo(const Setup& setup) {
    Remains** link = &allRemains;
    while (*link != nullptr && (*link)->setup != &setup) link = &(*link)->next;
    return link;
}

Remains& remainsOf(const Setup& setup) {
    Remains*& entry = *linkTo(setup);
    if (entry == nullptr) {
        entry = static_cast<Remains*>(zunPtrGlobalAlloc(sizeof(Remains)));
        entry->setup = &setup;
    }
    return *entry;
}

void forgetEmpty(const Setup& setup) {
    Remains*& link = *linkTo(setup);
    Remains* const entry = link;
    if (entry == nullptr || entry->stream != 0 || entry->memory != nullptr) return;
    link = entry->next;
    zunPtrGlobalFree(entry);
}

}  // namespace

namespace tolva {

void keepStream(Setup& setup, Handle stream) {
    setup.exporting.outputStream = stream;
    if (stream != 0) remainsOf(setup).stream = stream;
}

bool ownsStream(const Setup& setup) {
    const Remains* const entry = *linkTo(setup);
    return entry != nullptr && entry->stream != 0 && entry->stream == setup.exporting.outputStream;
}

int32_t closeStream(Setup& setup) {
    const Handle stream = setup.exporting.outputStream;
    const auto* const record = static_cast<const StreamRecord*>(GlobalLock(stream));
    const bool toMemory = ownsStream(setup) && record->blockPointerRef == &setup.exporting.streamMemory;
    if (Remains* const entry = *linkTo(setup)) entry->stream = 0;
    forgetEmpty(setup);
    setup.exporting.outputStream = 0;
    const int32_t result = stream == 0 ? 0 : zunClose(stream);
    if (toMemory) zunPtrGlobalFree(setup.exporting.streamMemory);
    setup.exporting.streamMemory = nullptr;
    return result;
}

void keepMemory(Setup& setup, void* memory) {
    dropMemory(setup);
    remainsOf(setup).memory = memory;
    setup.exporting.memory = memory;
}

void dropMemory(Setup& setup) {
    Remains* const entry = *linkTo(setup);
    if (entry == nullptr) return;
    // A host that took the address out of the block has taken the memory over.
    if (entry->memory == setup.exporting.memory) zunPtrGlobalFree(entry->memory);
    entry->memory = nullptr;
    forgetEmpty(setup);
}

}  // namespace tolva
