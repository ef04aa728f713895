// memory_file.h: what the library writes the GIF through: an I/O procedure over memory. It throws nothing, because the
// library stands between it and whoever could catch.
#ifndef TOLVA_QT_MEMORY_FILE_H
#define TOLVA_QT_MEMORY_FILE_H

#include <cstddef>
#include <cstdint>

namespace qtolva {

struct MemoryFile {
    uint8_t* bytes = nullptr;
    size_t capacity = 0;
    int64_t size = 0;
    int64_t position = 0;
    bool isFull = false;  // there was no memory, or no room in the library's 32 bits: it fails from then on

    MemoryFile() = default;
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile();
};

// A StreamIOProc. The context that it is opened with, and its instance, is the MemoryFile's address.
intptr_t serveMemoryFile(intptr_t instance, intptr_t operation, intptr_t a, intptr_t b);

}  // namespace qtolva

#endif
