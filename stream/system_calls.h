// system_calls.h: the one hidden table through which the stream layer reaches the C runtime's files, so that a test can
// make the n-th call fail. Used by stream/ alone.
#ifndef TOLVA_STREAM_SYSTEM_CALLS_H
#define TOLVA_STREAM_SYSTEM_CALLS_H

#include <sys/stat.h>

#include <cstdio>

namespace tolva {

struct SystemCalls {
    FILE* (*open)(const char* name, const char* mode);
    int (*close)(FILE* file);
    size_t (*read)(void* buffer, size_t size, size_t count, FILE* file);
    size_t (*write)(const void* buffer, size_t size, size_t count, FILE* file);
    int (*flush)(FILE* file);
    int (*seek)(FILE* file, off_t offset, int origin);
    off_t (*tell)(FILE* file);
    int (*status)(FILE* file, struct stat* status);
    int (*remove)(const char* name);
    int (*makeTemporary)(char* pattern);
};

extern SystemCalls systemCalls;

}  // namespace tolva

#endif
