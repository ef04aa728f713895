// system_calls.h: the one table through which the program reaches files that it makes, changes or looks through, so
// that a test can make the n-th call fail. Used by output/ and settings/; pictures are read in imageio/.
#ifndef TOLVA_CLI_OUTPUT_SYSTEM_CALLS_H
#define TOLVA_CLI_OUTPUT_SYSTEM_CALLS_H

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdio>

namespace cli {

struct SystemCalls {
    // Of names, which stand in a folder, or AT_FDCWD.
    int (*open)(int folder, const char* name, int flags, mode_t mode);
    int (*makeTemporary)(char* pattern);
    int (*lookAt)(int folder, const char* name, struct stat* about, int flags);
    ssize_t (*readLink)(int folder, const char* name, char* text, size_t room);
    int (*rename)(int folder, const char* from, const char* to);
    int (*renameToNew)(int folder, const char* from, const char* to);  // EEXIST where there is one
    int (*remove)(int folder, const char* name);
    // Of descriptors.
    int (*close)(int file);
    int (*duplicate)(int file);
    int (*enter)(int folder);
    int (*lock)(int file, int operation);
    int (*lookInto)(int file, struct stat* about);
    ssize_t (*read)(int file, void* bytes, size_t count);
    ssize_t (*readAt)(int file, void* bytes, size_t count, off_t position);
    ssize_t (*write)(int file, const void* bytes, size_t count);
    off_t (*seek)(int file, off_t offset, int origin);
    int (*takeRoom)(int file, off_t from, off_t count);  // answers the error
    int (*resize)(int file, off_t size);
    int (*setOwner)(int file, uid_t owner, gid_t group);
    int (*setMode)(int file, mode_t mode);
    // Of the C runtime's streams.
    FILE* (*openStream)(int file, const char* mode);
    int (*closeStream)(FILE* stream);
    size_t (*readStream)(void* bytes, size_t count, FILE* stream);
    size_t (*writeStream)(const void* bytes, size_t count, FILE* stream);
    int (*seekStream)(FILE* stream, off_t offset, int origin);
    // Between two looks at what somebody else has locked.
    int (*sleep)(useconds_t time);
};

extern SystemCalls systemCalls;

}  // namespace cli

#endif
