// memory.cpp: movable memory handles on top of the system allocator. Every block of the filter and of its hosts comes
// from here. Locking is nominal: data never moves, nothing is counted, unlocking does nothing.

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/memory.h"
#include "host/system_calls.h"

using namespace tolva;

static_assert(sizeof(void*) != 4 || sizeof(TolvaBlockHeader) == 20);
static_assert(sizeof(void*) != 8 || sizeof(TolvaBlockHeader) == 32);

namespace {

// The header, up to 7 bytes of fill and the data fit in (size + this) rounded down to whole units.
constexpr uint64_t kOverhead = sizeof(TolvaBlockHeader) + 2 * (kTolvaBlockAlignment - 1);
constexpr uint32_t kCompactAnswer = 65536;
constexpr uintptr_t kLargestOffset = 255;  // what the byte in front of the data can hold

TolvaBlockHeader* headerOf(Handle h) { return reinterpret_cast<TolvaBlockHeader*>(h); }

// Kept: hosts rely on a process that is out of memory ending here, with this line and a crash. The address is volatile
// so that no optimiser sees a null pointer to reason about, and abort stands behind it should the store go through.
__attribute__((noreturn, noinline, no_sanitize("undefined", "address"))) void endOutOfMemory(uint64_t bytes) {
    std::printf("GloalAlloc function failed due to insufficient memory: needs %" PRIu64 " bytes memory!!\n", bytes);
    std::fflush(stdout);
    volatile char* volatile nowhere = nullptr;
    // cppcheck-suppress nullPointer ; it is meant
    *nowhere = 3;  // NOLINT(clang-analyzer-core.NullDereference)
    std::abort();
}

// What a block of `size` bytes takes in all: whole units, header and fill included.
uint64_t bytesFor(uint64_t size) { return (size + kOverhead) / kTolvaBlockAlignment * kTolvaBlockAlignment; }

// Null where the system has no more. calloc's pages are zero already; clearing them again would only touch each of them
// once more.
void* allocate(uint64_t bytes) {
    return bytes <= SIZE_MAX ? systemCalls.allocate(static_cast<size_t>(bytes), 1) : nullptr;
}

Handle startBlock(void* allocation, uint32_t flags, uint32_t size) {
    const uintptr_t start = reinterpret_cast<uintptr_t>(allocation);
    const uintptr_t fill =
        (kTolvaBlockAlignment - (start + sizeof(TolvaBlockHeader)) % kTolvaBlockAlignment) % kTolvaBlockAlignment;
    const uintptr_t offset = sizeof(TolvaBlockHeader) + fill;
    TolvaBlockHeader* const header = headerOf(start);
    header->size = size;
    header->flags = flags;
    header->data = reinterpret_cast<void*>(start + offset);
    header->dataOffset = static_cast<uint8_t>(offset);
    return start;
}

}  // namespace

namespace tolva {

const RoomOwners* roomOwners = nullptr;

Handle allocWithRoom(uint32_t flags, uint32_t size, uint32_t room) {
    void* const allocation = allocate(bytesFor(uint64_t{size} + room));
    return allocation == nullptr ? 0 : startBlock(allocation, flags, size);
}

void growIntoRoom(Handle h, uint32_t size) { headerOf(h)->size = size; }

Handle giveRoomBack(Handle h) {
    const TolvaBlockHeader before = *headerOf(h);
    void* const allocation = systemCalls.reallocate(headerOf(h), static_cast<size_t>(bytesFor(before.size)));
    // Allocations are aligned far enough for the data to lie at the same distance everywhere.
    return allocation == nullptr ? h : startBlock(allocation, before.flags, before.size);
}

}  // namespace tolva

Handle GlobalAlloc(uint32_t flags, uint32_t size) {
    const uint64_t bytes = bytesFor(size);
    void* allocation = allocate(bytes);
    if (allocation == nullptr && roomOwners != nullptr) {
        roomOwners->giveBack();
        allocation = allocate(bytes);
    }
    if (allocation == nullptr) endOutOfMemory(bytes);
    return startBlock(allocation, flags, size);
}

void* GlobalLock(Handle h) {
    if (h == 0) return nullptr;
    TolvaBlockHeader* const header = headerOf(h);
    const uintptr_t distance = reinterpret_cast<uintptr_t>(header->data) - h;
    // For a description of foreign memory this byte lies in the header's own reserve.
    if (distance <= kLargestOffset) {
        reinterpret_cast<uint8_t*>(h)[header->dataOffset - 1] = static_cast<uint8_t>(distance);
    }
    return header->data;
}

int32_t GlobalUnlock(Handle) { return 0; }

Handle GlobalFree(Handle h) {
    if (roomOwners != nullptr) roomOwners->forget(h);
    systemCalls.release(headerOf(h));
    return 0;
}

Handle GlobalReAlloc(Handle h, uint32_t size, uint32_t flags) {
    const Handle grown = GlobalAlloc(flags, size);
    if (h == 0) return grown;
    // Sizes of 2 GB and more would come out negative in the signed comparison hosts know; the lesser of the two is what
    // both blocks hold.
    std::memcpy(GlobalLock(grown), GlobalLock(h), std::min(headerOf(h)->size, size));
    GlobalFree(h);
    return grown;
}

Handle GlobalHandle(const void* data) {
    if (data == nullptr) return 0;
    const uintptr_t address = reinterpret_cast<uintptr_t>(data);
    return address - static_cast<const uint8_t*>(data)[-1];
}

uint32_t GlobalSize(Handle h) { return h == 0 ? 0 : headerOf(h)->size; }

Handle GlobalPointerToHandle(void* data, uint32_t size) {
    TolvaBlockHeader* const header = static_cast<TolvaBlockHeader*>(allocate(sizeof(TolvaBlockHeader)));
    if (header == nullptr) endOutOfMemory(sizeof(TolvaBlockHeader));
    header->size = size;
    header->data = data;
    header->dataOffset = sizeof(TolvaBlockHeader);
    return reinterpret_cast<Handle>(header);
}

uint32_t GlobalCompact(uint32_t bytes) { return bytes == 0 ? kCompactAnswer : bytes; }
