// host_file.h: the host's own side of the library's output: an I/O procedure over a file or over memory, which knows
// why a write failed where the library tells less, or nothing at all.
#ifndef TOLVA_CLI_OUTPUT_HOST_FILE_H
#define TOLVA_CLI_OUTPUT_HOST_FILE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace cli {

// Zeroed it is an empty file in memory.
struct HostFile {
    FILE* disk;      // null: memory
    uint8_t* bytes;  // of memory
    size_t capacity;
    int64_t size;
    int64_t position;
    int error;       // the errno of the first failure, 0 for none
    int spoolError;  // why the library could not make its temporary file, which it may not have needed; 0 for none
};

// Writes to the open and empty `file` instead, which stays open when the library closes this. False with errno.
bool putOnDisk(HostFile& file, int descriptor);
// A StreamIOProc; its instance, and the context it is opened with, is the HostFile's address.
intptr_t serveHostFile(intptr_t instance, intptr_t operation, intptr_t a, intptr_t b);
void freeHostFile(HostFile& file);

}  // namespace cli

#endif
