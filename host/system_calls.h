// system_calls.h: the one hidden table through which the library reaches the system's files and memory, so that a test
// can make the n-th call fail. Who calls says what failed: -1 or null, with errno, and of a transfer fewer bytes.
#ifndef TOLVA_HOST_SYSTEM_CALLS_H
#define TOLVA_HOST_SYSTEM_CALLS_H

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdio>

namespace tolva {

struct SystemCalls {
    // Of the C runtime's streams.
    FILE* (*open)(const char* name, const char* mode);
    int (*close)(FILE* file);
    ssize_t (*read)(void* buffer, size_t count, FILE* file);
    size_t (*write)(const void* buffer, size_t count, FILE* file);
    int (*flush)(FILE* file);
    int (*seek)(FILE* file, off_t offset, int origin);
    off_t (*tell)(FILE* file);
    int (*status)(FILE* file, struct stat* about);
    // Of descriptors.
    int (*openFile)(const char* name, int flags, mode_t mode);
    int (*closeFile)(int file);
    ssize_t (*readAt)(int file, void* buffer, size_t count, off_t offset);
    ssize_t (*writeAt)(int file, const void* buffer, size_t count, off_t offset);
    int (*takeRoom)(int file, off_t from, off_t count);  // answers the error
    int (*resize)(int file, off_t size);
    int (*sync)(int file);
    int (*lookInto)(int file, struct stat* about);
    int (*setOwner)(int file, uid_t owner, gid_t group);
    int (*setMode)(int file, mode_t mode);
    // Of names.
    int (*makeTemporary)(char* pattern);
    int (*lookAt)(const char* name, struct stat* about);
    int (*rename)(const char* from, const char* to);
    int (*remove)(const char* name);
    // Of memory.
    void* (*allocate)(size_t count, size_t size);  // zero-filled
    void* (*reallocate)(void* block, size_t size);
    void (*release)(void* block);
};

extern SystemCalls systemCalls;

}  // namespace tolva

#endif
