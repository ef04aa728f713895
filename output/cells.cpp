// cells.cpp: the way of ready bitmaps. A whole bitmap is sized, shrunk, brought to 8 bits, stretched and written as
// one band; in between the host hears how far it is and may stop it. Every step that has nothing to do costs nothing: a
// picture of the right size and depth goes to the writer from where it lies.

#include "output/cells.h"

#include <cstring>

#include <tolva/driver.h>
#include "driver/status.h"
#include "host/numbers.h"
#include "output/band_writer.h"
#include "raster/match.h"
#include "settings/current.h"

using namespace tolva;

namespace {

constexpr int32_t kStepProgress = 20;
constexpr int32_t kWritingProgress = 50;

enum ColourModel { kModelCmyk = 2, kModelAlpha = 3 };

struct Target {
    double width;
    double height;
};

// A picture on its way. `bitmap` is the caller's until a step makes a new one, which is then owned here.
struct Cells {
    Handle bitmap;
    bool owned;
    int32_t width;
    int32_t height;
    int16_t bits;
    int16_t model;     // of four-byte cells
    Handle table;      // 0: the device's colour table serves
    uint16_t colours;  // of the table, when rows are matched to it as they are written; else 0
    int32_t progress;
};

double extentOf(double first, double second) { return static_cast<double>(truncatedDistance(first, second)); }

Target targetSize(int32_t width, int32_t height, int32_t resolution) {
    Target target = {static_cast<double>(width), static_cast<double>(height)};
    if (resolution != 0) {
        const double* const window = lpEMData->window;
        target.width = (extentOf(window[0], window[3]) + 1.0) / resolution;
        target.height = (extentOf(window[1], window[4]) + 1.0) / resolution;
    }
    int16_t bits = 0;
    QueryCellFormat(&target.width, &target.height, &bits, &resolution, nullptr, nullptr);
    return target;
}

bool isPossible(double extent) { return extent >= 1.0 && extent < double{kTolvaLargestExtent} + 1.0; }

void replaceBitmap(Cells& cells, Handle bitmap, int32_t width, int32_t height, int16_t bits) {
    if (cells.owned) GlobalFree(cells.bitmap);
    cells.bitmap = bitmap;
    cells.owned = true;
    cells.width = width;
    cells.height = height;
    cells.bits = bits;
}

bool report(Cells& cells) { return reportProgress(cells.progress += kStepProgress); }

bool rescale(Cells& cells, Target target) {
    const int32_t width = truncated<int32_t>(target.width);
    const int32_t height = truncated<int32_t>(target.height);
    const auto scale = height > cells.height ? rlStretchBitmap : rlShrinkBitmap;
    replaceBitmap(
        cells,
        scale(cells.bitmap, cells.bits, static_cast<uint32_t>(cells.width), static_cast<uint32_t>(cells.height),
              static_cast<uint32_t>(width), static_cast<uint32_t>(height)),
        width, height, cells.bits);
    return cells.bitmap != 0;
}

void copyDeviceTable(Cells& cells) {
    cells.table = rlGetMemory(1, sizeof lpEMData->colourTable);
    std::memcpy(rlLockMemory(cells.table), lpEMData->colourTable, sizeof lpEMData->colourTable);
}

// Four-byte cells of another model become 24 bits, in place. They come back without row padding and are laid out with
// it again, from the end, so that no width skews the picture.
void convertModel(Cells& cells) {
    if (cells.bits != kFourByteDepth || !holdsBitmap(cells.bitmap, cells.width, cells.height, kFourByteDepth)) return;
    if (cells.model != kModelCmyk && cells.model != kModelAlpha) return;
    (cells.model == kModelCmyk ? rlCMYKtoRGB : rlALPHAtoRGB)(cells.bitmap, cells.width, cells.height);
    uint8_t* const data = static_cast<uint8_t*>(rlLockMemory(cells.bitmap));
    const int64_t packed = int64_t{cells.width} * kTolvaTripleBytes;
    const int64_t padded = paddedRowBytes(cells.width, kTrueColourDepth);
    for (int64_t y = cells.height; y-- > 0;)
        std::memmove(data + y * padded, data + y * packed, static_cast<size_t>(packed));
    cells.bits = kTrueColourDepth;
}

// Whether the rows need not lie anywhere as indices: true colour that is written in its own size. A raised debug level
// prints what the conversion does, so then it is done at once; and few pixels are.
bool canMatchLate(const Cells& cells, Target target) {
    return cells.bits == kTrueColourDepth && _debug_color_res == 0 && isWorthMatching(cells.width, cells.height) &&
           truncated<int32_t>(target.width) == cells.width && truncated<int32_t>(target.height) == cells.height &&
           holdsBitmap(cells.bitmap, cells.width, cells.height, kTrueColourDepth);
}

void reduceTable(Cells& cells) {
    cells.colours = kTolvaLargestColourTable;
    cells.table = rlReduceColorTable(cells.bitmap, cells.width, cells.height, &cells.colours);
}

bool reduceDepth(Cells& cells) {
    const Handle made = cells.table;
    const Handle bitmap =
        rlChangeColorResolution(cells.bitmap, cells.width, cells.height, cells.bits, kTolvaOutputDepth, &cells.table);
    if (made != cells.table) rlFreeNewData(made);
    replaceBitmap(cells, bitmap, cells.width, cells.height, kTolvaOutputDepth);
    return bitmap != 0;
}

// Kept: only heights decide whether a picture is scaled, as hosts know their files. Where they agree and the widths do
// not, every row is cut, or filled on its right with its last pixel, so that the rows that follow stay where they are.
bool fitRows(Cells& cells, int32_t width) {
    if (cells.width == width) return true;
    if (!holdsBitmap(cells.bitmap, cells.width, cells.height, kTolvaOutputDepth)) return false;
    const Handle fitted = allocPicture(paddedRowBytes(width, kTolvaOutputDepth), cells.height);
    uint8_t* to = static_cast<uint8_t*>(GlobalLock(fitted));
    if (to == nullptr) return false;
    const uint8_t* from = static_cast<const uint8_t*>(GlobalLock(cells.bitmap));
    const int32_t common = width < cells.width ? width : cells.width;
    const int32_t toRow = rlBytesPerLine(width, kTolvaOutputDepth);
    const int32_t fromRow = rlBytesPerLine(cells.width, kTolvaOutputDepth);
    for (int32_t y = 0; y < cells.height; ++y, to += toRow, from += fromRow) {
        std::memcpy(to, from, static_cast<size_t>(common));
        std::memset(to + common, from[common - 1], static_cast<size_t>(width - common));
    }
    replaceBitmap(cells, fitted, width, cells.height, kTolvaOutputDepth);
    return true;
}

// True colour: each row becomes indices as it is asked for, so that nothing holds them all.
void writeMatched(const Cells& cells, Matcher& matcher, Handle stream, CellBitmapState& image) {
    const auto* const pixels = static_cast<const uint8_t*>(rlLockMemory(cells.bitmap));
    const int64_t stride = paddedRowBytes(cells.width, kTrueColourDepth);
    const Handle row = allocPicture(cells.width, 1);
    uint8_t* const indices = static_cast<uint8_t*>(GlobalLock(row));
    BandWriter band;
    beginBand(band, stream, image, cells.width, cells.height, nullptr);
    for (int64_t y; (y = nextRow(band)) >= 0; putRow(band, indices)) {
        answerRow(matcher.answers, pixels + y * stride, kTolvaTripleBytes, indices, cells.width);
    }
    endBand(band);
    GlobalFree(row);
}

void writeGif(const Cells& cells) {
    const Handle stream = lpEMData->outputStream;
    uint8_t* const palette =
        cells.table != 0 ? static_cast<uint8_t*>(rlLockMemory(cells.table)) : lpEMData->colourTable[0];
    // Ready before the header is written, which puts the transparent colour into the palette.
    Matcher matcher;
    const bool matches = cells.colours != 0 && makeMatcher(matcher, palette, cells.colours);
    Handle state = 0;
    BeginCellBitmap(stream, cells.width, cells.height, kTolvaOutputDepth, palette, &state);
    auto* const image = static_cast<CellBitmapState*>(GlobalLock(state));
    if (matches && image != nullptr) {
        writeMatched(cells, matcher, stream, *image);
    } else {
        WriteCellBits(stream, cells.bitmap, cells.width, cells.height, kTolvaOutputDepth, 0, state);
    }
    EndCellBitmap(stream, state);
    if (matches) freeMatcher(matcher);
}

// The steps in their order; a picture is shrunk or stretched, never both. Each reports progress, and a host that stops
// there gets nothing written.
int32_t runSteps(Cells& cells, Target target) {
    const int32_t given = cells.height;
    if (target.height < given) {
        if (!rescale(cells, target)) return kTolvaExportFailed;
        if (!report(cells)) return kTolvaNoError;
    }
    if (cells.bits < kTrueColourDepth) copyDeviceTable(cells);
    convertModel(cells);
    if (canMatchLate(cells, target)) {
        reduceTable(cells);
        if (!report(cells)) return kTolvaNoError;
    } else if (cells.bits != kTolvaOutputDepth) {
        if (!reduceDepth(cells)) return kTolvaExportFailed;
        if (!report(cells)) return kTolvaNoError;
    }
    if (target.height > given) {
        if (!rescale(cells, target)) return kTolvaExportFailed;
        if (!report(cells)) return kTolvaNoError;
    }
    if (cells.progress < kWritingProgress && !reportProgress(kWritingProgress)) return kTolvaNoError;
    if (cells.colours == 0 && !fitRows(cells, truncated<int32_t>(target.width))) return kTolvaExportFailed;
    writeGif(cells);
    return kTolvaNoError;
}

}  // namespace

namespace tolva {

int32_t writeCells(Handle bitmap, int32_t width, int32_t height, int32_t resolution, int16_t bitsPerPixel,
                   int16_t colourModel) {
    if (lpEMData == nullptr || currentSetup() == nullptr) return kTolvaExportFailed;
    if (bitmap == 0 || width < 1 || height < 1 || !isCellDepth(bitsPerPixel)) return kTolvaExportFailed;
    const Target target = targetSize(width, height, resolution);
    if (!isPossible(target.width) || !isPossible(target.height)) return kTolvaExportFailed;
    Cells cells = {bitmap, false, width, height, bitsPerPixel, colourModel, 0, 0, 0};
    const int32_t result = runSteps(cells, target);
    rlFreeNewData(cells.table);
    if (cells.owned) GlobalFree(cells.bitmap);
    return result;
}

}  // namespace tolva

void RasterWriteCellData(Handle bitmap, int32_t width, int32_t height, int32_t resolution, int16_t bitsPerPixel,
                         int16_t colourModel) {
    tolva::writeCells(bitmap, width, height, resolution, bitsPerPixel, colourModel);
}
