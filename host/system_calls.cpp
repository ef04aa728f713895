// system_calls.cpp: the table's ordinary contents.

#include "host/system_calls.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

namespace tolva {
namespace {

static_assert(sizeof(off_t) == 8, "file positions are computed in 64 bits on every build");

ssize_t readStream(void* buffer, size_t count, FILE* file) {
    // What an earlier write left behind is no failure of this read.
    std::clearerr(file);
    const size_t got = std::fread(buffer, 1, count, file);
    return got < count && std::ferror(file) != 0 ? -1 : static_cast<ssize_t>(got);
}

}  // namespace

SystemCalls systemCalls = {
    .open = std::fopen,
    .close = std::fclose,
    .read = readStream,
    .write = [](const void* buffer, size_t count, FILE* file) { return std::fwrite(buffer, 1, count, file); },
    .flush = std::fflush,
    .seek = fseeko,
    .tell = ftello,
    .status = [](FILE* file, struct stat* about) { return fstat(fileno(file), about); },
    .openFile = [](const char* name, int flags, mode_t mode) { return ::open(name, flags, mode); },
    .closeFile = ::close,
    .readAt = pread,
    .writeAt = pwrite,
    .takeRoom = posix_fallocate,
    .resize = ftruncate,
    .sync = fsync,
    .lookInto = fstat,
    .setOwner = fchown,
    .setMode = fchmod,
    .makeTemporary = mkstemp,
    .lookAt = stat,
    .rename = std::rename,
    .remove = unlink,
    .allocate = std::calloc,
    .reallocate = std::realloc,
    .release = std::free,
};

}  // namespace tolva
