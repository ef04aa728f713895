// export_cells.cpp: pictures that are handed over whole: ExportCellData, which opens and closes a stream of its own,
// and the callback through which OutputPicture gets them, brought to the depth and size of the output as one band.
// Also the closing primitive of a bracketed picture draws through that callback.

#include <algorithm>
#include <cstring>

#include <tolva/driver.h>
#include <tolva/stream.h>
#include "host/numbers.h"
#include "output/bands.h"
#include "output/output_stream.h"
#include "output/query.h"
#include "raster/rows.h"
#include "settings/export_remains.h"
#include "settings/one_call.h"

using namespace tolva;

static_assert(offsetof(TolvaPictureDescriptor, fullWidth) == 8 && offsetof(TolvaPictureDescriptor, palette) == 24);
static_assert(sizeof(TolvaPictureDescriptor) == 24 + 2 * sizeof(Handle));

namespace {

constexpr int16_t kCellValue = 1;
constexpr int32_t kTermDone = 1;

// Behind the record, from init to terminate.
struct PrivateBlock {
    Handle band;     // the last one made here
    Handle palette;  // a copy of the record's colour table
};

struct Bitmap {
    Handle pixels;
    bool owned;
    int32_t width;
    int32_t height;
    int16_t depth;
};

TolvaPictureDescriptor pictureOf(const TolvaOffscreenRecord& record) {
    return record.hostContext == nullptr ? TolvaPictureDescriptor{} : load<TolvaPictureDescriptor>(record.hostContext);
}

PrivateBlock* privateBlockOf(const TolvaOffscreenRecord& record) {
    return static_cast<PrivateBlock*>(GlobalLock(record.privateBlock));
}

intptr_t answerQuery(const void* hostContext, TolvaOffscreenQuery* query) {
    if (hostContext == nullptr || query == nullptr) return 0;
    const TolvaPictureDescriptor picture = load<TolvaPictureDescriptor>(hostContext);
    answerSize(*query, picture.fullWidth, picture.fullHeight, picture.resolution, kCellValue);
    return 0;
}

// ---- The colour table ----

// `count` entries become the record's colour table and the private copy of it. What the source does not have is black.
void takeColours(TolvaOffscreenRecord& record, PrivateBlock& block, Handle source, int32_t count) {
    const uint32_t bytes = static_cast<uint32_t>(count) * kTolvaTripleBytes;
    if (count > record.colours) {
        record.palette = static_cast<uint8_t*>(zunPtrGlobalReAlloc(record.palette, bytes, kTolvaMoveableZeroed));
    }
    record.colours = static_cast<int16_t>(count);
    block.palette = GlobalAlloc(kTolvaMoveableZeroed, bytes);
    uint8_t* const copy = static_cast<uint8_t*>(GlobalLock(block.palette));
    std::memcpy(copy, GlobalLock(source), std::min(bytes, GlobalSize(source)));
    if (record.palette != nullptr) std::memcpy(record.palette, copy, bytes);
}

// Kept: the reduced table counts as full, its empty entries included, where the cell arrays' way has the count that was
// found. An empty entry is black and takes dark pixels; the files that hosts have from this way show it.
void reduceColours(TolvaOffscreenRecord& record, PrivateBlock& block, const TolvaPictureDescriptor& picture) {
    const int32_t count = 1 << record.depth;
    uint16_t found = static_cast<uint16_t>(count);
    Handle table = 0;
    if (picture.depth == kTrueColourDepth && record.depth >= kDeepestTable) {
        table = rlReduceColorTable(picture.bitmap, picture.width, picture.height, &found);
    } else {
        rlDitherGetCT(picture.bitmap, picture.width, picture.height, picture.depth, record.depth, picture.palette,
                      &table, &found);
    }
    if (table == 0) return;
    takeColours(record, block, table, count);
    rlFreeNewData(table);
}

intptr_t initCells(TolvaOffscreenRecord* record, const void* init) {
    if (record == nullptr || init == nullptr) return 0;
    record->privateBlock = GlobalAlloc(kTolvaMoveableZeroed, sizeof(PrivateBlock));
    PrivateBlock* const block = privateBlockOf(*record);
    const TolvaPictureDescriptor picture = pictureOf(*record);
    const bool hasTable = picture.palette != 0 && picture.depth >= 1 && picture.depth <= kDeepestTable;
    if (record->depth < picture.depth) {
        // Tables are for what can be an index; a deeper target is left without one.
        if (record->depth >= 1 && record->depth <= kDeepestTable) reduceColours(*record, *block, picture);
    } else if (hasTable && record->palette != nullptr && record->colours >= 1) {
        takeColours(*record, *block, picture.palette, 1 << picture.depth);
    }
    return loadField<intptr_t>(init, offsetof(TolvaOffscreenInit, bandRows));
}

// ---- The band ----

void replace(Bitmap& bitmap, Handle pixels) {
    if (bitmap.owned) GlobalFree(bitmap.pixels);
    bitmap.pixels = pixels;
    bitmap.owned = true;
}

using Scale = Handle (*)(Handle, int16_t, uint32_t, uint32_t, uint32_t, uint32_t);

void rescale(Bitmap& bitmap, Scale scale, int32_t width, int32_t height) {
    replace(bitmap,
            scale(bitmap.pixels, bitmap.depth, static_cast<uint32_t>(bitmap.width),
                  static_cast<uint32_t>(bitmap.height), static_cast<uint32_t>(width), static_cast<uint32_t>(height)));
    bitmap.width = width;
    bitmap.height = height;
}

void changeDepth(Bitmap& bitmap, int16_t depth, Handle from, Handle to, uint16_t colours) {
    const bool dithers = depth < kDeepestTable && depth < bitmap.depth;
    replace(bitmap, (dithers ? rlDitherGivenCT : rlConvertBitmapDepth)(bitmap.pixels, bitmap.width, bitmap.height,
                                                                       bitmap.depth, depth, from, to, colours));
    bitmap.depth = depth;
}

// The steps in their order, each from what the one before has made; one that fails leaves no band.
Bitmap makeBand(const TolvaOffscreenRecord& record, const PrivateBlock& block, const TolvaPictureDescriptor& picture) {
    const int32_t width = record.width;
    const int32_t height = record.bandRows;
    Bitmap bitmap = {picture.bitmap, false, picture.width, picture.height, picture.depth};
    if (bitmap.pixels != 0 && (width < bitmap.width || height < bitmap.height)) {
        rescale(bitmap, rlShrinkBitmap, width, height);
    }
    if (bitmap.pixels != 0 && record.depth != bitmap.depth) {
        changeDepth(bitmap, record.depth, picture.palette, block.palette, static_cast<uint16_t>(record.colours));
    }
    if (bitmap.pixels != 0 && (width > bitmap.width || height > bitmap.height)) {
        rescale(bitmap, rlStretchBitmap, width, height);
    }
    return bitmap;
}

// What was made for the band before goes; the picture's own bits are not ours.
intptr_t drawCells(const TolvaOffscreenRecord* record) {
    PrivateBlock* const block = record == nullptr ? nullptr : privateBlockOf(*record);
    if (block == nullptr) return 0;
    const Bitmap band = makeBand(*record, *block, pictureOf(*record));
    GlobalFree(block->band);
    block->band = band.owned ? band.pixels : 0;
    return static_cast<intptr_t>(band.pixels);
}

intptr_t termCells(TolvaOffscreenRecord* record) {
    PrivateBlock* const block = record == nullptr ? nullptr : privateBlockOf(*record);
    if (block == nullptr) return kTermDone;
    GlobalFree(block->band);
    GlobalFree(block->palette);
    GlobalFree(record->privateBlock);
    record->privateBlock = 0;
    return kTermDone;
}

// ---- ExportCellData ----

// What the picture's size is asked for with comes from the cells, in the host's own record too.
void describeSize(TolvaPictureDescriptor& picture, const TolvaPictureDescriptor& cells) {
    picture.fullWidth = cells.width;
    picture.fullHeight = cells.height;
    picture.resolution = cells.resolution;
}

// The picture that is drawn. The cells' record has the pixels; hosts that put them into the other one are served too.
TolvaPictureDescriptor takeCells(TolvaPictureDescriptor* picture, const TolvaPictureDescriptor& cells) {
    SetDisplayInfo(cells.width, cells.height, cells.resolution, cells.resolution);
    TolvaPictureDescriptor information = load<TolvaPictureDescriptor>(picture);
    describeSize(information, cells);
    store(picture, information);
    TolvaPictureDescriptor drawn = cells.bitmap != 0 ? cells : information;
    describeSize(drawn, cells);
    return drawn;
}

int32_t drawToStream(Setup& setup, const char* fileName, TolvaPictureDescriptor* picture,
                     const TolvaPictureDescriptor& cells) {
    // Outside this frame, because a host may leave a callback for good while the stream still points at it.
    void** const memory = static_cast<void**>(zunPtrGlobalAlloc(sizeof(void*)));
    const Handle stream = openOutputStream(&setup, setup.exporting.status, fileName, memory);
    if (stream == 0) {
        zunPtrGlobalFree(memory);
        return kTolvaStreamFailed;
    }
    TolvaPictureDescriptor drawn = takeCells(picture, cells);
    drawBands(stream, &drawn, DrawExportCellData);
    zunClose(stream);
    if (*memory != nullptr) keepMemory(setup, *memory);
    zunPtrGlobalFree(memory);
    return kTolvaNoError;
}

int32_t exportCells(const char* fileName, TolvaPictureDescriptor* picture, const TolvaPictureDescriptor* cells,
                    const uintptr_t* hostArguments) {
    if (picture == nullptr || cells == nullptr || hostArguments == nullptr) return kTolvaStreamFailed;
    hRaster = load<Handle>(hostArguments + kTolvaArgumentSetup);
    lpRaster = static_cast<Setup*>(GlobalLock(hRaster));
    if (lpRaster == nullptr) return kTolvaStreamFailed;

    Setup& setup = *lpRaster;
    TolvaStatusRecord* const before = setup.exporting.status;
    setup.exporting.status = load<TolvaStatusRecord*>(hostArguments + kTolvaArgumentStatus);
    const int32_t result = drawToStream(setup, fileName, picture, load<TolvaPictureDescriptor>(cells));
    // The host's record may be gone after this call.
    setup.exporting.status = before;
    return result;
}

}  // namespace

intptr_t DrawExportCellData(intptr_t operation, intptr_t record, intptr_t a, intptr_t) {
    TolvaOffscreenRecord* const offscreen = reinterpret_cast<TolvaOffscreenRecord*>(record);
    switch (operation) {
        case kTolvaOffscreenQuery:
            return answerQuery(reinterpret_cast<void*>(record), reinterpret_cast<TolvaOffscreenQuery*>(a));
        case kTolvaOffscreenInit: return initCells(offscreen, reinterpret_cast<void*>(a));
        case kTolvaOffscreenTerm: return termCells(offscreen);
        case kTolvaOffscreenDraw: return drawCells(offscreen);
        default: return 0;
    }
}

int32_t ExportCellData(const char* fileName, TolvaPictureDescriptor* picture, const TolvaPictureDescriptor* cells,
                       const uintptr_t* hostArguments) {
    return asOneCall(kTolvaExportFailed, [=] { return exportCells(fileName, picture, cells, hostArguments); });
}
