// library.h: the loaded library: where it is found and what is called in it. Nothing of it is linked.
#ifndef TOLVA_CLI_LIBRARY_LIBRARY_H
#define TOLVA_CLI_LIBRARY_LIBRARY_H

#include <cstdint>
#include <string>

#include <tolva/driver.h>
#include <tolva/host.h>
#include <tolva/output.h>
#include <tolva/quantize.h>
#include <tolva/raster.h>
#include <tolva/settings.h>
#include "cli/terminal/messages.h"

extern "C" char szDLLName[kTolvaModuleNameBytes];  // not in the headers; like the others for its type alone

namespace cli {

// Every entry that is looked up in the library: where it is found or who needs it, and its name.
// clang-format off
#define TOLVA_CLI_ENTRIES(ENTRY)                  \
    ENTRY(kListed,   CreateSetup)                 \
    ENTRY(kListed,   DestroySetup)                \
    ENTRY(kListed,   RASTER_dd_entry)             \
    ENTRY(kListed,   ExportCellData)              \
    ENTRY(kListed,   szDLLName)                   \
    ENTRY(kNamed,    UseDefaultSettings)          \
    ENTRY(kNamed,    QueryCellFormat)             \
    ENTRY(kNamed,    GlobalLock)                  \
    ENTRY(kNamed,    GlobalUnlock)                \
    ENTRY(kProfiles, GetPrivateProfileString)     \
    ENTRY(kProfiles, WritePrivateProfileString)   \
    ENTRY(kGeometry, GetRasterInfo)               \
    ENTRY(kGeometry, GetDisplayInfo)              \
    ENTRY(kGeometry, SetDisplayInfo)              \
    ENTRY(kRaster,   GlobalPointerToHandle)       \
    ENTRY(kRaster,   GlobalFree)                  \
    ENTRY(kRaster,   rlShrinkBitmap)              \
    ENTRY(kRaster,   rlReduceColorTable)          \
    ENTRY(kRaster,   rlConvertBitmapDepth)        \
    ENTRY(kRaster,   rlDitherBitmap)              \
    ENTRY(kRaster,   rev_rgb)                     \
    ENTRY(kQuantize, tolvaQuantizeBegin)          \
    ENTRY(kQuantize, tolvaQuantizeCount)          \
    ENTRY(kQuantize, tolvaQuantizePalette)        \
    ENTRY(kQuantize, tolvaQuantizeMap)            \
    ENTRY(kQuantize, tolvaQuantizeEnd)
// clang-format on

enum class EntryGroup {
    kListed,  // in the table that the library hands out
    kNamed,   // not in it, and needed like them by every command
    kProfiles,
    kGeometry,
    kRaster,
    kQuantize
};

struct Entries {
#define TOLVA_CLI_FIELD(group, name) decltype(&::name) name;
    TOLVA_CLI_ENTRIES(TOLVA_CLI_FIELD)
#undef TOLVA_CLI_FIELD
};

struct Library {
    std::string path;
    void* module;
    uint32_t version;
    Entries calls;
    decltype(&RASTER_dd_entry32) callDriver;
};

// A handle of the library's while it is needed. What only describes bytes leaves them where they are.
struct Block {
    const Library& library;
    TolvaHandle handle;

    Block(const Library& owner, TolvaHandle taken) : library(owner), handle(taken) {}
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    ~Block() { library.calls.GlobalFree(handle); }
};

// Loads the library at `wanted`; where that is null, the one beside this program, in ../lib, or the system's. Tells it
// its own path, after which the default profile is named.
ExitStatus loadLibrary(Library& library, const char* wanted, const char* programWord);
// Why the library cannot make its temporary files: an errno, or 0 where it can.
int temporaryFileError();
bool hasEntries(const Library& library, EntryGroup group);
// Says which is missing of the entries that only some commands need.
ExitStatus needEntries(const Library& library, EntryGroup group);

}  // namespace cli

#endif
