// profile.cpp: finding profile files. Settings are looked for in the folder that the environment names, then where the
// name itself points. Stands on stream/, against the order of the folders: files are opened as everything else is.

#include <cstdlib>
#include <cstring>

#include <sys/stat.h>

#include "host/host.h"
#include "stream/stream.h"

namespace {

constexpr char kFolderVariable[] = "INIDIR";
constexpr char kSuffix[] = ".ini";
constexpr size_t kLongestModulePath = 4096;

// `folder` + "/" (unless it ends in one) + `name`; false where that does not fit a profile's path.
bool joinPath(char* path, const char* folder, const char* name) {
    const size_t folderLength = std::strlen(folder);
    const size_t slash = folder[folderLength - 1] == '/' ? 0 : 1;
    const size_t nameBytes = std::strlen(name) + 1;
    if (folderLength + slash + nameBytes > kProfilePathBytes) return false;
    std::memcpy(path, folder, folderLength);
    if (slash != 0) path[folderLength] = '/';
    std::memcpy(path + folderLength + slash, name, nameBytes);
    return true;
}

// The module's base name with the suffix; false where that does not fit.
bool nameAfter(char* name, const char* module) {
    char base[kLongestModulePath];
    if (std::strlen(module) >= sizeof base) return false;
    const size_t length = std::strlen(s_getname(base, module));
    if (length + sizeof kSuffix > kProfilePathBytes) return false;
    std::memcpy(name, base, length);
    std::memcpy(name + length, kSuffix, sizeof kSuffix);
    return true;
}

// A folder can be opened, but it is no profile.
bool opens(const char* path) {
    struct stat about;
    if (stat(path, &about) == 0 && S_ISDIR(about.st_mode)) return false;
    const Handle stream = zunOpen(path, nullptr, kReadFile);
    if (stream == 0) return false;
    zunClose(stream);
    return true;
}

}  // namespace

int32_t GetProfileDirectory(char* name, const char* module) {
    if (name == nullptr) return 1;
    if (name[0] == '\0' && module != nullptr) {
        if (!nameAfter(name, module)) return 1;
    }
    char path[kProfilePathBytes];
    const char* const folder = std::getenv(kFolderVariable);
    const bool hasFolder = folder != nullptr && folder[0] != '\0' && std::strlen(folder) < kProfilePathBytes;
    if (hasFolder && joinPath(path, folder, name) && opens(path)) {
        std::memcpy(name, path, std::strlen(path) + 1);
        return 0;
    }
    return opens(name) ? 0 : 1;
}
