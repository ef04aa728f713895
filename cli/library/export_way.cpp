// export_way.cpp: the records that ExportCellData takes, and the call. Called by the session, with the settings
// filled.

#include "cli/library/export_way.h"

#include "cli/library/driver_errors.h"
#include "cli/library/output_size.h"
#include "cli/terminal/stop.h"

namespace cli {
namespace {

constexpr char kStep[] = "ExportCellData";

TolvaPictureDescriptor describe(const Picture& picture, TolvaHandle bitmap, TolvaHandle palette) {
    TolvaPictureDescriptor cells = {};
    cells.depth = static_cast<int16_t>(picture.bitsPerPixel);
    cells.width = static_cast<uint16_t>(picture.width);
    cells.height = static_cast<uint16_t>(picture.height);
    cells.resolution = kPictureResolution;
    cells.fullWidth = picture.width;
    cells.fullHeight = picture.height;
    cells.bitmap = bitmap;
    cells.palette = palette;
    return cells;
}

}  // namespace

ExitStatus exportWhole(const Library& library, const ExportOrder& order, TolvaStatusRecord& status) {
    if (const ExitStatus failed = needEntries(library, EntryGroup::kRaster)) return failed;
    const Picture& picture = *order.picture;
    const uint64_t bytes = uint64_t{picture.stride} * picture.height;
    if (bytes > UINT32_MAX) return reportDriver(kStep, kTolvaExportFailed);
    if (stopRequested()) return kExitStopped;

    const auto describeBytes = [&](const void* from, uint64_t count) {
        return library.calls.GlobalPointerToHandle(const_cast<void*>(from), static_cast<uint32_t>(count));
    };
    const Block bitmap(library, describeBytes(picture.pixels, bytes));
    const bool indexed = picture.bitsPerPixel == kIndexBits;
    const Block palette(library, indexed ? describeBytes(picture.palette, sizeof picture.palette) : 0);
    TolvaPictureDescriptor cells = describe(picture, bitmap.handle, palette.handle);
    TolvaPictureDescriptor information = cells;
    uintptr_t arguments[kTolvaExportArguments] = {};
    arguments[kTolvaArgumentSetup] = order.setup;
    arguments[kTolvaArgumentStatus] = reinterpret_cast<uintptr_t>(&status);
    const int32_t code = library.calls.ExportCellData(order.fileName, &information, &cells, arguments);
    return stopRequested() ? kExitStopped : reportDriver(kStep, code);
}

}  // namespace cli
