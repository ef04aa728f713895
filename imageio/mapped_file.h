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
};

// False where the system does not: the bytes have to be read.
bool mapFile(MappedFile& mapped, int file, uint64_t first, size_t size);
void unmapFile(MappedFile& mapped);

// They are not needed any more and need not count as the process's memory; the page they end in may be.
void releaseBytes(const MappedFile& mapped, size_t first, size_t count);

// Whether the file that was mapped last was cut off meanwhile, or its disk failed. All of it reads as zeros then.
bool lostBytes();

}  // namespace imageio

#endif
