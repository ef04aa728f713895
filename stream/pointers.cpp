// pointers.cpp: memory handles for callers that keep the locked pointer and not the handle.

#include <tolva/stream.h>
#include "host/handle.h"

using namespace tolva;

void* zunPtrGlobalAlloc(uint32_t size) {
    return size == 0 ? nullptr : GlobalLock(GlobalAlloc(kTolvaMoveableZeroed, size));
}

Handle zunPtrGlobalHandle(const void* data) { return GlobalHandle(data); }

Handle zunPtrGlobalFree(void* data) {
    if (data == nullptr) return 0;
    const Handle h = GlobalHandle(data);
    return GlobalUnlock(h) != 0 ? h : GlobalFree(h);
}

void* zunPtrGlobalReAlloc(void* data, uint32_t size, uint32_t flags) {
    if (data == nullptr) return zunPtrGlobalAlloc(size);
    const Handle h = GlobalHandle(data);
    if (GlobalUnlock(h) != 0) return nullptr;
    if (size == 0) {
        GlobalFree(h);
        return nullptr;
    }
    return GlobalLock(GlobalReAlloc(h, size, flags));
}
