// host_file.h: the host's own side of the library's output: an I/O procedure over a file or over memory, which knows
// why a write failed where the library tells less, or nothing at all.
#ifndef TOLVA_CLI_OUTPUT_HOST_FILE_H
#define TOLVA_CLI_OUTPUT_HOST_FILE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace cli {

// At first it is an empty file in memory.
struct HostFile {
    FILE* disk = nullptr;      // null: memory
    uint8_t* bytes = nullptr;  // of memory, or what waits for the disk
    size_t capacity = 0;
    int64_t size = 0;
    int64_t position = 0;
    uint64_t expected = 0;  // bytes, for the bar
    int error = 0;          // the errno of the first failure, 0 for none
    int spoolError = 0;  // why the library could not make its temporary file, which it may not have needed; 0 for none

    HostFile() = default;
    HostFile(const HostFile&) = delete;
    HostFile& operator=(const HostFile&) = delete;
    ~HostFile();
};

// Writes to the open and empty `file` instead, which stays open when the library closes this. False with errno.
bool putOnDisk(HostFile& file, int descriptor);
// A StreamIOProc; its instance, and the context it is opened with, is the HostFile's address.
intptr_t serveHostFile(intptr_t instance, intptr_t operation, intptr_t a, intptr_t b);

}  // namespace cli

#endif
