// library.cpp: finds and loads the library and collects its entries: from the table it hands out, and by name what the
// table does not list. Loaded by main, once, to the end of the process; the raster calls are looked up by those who
// need them, so that the start of a plain export does not pay for them.

#include "cli/library/library.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include <dlfcn.h>
#include <unistd.h>

namespace cli {
namespace {

constexpr char kLibraryName[] = TOLVA_SONAME;
constexpr size_t kLongestLink = 4096;
constexpr uint32_t kMajorShift = 24;

std::string folderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

std::string programPath() {
    char path[kLongestLink];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    return length < 0 ? std::string() : std::string(path, static_cast<size_t>(length));
}

// Run through a loader or an emulator, the process's executable is that one, so the program's own word counts too.
std::string findLibrary(const char* programWord) {
    for (const std::string& folder : {folderOf(programPath()), folderOf(programWord)}) {
        if (folder.empty()) continue;
        for (const char* const below : {"", "../lib/"}) {
            std::string path = folder + below + kLibraryName;
            if (access(path.c_str(), F_OK) == 0) return path;
        }
    }
    return kLibraryName;
}

// A name without a slash would be searched for by the loader; the user names a file.
std::string asPath(const char* wanted) {
    return std::strchr(wanted, '/') == nullptr ? std::string("./") + wanted : std::string(wanted);
}

const TolvaNameRow* findRow(const TolvaNameTableRecord& table, const char* name) {
    for (uint16_t i = 0; i < table.count.rows; ++i) {
        if (std::strcmp(table.table[i].name, name) == 0) return &table.table[i];
    }
    return nullptr;
}

template <class Function>
bool take(Function& function, void* target) {
    function = reinterpret_cast<Function>(target);
    return target != nullptr;
}

template <class Function>
bool takeRow(Function& function, const TolvaNameTableRecord& table, const char* name) {
    const TolvaNameRow* const row = findRow(table, name);
    return row != nullptr && take(function, row->target);
}

// A path that does not fit counts by its file's name, which is all that names the profile.
void storeModulePath(const std::string& path, char* place) {
    const std::string name = path.size() < kTolvaModuleNameBytes ? path : path.substr(path.rfind('/') + 1);
    const size_t length = std::min<size_t>(name.size(), kTolvaModuleNameBytes - 1);
    std::memcpy(place, name.data(), length);
    place[length] = '\0';
}

// False, and said, where the library has none of that name.
template <class Function>
bool takeNamed(const Library& library, Function& function, const char* name) {
    if (take(function, dlsym(library.module, name))) return true;
    return fail(kExitExportFailed, "%s: lacks %s, which is needed here", library.path.c_str(), name) == kExitDone;
}

ExitStatus collectEntries(Library& library) {
    void* const module = library.module;
    decltype(&fltLoadPointers) loadPointers = nullptr;
    decltype(&RASTER_dd_entry) entry = nullptr;
    char* modulePath = nullptr;
    TolvaNameTableRecord table = {};
    bool whole = take(loadPointers, dlsym(module, "fltLoadPointers"));
    if (whole) {
        loadPointers(&table);
        whole = takeRow(library.createSetup, table, "CreateSetup") &&
                takeRow(library.destroySetup, table, "DestroySetup") && takeRow(entry, table, "RASTER_dd_entry") &&
                takeRow(library.exportCellData, table, "ExportCellData") && takeRow(modulePath, table, "szDLLName") &&
                take(library.useDefaultSettings, dlsym(module, "UseDefaultSettings")) &&
                take(library.queryCellFormat, dlsym(module, "QueryCellFormat")) &&
                take(library.globalLock, dlsym(module, "GlobalLock")) &&
                take(library.globalUnlock, dlsym(module, "GlobalUnlock"));
    }
    if (!whole) return fail(kExitExportFailed, "%s: lacks an entry that is needed", library.path.c_str());
    entry(kTolvaFuncVersion, &library.version, nullptr);
    if (library.version >> kMajorShift != uint32_t{kTolvaFilterVersion} >> kMajorShift) {
        return fail(kExitExportFailed, "%s: is of version 0x%08x, which this tolva does not know", library.path.c_str(),
                    library.version);
    }
    storeModulePath(library.path, modulePath);
    entry(kTolvaFuncEntry32, &library.callDriver, nullptr);
    return kExitDone;
}

}  // namespace

ExitStatus loadLibrary(Library& library, const char* wanted, const char* programWord) {
    library = Library{};
    library.path = wanted != nullptr ? asPath(wanted) : findLibrary(programWord);
    library.module = dlopen(library.path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library.module == nullptr) return fail(kExitExportFailed, "the library cannot be loaded: %s", dlerror());
    return collectEntries(library);
}

// It tells no more than that it failed, so the same is tried here.
int temporaryFileError() {
    char path[] = "/tmp/tolvaXXXXXX";
    const int file = mkstemp(path);
    if (file < 0) return errno;
    close(file);
    unlink(path);
    return 0;
}

ExitStatus loadProfileCalls(const Library& library, ProfileCalls& calls) {
    const bool whole = takeNamed(library, calls.readString, "GetPrivateProfileString") &&
                       takeNamed(library, calls.writeString, "WritePrivateProfileString");
    return whole ? kExitDone : kExitExportFailed;
}

ExitStatus loadGeometryCalls(const Library& library, GeometryCalls& calls) {
    const bool whole = takeNamed(library, calls.getRasterInfo, "GetRasterInfo") &&
                       takeNamed(library, calls.getDisplayInfo, "GetDisplayInfo") &&
                       takeNamed(library, calls.setDisplayInfo, "SetDisplayInfo");
    return whole ? kExitDone : kExitExportFailed;
}

ExitStatus loadRasterCalls(const Library& library, RasterCalls& calls) {
    const bool whole = takeNamed(library, calls.pointerToHandle, "GlobalPointerToHandle") &&
                       takeNamed(library, calls.globalFree, "GlobalFree") &&
                       takeNamed(library, calls.shrinkBitmap, "rlShrinkBitmap") &&
                       takeNamed(library, calls.reduceColorTable, "rlReduceColorTable") &&
                       takeNamed(library, calls.convertBitmapDepth, "rlConvertBitmapDepth") &&
                       takeNamed(library, calls.ditherBitmap, "rlDitherBitmap") &&
                       takeNamed(library, calls.convertTone, "rev_rgb");
    return whole ? kExitDone : kExitExportFailed;
}

}  // namespace cli
