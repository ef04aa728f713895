// bands.cpp: the way of pictures that the host draws band by band. Each band is compressed as it comes, so that no
// more of the picture than one band need ever be there; only an interlaced one goes through the writer's spool.

#include "output/bands.h"

#include <algorithm>

#include <tolva/driver.h>
#include <tolva/raster.h>
#include <tolva/stream.h>
#include "host/numbers.h"
#include "output/band_writer.h"
#include "output/gif_writer.h"
#include "settings/current.h"
#include "settings/one_call.h"

using namespace tolva;

namespace {

constexpr int32_t kColours = 1 << kTolvaOutputDepth;
constexpr int64_t kWholeProgress = 100;

struct Size {
    int32_t width;
    int32_t height;
    int16_t value;  // of the host's query, for the writer
};

// False where no GIF has that size.
bool askSize(void* hostContext, TolvaOffscreenCallback callback, Size& size) {
    const Handle h = GlobalAlloc(kTolvaMoveableZeroed, sizeof(TolvaOffscreenQuery));
    TolvaOffscreenQuery& query = *static_cast<TolvaOffscreenQuery*>(GlobalLock(h));
    QueryPlatformOffscreen(&query, hostContext, callback);
    int16_t depth = 0;
    QueryCellFormat(&query.width, &query.height, &depth, &query.resolution, nullptr, nullptr);
    const uint32_t width = truncated<uint32_t>(query.width);
    const uint32_t height = truncated<uint32_t>(query.height);
    size.value = query.value;
    GlobalFree(h);
    if (width < 1 || width > kTolvaLargestExtent || height < 1 || height >= kTolvaLargestExtent) return false;
    size.width = static_cast<int32_t>(width);
    size.height = static_cast<int32_t>(height + height % 2);
    return true;
}

struct Bands {
    TolvaOffscreenRecord* record;
    Size size;
    int32_t rows;  // of each band but perhaps the last
};

int32_t writeBand(const Bands& bands, Handle stream, Handle state, int64_t k) {
    const int64_t height = bands.size.height;
    const int32_t lower = static_cast<int32_t>(std::max<int64_t>(height - (k + 1) * bands.rows, 0));
    const int32_t upper = static_cast<int32_t>(height - k * bands.rows);
    const Handle band = DrawPlatformOffscreen(bands.record, lower, upper);
    return writeReadOnlyBand(stream, band, bands.size.width, upper - lower, state);
}

int32_t writeBands(const Bands& bands, Handle stream, Handle state) {
    const int64_t count = (int64_t{bands.size.height} + bands.rows - 1) / bands.rows;
    int32_t result = kTolvaNoError;
    for (int64_t k = 0; k < count && result == kTolvaNoError; ++k) {
        result = writeBand(bands, stream, state, k);
        if (result == kTolvaNoError) result = UpdateStatus(static_cast<int32_t>((k + 1) * kWholeProgress / count));
    }
    return result;
}

// What ends early leaves the file as far as it got, without its trailer.
int32_t writePicture(const Bands& bands, Handle stream) {
    Handle state = 0;
    BeginCellBitmap(stream, bands.size.width, bands.size.height, kTolvaOutputDepth, bands.record->palette, &state);
    const int32_t result = writeBands(bands, stream, state);
    if (result != kTolvaNoError) {
        abandonCellBitmap(state);
        return result;
    }
    EndCellBitmap(stream, state);
    return kTolvaNoError;
}

}  // namespace

namespace tolva {

int32_t drawBands(Handle stream, void* hostContext, TolvaOffscreenCallback callback) {
    Bands bands = {};
    if (callback == nullptr || !askSize(hostContext, callback, bands.size)) return kTolvaNoPicture;
    uint8_t* const palette = static_cast<uint8_t*>(zunPtrGlobalAlloc(kColours * kTolvaTripleBytes));
    bands.rows = bands.size.height;
    bands.record = InitPlatformOffscreen(bands.size.width, &bands.rows, kTolvaOutputDepth, kColours, palette,
                                         hostContext, callback, 0);
    const int32_t result = bands.rows > 0 ? writePicture(bands, stream) : int32_t{kTolvaNoPicture};
    // A callback that put another table in its place has freed ours, and finds its own in the record when it is told
    // the end.
    if (bands.record->palette == palette) {
        zunPtrGlobalFree(palette);
        bands.record->palette = nullptr;
    }
    TermPlatformOffscreen(bands.record);
    return result;
}

}  // namespace tolva

int32_t OutputPicture(Handle stream, void* hostContext, TolvaOffscreenCallback callback) {
    return asOneCall(kTolvaExportFailed, [=] { return drawBands(stream, hostContext, callback); });
}
