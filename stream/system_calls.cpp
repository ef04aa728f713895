// system_calls.cpp: the table's ordinary contents.

#include "stream/system_calls.h"

#include <unistd.h>

#include <cstdlib>

namespace tolva {

static_assert(sizeof(off_t) == 8, "file positions are computed in 64 bits on every build");

SystemCalls systemCalls = {
    .open = std::fopen,
    .close = std::fclose,
    .read = std::fread,
    .write = std::fwrite,
    .flush = std::fflush,
    .seek = fseeko,
    .tell = ftello,
    .status = [](FILE* file, struct stat* status) { return fstat(fileno(file), status); },
    .remove = unlink,
    .makeTemporary = mkstemp,
};

}  // namespace tolva
