// profile.cpp: finding and opening profile files: as they are named, and in the folder that the environment names. The
// profile code stands on stream/, against the order of the folders: a declared seam, because profiles are read and
// rewritten through the same streams as everything else.

#include "host/profile.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

#include <tolva/stream.h>
#include "host/handle.h"
#include "host/system_calls.h"

using namespace tolva;

namespace {

constexpr char kFolderVariable[] = "INIDIR";
constexpr char kSuffix[] = ".ini";

const char* profileFolder() {
    const char* const folder = std::getenv(kFolderVariable);
    return folder != nullptr && folder[0] != '\0' ? folder : nullptr;
}

Handle openRegular(const char* path, int32_t mode) { return mayBeProfile(path) ? zunOpen(path, nullptr, mode) : 0; }

bool mayRead(const char* path) {
    struct stat about;
    return systemCalls.lookAt(path, &about) == 0 && S_ISREG(about.st_mode) && access(path, R_OK) == 0;
}

bool fits(const char* path) { return std::strlen(path) < kTolvaProfilePathBytes; }

// The path, when a profile can be read there; else null, and the path is freed.
char* readable(char* path) {
    const Handle stream = fits(path) ? openRegular(path, kTolvaReadFile) : 0;
    if (stream == 0) {
        zunPtrGlobalFree(path);
        return nullptr;
    }
    zunClose(stream);
    return path;
}

// The module's base name with the suffix; false where that does not fit.
bool nameAfter(char* name, const char* module) {
    char* const base = copyText(module);
    const size_t length = std::strlen(s_getname(base, module));
    const bool fitting = length + sizeof kSuffix <= kTolvaProfilePathBytes;
    if (fitting) {
        std::memcpy(name, base, length);
        std::memcpy(name + length, kSuffix, sizeof kSuffix);
    }
    zunPtrGlobalFree(base);
    return fitting;
}

}  // namespace

namespace tolva {

// A folder can be opened, but it is no profile; a pipe or a device may have no end. The names of the standard streams
// stand for no file, and closing those would take them from the host.
bool mayBeProfile(const char* path) {
    struct stat about;
    if (std::strcmp(path, "stdin") == 0 || std::strcmp(path, "stdout") == 0) return false;
    return systemCalls.lookAt(path, &about) != 0 || S_ISREG(about.st_mode);
}

char* copyText(const char* text) {
    const size_t bytes = std::strlen(text) + 1;
    return static_cast<char*>(std::memcpy(zunPtrGlobalAlloc(static_cast<uint32_t>(bytes)), text, bytes));
}

char* joinPath(const char* folder, const char* name) {
    const size_t length = std::strlen(folder);
    const size_t slash = length != 0 && folder[length - 1] == '/' ? 0 : 1;
    const size_t nameBytes = std::strlen(name) + 1;
    char* const path = static_cast<char*>(zunPtrGlobalAlloc(static_cast<uint32_t>(length + slash + nameBytes)));
    std::memcpy(path, folder, length);
    if (slash != 0) path[length] = '/';
    std::memcpy(path + length + slash, name, nameBytes);
    return path;
}

Handle openProfile(const char* name, int32_t mode, char** path) {
    *path = nullptr;
    if (name == nullptr) return 0;
    char* tried = copyText(name);
    Handle stream = openRegular(tried, mode);
    const char* const folder = profileFolder();
    if (stream == 0 && folder != nullptr) {
        zunPtrGlobalFree(tried);
        tried = joinPath(folder, name);
        stream = openRegular(tried, mode);
    }
    if (stream != 0) *path = tried;
    if (stream == 0) zunPtrGlobalFree(tried);
    return stream;
}

bool mayReadProfile(const char* name) {
    const char* const folder = profileFolder();
    if (folder == nullptr) return mayRead(name);
    char* const path = joinPath(folder, name);
    const bool may = mayRead(name) || mayRead(path);
    zunPtrGlobalFree(path);
    return may;
}

}  // namespace tolva

Handle INIopen(char* name, int32_t size, int32_t mode) {
    char* path = nullptr;
    const Handle stream = openProfile(name, mode, &path);
    if (stream == 0) return 0;
    // Kept: a path that fills the buffer stands there without a terminator; hosts know its size and read no further.
    if (size > 0 && std::strcmp(path, name) != 0) {
        std::memcpy(name, path, std::min(std::strlen(path) + 1, static_cast<size_t>(size)));
    }
    zunPtrGlobalFree(path);
    return stream;
}

int32_t INIclose(Handle stream) { return stream == 0 ? 0 : zunClose(stream); }

// Kept: the folder comes first here, the name as given in INIopen; hosts know both orders.
int32_t GetProfileDirectory(char* name, const char* module) {
    if (name == nullptr) return 1;
    if (name[0] == '\0' && module != nullptr && !nameAfter(name, module)) return 1;
    const char* const folder = profileFolder();
    char* path = folder != nullptr && fits(folder) ? readable(joinPath(folder, name)) : nullptr;
    if (path == nullptr) path = readable(copyText(name));
    if (path == nullptr) return 1;
    std::memcpy(name, path, std::strlen(path) + 1);
    zunPtrGlobalFree(path);
    return 0;
}
