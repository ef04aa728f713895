// failing_open.cpp: preloaded into the program: of all openings, lockings and looks at files the one that FAILING_OPEN
// counts to fails; when the GIF's temporary file has been made the signal SIGNAL_WITHIN comes, and when it is closed
// SIGNAL_AT_CLOSE; nobody sleeps.

#include <dlfcn.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

static int numberIn(const char* name) {
    const char* const text = std::getenv(name);
    return text == nullptr ? 0 : std::atoi(text);
}
static int left = numberIn("FAILING_OPEN");

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
extern "C" int flock(int file, int operation) { return unlessItsTurn("flock", -1, file, operation); }
extern "C" int fstat64(int file, void* about) { return unlessItsTurn("fstat64", -1, file, about); }
extern "C" int stat64(const char* path, void* about) { return unlessItsTurn("stat64", -1, path, about); }
extern "C" int usleep(unsigned) { return 0; }
extern "C" int fclose(FILE* file) {
    if (const int signal = numberIn("SIGNAL_AT_CLOSE")) raise(signal);
    return reinterpret_cast<int (*)(FILE*)>(dlsym(RTLD_NEXT, "fclose"))(file);
}
extern "C" FILE* fdopen(int file, const char* mode) {
    if (const int signal = numberIn("SIGNAL_WITHIN")) raise(signal);
    return reinterpret_cast<FILE* (*)(int, const char*)>(dlsym(RTLD_NEXT, "fdopen"))(file, mode);
}
