// memory_file.cpp: the operations of the I/O procedure. The library writes a few bytes at a time, and reads and seeks
// only where it takes a byte back.

#include "qt/memory_file.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <tolva/stream.h>

namespace qtolva {
namespace {

constexpr intptr_t kFailed = -1;
constexpr size_t kFirstCapacity = 65536;

bool reserve(MemoryFile& file, int64_t wanted) {
    if (wanted > INT32_MAX) return false;
    const auto bytes = static_cast<size_t>(wanted);
    if (bytes <= file.capacity) return true;
    const size_t capacity = std::max({bytes, 2 * file.capacity, kFirstCapacity});
    void* const grown = std::realloc(file.bytes, capacity);
    if (grown == nullptr) return false;
    file.bytes = static_cast<uint8_t*>(grown);
    file.capacity = capacity;
    return true;
}

intptr_t writeBytes(MemoryFile& file, const void* from, int32_t count) {
    if (count <= 0) return count;
    const int64_t end = file.position + count;
    file.isFull = file.isFull || !reserve(file, end);
    if (file.isFull) return kFailed;
    std::memcpy(file.bytes + file.position, from, static_cast<size_t>(count));
    file.position = end;
    file.size = std::max(file.size, end);
    return count;
}

intptr_t readBytes(MemoryFile& file, void* to, int32_t count) {
    const int64_t bytes = std::clamp<int64_t>(file.size - file.position, 0, std::max(count, 0));
    if (bytes > 0) std::memcpy(to, file.bytes + file.position, static_cast<size_t>(bytes));
    file.position += bytes;
    return static_cast<intptr_t>(bytes);
}

intptr_t seekTo(MemoryFile& file, int32_t offset, intptr_t origin) {
    const int64_t base = origin == kTolvaFromStart ? 0 : origin == kTolvaFromCurrent ? file.position : file.size;
    if (base + offset < 0 || base + offset > file.size) return kFailed;
    return static_cast<intptr_t>(file.position = base + offset);
}

}  // namespace

// The library passes on few failures: the close tells what went wrong before it. What is held outlives it, since it is
// the GIF.
intptr_t serveMemoryFile(intptr_t instance, intptr_t operation, intptr_t a, intptr_t b) {
    if (instance == 0) return kFailed;
    MemoryFile& file = *reinterpret_cast<MemoryFile*>(instance);
    void* const buffer = reinterpret_cast<void*>(a);
    switch (operation) {
        case kTolvaProcOpen: return instance;
        case kTolvaProcRead: return readBytes(file, buffer, static_cast<int32_t>(b));
        case kTolvaProcWrite: return writeBytes(file, buffer, static_cast<int32_t>(b));
        case kTolvaProcSeek: return seekTo(file, *static_cast<const int32_t*>(buffer), b);
        case kTolvaProcClose: return file.isFull ? kFailed : 0;
        default: return kFailed;
    }
}

MemoryFile::~MemoryFile() { std::free(bytes); }

}  // namespace qtolva
