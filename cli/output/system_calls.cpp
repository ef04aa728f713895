// system_calls.cpp: the table's ordinary contents.

#include "cli/output/system_calls.h"

#include <cstdlib>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace cli {
SystemCalls systemCalls = {
    .open = [](int folder, const char* name, int flags, mode_t mode) { return openat(folder, name, flags, mode); },
    .makeTemporary = mkstemp,
    .lookAt = fstatat,
    .readLink = readlinkat,
    .rename = [](int folder, const char* from, const char* to) { return renameat(folder, from, folder, to); },
    .renameToNew = [](int folder, const char* from,
                      const char* to) { return renameat2(folder, from, folder, to, RENAME_NOREPLACE); },
    .remove = [](int folder, const char* name) { return unlinkat(folder, name, 0); },
    .close = ::close,
    .duplicate = dup,
    .enter = fchdir,
    .lock = flock,
    .lookInto = fstat,
    .read = ::read,
    .readAt = pread,
    .write = ::write,
    .seek = lseek,
    .takeRoom = posix_fallocate,
    .resize = ftruncate,
    .setOwner = fchown,
    .setMode = fchmod,
    .openStream = fdopen,
    .closeStream = std::fclose,
    .readStream = [](void* bytes, size_t count, FILE* stream) { return std::fread(bytes, 1, count, stream); },
    .writeStream = [](const void* bytes, size_t count, FILE* stream) { return std::fwrite(bytes, 1, count, stream); },
    .seekStream = fseeko,
    .sleep = usleep,
};

}  // namespace cli
