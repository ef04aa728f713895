// failing_open.cpp: preloaded into the program: of all openings of files the one that FAILING_OPEN counts to fails.

#include <dlfcn.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

static int left = std::atoi(std::getenv("FAILING_OPEN"));

template <class Result, class... Words>
static Result unlessItsTurn(const char* name, Result failed, Words... words) {
    errno = EIO;
    return --left == 0 ? failed : reinterpret_cast<Result (*)(Words...)>(dlsym(RTLD_NEXT, name))(words...);
}

extern "C" FILE* fopen64(const char* path, const char* mode) {
    return unlessItsTurn<FILE*>("fopen64", nullptr, path, mode);
}
extern "C" int open64(const char* path, int flags, unsigned mode) {
    return unlessItsTurn("open64", -1, path, flags, mode);
}
