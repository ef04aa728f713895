// library.cpp: finds and loads the library and collects its entries: from the table it hands out, and by name what the
// table does not list. Loaded once, to the end of the process.

#include "cli/library/library.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
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
        for (const char* const below : {"", TOLVA_LIBRARY_FOLDER "/", "../lib/"}) {
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

void* targetOf(const TolvaNameTableRecord& table, const char* name) {
    for (uint16_t i = 0; i < table.count.rows; ++i) {
        if (std::strcmp(table.table[i].name, name) == 0) return table.table[i].target;
    }
    return nullptr;
}

struct EntryRow {
    const char* name;
    EntryGroup group;
    size_t place;  // in Entries
};

constexpr EntryRow kEntryTable[] = {
#define TOLVA_CLI_ROW(group, name) {#name, EntryGroup::group, offsetof(Entries, name)},
    TOLVA_CLI_ENTRIES(TOLVA_CLI_ROW)
#undef TOLVA_CLI_ROW
};

void putEntry(Entries& calls, const EntryRow& row, void* target) {
    std::memcpy(reinterpret_cast<uint8_t*>(&calls) + row.place, &target, sizeof target);
}

bool hasEntry(const Entries& calls, const EntryRow& row) {
    void* target = nullptr;
    std::memcpy(&target, reinterpret_cast<const uint8_t*>(&calls) + row.place, sizeof target);
    return target != nullptr;
}

// A path that does not fit counts by its file's name, which is all that names the profile.
void storeModulePath(const std::string& path, char* place) {
    const std::string name = path.size() < kTolvaModuleNameBytes ? path : path.substr(path.rfind('/') + 1);
    const size_t length = std::min<size_t>(name.size(), kTolvaModuleNameBytes - 1);
    std::memcpy(place, name.data(), length);
    place[length] = '\0';
}

// False where one is missing that every command needs.
bool takeEntries(Library& library) {
    const auto listEntries = reinterpret_cast<decltype(&fltLoadPointers)>(dlsym(library.module, "fltLoadPointers"));
    if (listEntries == nullptr) return false;
    TolvaNameTableRecord table = {};
    listEntries(&table);
    for (const EntryRow& row : kEntryTable) {
        const bool listed = row.group == EntryGroup::kListed;
        putEntry(library.calls, row, listed ? targetOf(table, row.name) : dlsym(library.module, row.name));
        if ((listed || row.group == EntryGroup::kNamed) && !hasEntry(library.calls, row)) return false;
    }
    return true;
}

ExitStatus collectEntries(Library& library) {
    if (!takeEntries(library)) {
        return fail(kExitExportFailed, "%s: lacks an entry that is needed", library.path.c_str());
    }
    library.calls.RASTER_dd_entry(kTolvaFuncVersion, &library.version, nullptr);
    if (library.version >> kMajorShift != uint32_t{kTolvaFilterVersion} >> kMajorShift) {
        return fail(kExitExportFailed, "%s: is of version 0x%08x, which this tolva does not know", library.path.c_str(),
                    library.version);
    }
    storeModulePath(library.path, *library.calls.szDLLName);
    library.calls.RASTER_dd_entry(kTolvaFuncEntry32, &library.callDriver, nullptr);
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

bool hasEntries(const Library& library, EntryGroup group) {
    return std::all_of(std::begin(kEntryTable), std::end(kEntryTable),
                       [&](const EntryRow& row) { return row.group != group || hasEntry(library.calls, row); });
}

ExitStatus needEntries(const Library& library, EntryGroup group) {
    for (const EntryRow& row : kEntryTable) {
        if (row.group != group || hasEntry(library.calls, row)) continue;
        return fail(kExitExportFailed, "%s: lacks %s, which is needed here", library.path.c_str(), row.name);
    }
    return kExitDone;
}

}  // namespace cli
