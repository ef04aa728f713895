// host_file.cpp: the operations of the I/O procedure. The library writes a few bytes at a time and buffers nothing, so
// this does. It takes a byte back now and then: both kinds can be read and rewound.

#include "cli/output/host_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <tolva/stream.h>
#include "cli/output/system_calls.h"
#include "cli/terminal/bar.h"

namespace cli {
namespace {

constexpr intptr_t kFailed = -1;
constexpr intptr_t kDone = 0;
constexpr size_t kFirstCapacity = 65536;
constexpr int64_t kLargestFile = INT32_MAX;  // positions have 32 bits, signed

// The first failure is the reason; what comes after it is told to fail as well.
intptr_t failBecause(HostFile& file, int error) {
    if (file.error == 0) file.error = error;
    return kFailed;
}

bool reserve(HostFile& file, int64_t wanted) {
    const auto bytes = static_cast<size_t>(wanted);
    if (bytes <= file.capacity) return true;
    size_t capacity = std::max(file.capacity, kFirstCapacity);
    while (capacity < bytes) capacity *= 2;
    void* const grown = std::realloc(file.bytes, capacity);
    if (grown == nullptr) return false;
    file.bytes = static_cast<uint8_t*>(grown);
    file.capacity = capacity;
    return true;
}

intptr_t writeBytes(HostFile& file, const void* from, int32_t count) {
    if (file.error != 0 || count < 0) return kFailed;
    if (count == 0) return 0;
    const int64_t end = file.position + count;
    if (end > kLargestFile) return failBecause(file, EFBIG);
    const auto bytes = static_cast<size_t>(count);
    if (file.disk != nullptr) {
        if (systemCalls.writeStream(from, bytes, file.disk) != bytes) return failBecause(file, errno);
    } else {
        if (!reserve(file, end)) return failBecause(file, ENOMEM);
        std::memcpy(file.bytes + file.position, from, bytes);
    }
    file.position = end;
    file.size = std::max(file.size, end);
    showPart(static_cast<uint64_t>(end), file.expected);
    return count;
}

// Standard I/O wants a seek between reading and writing, so there is one on both sides of a read.
bool rewindDisk(HostFile& file) {
    return file.disk == nullptr || systemCalls.seekStream(file.disk, static_cast<off_t>(file.position), SEEK_SET) == 0;
}

intptr_t readBytes(HostFile& file, void* to, int32_t count) {
    if (file.error != 0 || count < 0) return kFailed;
    const auto bytes = static_cast<size_t>(std::min<int64_t>(count, file.size - file.position));
    if (bytes == 0) return 0;
    if (!rewindDisk(file)) return failBecause(file, errno);
    if (file.disk == nullptr) {
        std::memcpy(to, file.bytes + file.position, bytes);
    } else if (systemCalls.readStream(to, bytes, file.disk) != bytes) {
        return failBecause(file, errno);
    }
    file.position += static_cast<int64_t>(bytes);
    return rewindDisk(file) ? static_cast<intptr_t>(bytes) : failBecause(file, errno);
}

// Behind the end there is nothing to go to.
intptr_t seekTo(HostFile& file, int32_t offset, intptr_t origin) {
    if (file.error != 0) return kFailed;
    const int64_t base = origin == kTolvaFromStart ? 0 : origin == kTolvaFromCurrent ? file.position : file.size;
    const int64_t target = base + offset;
    if (target < 0 || target > file.size) return kFailed;
    file.position = target;
    return rewindDisk(file) ? static_cast<intptr_t>(target) : failBecause(file, errno);
}

// What memory holds outlives the library's close: it is the GIF.
intptr_t closeFile(HostFile& file) {
    FILE* const disk = file.disk;
    file.disk = nullptr;
    if (disk != nullptr && systemCalls.closeStream(disk) != 0) failBecause(file, errno);
    return file.error == 0 ? kDone : kFailed;
}

}  // namespace

bool putOnDisk(HostFile& file, int descriptor) {
    const int own = systemCalls.duplicate(descriptor);
    if (own < 0) return false;
    file.disk = systemCalls.openStream(own, "w+");
    if (file.disk == nullptr) {
        systemCalls.close(own);
        return false;
    }
    // Without room of ours the size is not heeded, and four kilobytes at a time cost the system a tenth of the whole
    // export where pictures do not compress. The room goes with the file's memory, behind the stream.
    if (reserve(file, kFirstCapacity)) {
        std::setvbuf(file.disk, reinterpret_cast<char*>(file.bytes), _IOFBF, file.capacity);
    }
    return true;
}

intptr_t serveHostFile(intptr_t instance, intptr_t operation, intptr_t a, intptr_t b) {
    if (instance == 0) return kFailed;
    HostFile& file = *reinterpret_cast<HostFile*>(instance);
    void* const buffer = reinterpret_cast<void*>(a);
    switch (operation) {
        case kTolvaProcOpen: return instance;
        case kTolvaProcRead: return readBytes(file, buffer, static_cast<int32_t>(b));
        case kTolvaProcWrite: return writeBytes(file, buffer, static_cast<int32_t>(b));
        case kTolvaProcSeek: return seekTo(file, *static_cast<const int32_t*>(buffer), b);
        case kTolvaProcClose: return closeFile(file);
        default: return kFailed;
    }
}

HostFile::~HostFile() {
    if (disk != nullptr) systemCalls.closeStream(disk);
    std::free(bytes);
}

}  // namespace cli
