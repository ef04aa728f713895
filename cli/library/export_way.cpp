// export_way.cpp: the records that ExportCellData takes, and the call. Called by the session, with the settings
// filled.

#include "cli/library/export_way.h"

#include "cli/library/driver_errors.h"
#include "cli/library/output_size.h"
#include "cli/terminal/progress.h"

namespace cli {
namespace {

constexpr char kStep[] = "ExportCellData";

// The bitmap and the palette are the picture's own bytes; freeing their handles leaves them.
TolvaPictureDescriptor describe(const RasterCalls& calls, const Picture& picture, uint32_t bytes) {
    TolvaPictureDescriptor cells = {};
    cells.depth = static_cast<int16_t>(picture.bitsPerPixel);
    cells.width = static_cast<uint16_t>(picture.width);
    cells.height = static_cast<uint16_t>(picture.height);
    cells.resolution = kPictureResolution;
    cells.fullWidth = picture.width;
    cells.fullHeight = picture.height;
    cells.bitmap = calls.pointerToHandle(picture.pixels, bytes);
    if (picture.bitsPerPixel == kIndexBits) {
        cells.palette = calls.pointerToHandle(const_cast<Colour*>(picture.palette), sizeof picture.palette);
    }
    return cells;
}

}  // namespace

ExitStatus exportWhole(const Library& library, const ExportOrder& order, TolvaStatusRecord& status) {
    RasterCalls calls = {};
    const ExitStatus loaded = loadRasterCalls(library, calls);
    if (loaded != kExitDone) return loaded;
    const uint64_t bytes = uint64_t{order.picture->stride} * order.picture->height;
    if (bytes > UINT32_MAX) return reportDriver(kStep, kTolvaExportFailed);
    if (stopWished()) return kExitStopped;

    TolvaPictureDescriptor cells = describe(calls, *order.picture, static_cast<uint32_t>(bytes));
    TolvaPictureDescriptor information = cells;
    uintptr_t arguments[kTolvaExportArguments] = {};
    arguments[kTolvaArgumentSetup] = order.setup;
    arguments[kTolvaArgumentStatus] = reinterpret_cast<uintptr_t>(&status);
    const int32_t code = library.exportCellData(order.fileName, &information, &cells, arguments);
    calls.globalFree(cells.palette);
    calls.globalFree(cells.bitmap);
    return stopWished() ? kExitStopped : reportDriver(kStep, code);
}

}  // namespace cli
