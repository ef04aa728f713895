// library.h: the loaded library: where it is found and the entries the session calls. Nothing of it is linked.
#ifndef TOLVA_CLI_LIBRARY_LIBRARY_H
#define TOLVA_CLI_LIBRARY_LIBRARY_H

#include <cstdint>
#include <string>

#include <tolva/driver.h>
#include <tolva/host.h>
#include <tolva/output.h>
#include <tolva/raster.h>
#include <tolva/settings.h>
#include "cli/terminal/messages.h"

namespace cli {

struct Library {
    std::string path;
    void* module;
    uint32_t version;
    decltype(&CreateSetup) createSetup;
    decltype(&DestroySetup) destroySetup;
    decltype(&UseDefaultSettings) useDefaultSettings;
    decltype(&QueryCellFormat) queryCellFormat;
    decltype(&GlobalLock) globalLock;
    decltype(&GlobalUnlock) globalUnlock;
    decltype(&ExportCellData) exportCellData;
    decltype(&RASTER_dd_entry32) callDriver;
};

// What only the setup and info commands need, and the planning of one road.
struct ProfileCalls {
    decltype(&GetPrivateProfileString) readString;
    decltype(&WritePrivateProfileString) writeString;
};
struct GeometryCalls {
    decltype(&GetRasterInfo) getRasterInfo;
    decltype(&GetDisplayInfo) getDisplayInfo;
    decltype(&SetDisplayInfo) setDisplayInfo;
};

// What only some exports need.
struct RasterCalls {
    decltype(&GlobalPointerToHandle) pointerToHandle;
    decltype(&GlobalFree) globalFree;
    decltype(&rlShrinkBitmap) shrinkBitmap;
    decltype(&rlReduceColorTable) reduceColorTable;
    decltype(&rlConvertBitmapDepth) convertBitmapDepth;
    decltype(&rlDitherBitmap) ditherBitmap;
    decltype(&rev_rgb) convertTone;
};

// Loads the library at `wanted`; where that is null, the one beside this program, in ../lib, or the system's. Tells it
// its own path, after which the default profile is named.
ExitStatus loadLibrary(Library& library, const char* wanted, const char* programWord);
// Why the library cannot make its temporary files: an errno, or 0 where it can.
int temporaryFileError();
ExitStatus loadProfileCalls(const Library& library, ProfileCalls& calls);
ExitStatus loadGeometryCalls(const Library& library, GeometryCalls& calls);
ExitStatus loadRasterCalls(const Library& library, RasterCalls& calls);

}  // namespace cli

#endif
