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

Handle takeStream(Setup& setup) {
    Remains& entry = remainsOf(setup);
    const Handle stream = entry.stream == setup.exporting.outputStream ? entry.stream : 0;
    entry.stream = 0;
    setup.exporting.outputStream = 0;
    forgetEmpty(setup);
    return stream;
}

void keepMemory(Setup& setup, void* memory) {
    Remains& entry = remainsOf(setup);
    // A host that took the address out of the block has taken the memory over.
    if (entry.memory == setup.exporting.memory) zunPtrGlobalFree(entry.memory);
    entry.memory = memory;
    setup.exporting.memory = memory;
    forgetEmpty(setup);
}

}  // namespace tolva
