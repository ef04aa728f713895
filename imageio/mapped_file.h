// mapped_file.h: bytes of a regular file where the system has them, instead of a copy in memory of our own: large
// pictures take what is dearest about reading them, fresh memory, only for their indices. At most one at a time.
#ifndef TOLVA_IMAGEIO_MAPPED_FILE_H
#define TOLVA_IMAGEIO_MAPPED_FILE_H

#include <cstddef>
#include <cstdint>

namespace imageio {

struct MappedFile {
    const uint8_t* bytes = nullptr;  // from where in the file it was asked for
    uint8_t* pages = nullptr;        // that they lie in
    const char* path = nullptr;      // as the user named it
};

// False where the system does not: the bytes have to be read.
bool mapFile(MappedFile& mapped, int file, uint64_t first, size_t size);
void unmapFile(MappedFile& mapped);

// They are not needed any more and need not count as the process's memory; the page they end in may be needed.
void releaseBytes(const MappedFile& mapped, size_t first, size_t count);

// What has happened to the file since it was mapped, for a message; null: nothing. Where its bytes are not to be had,
// all of them read as zeros.
const char* whyUnreadable(const MappedFile& mapped);

}  // namespace imageio

#endif
