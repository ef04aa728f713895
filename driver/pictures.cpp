// pictures.cpp: the picture itself, as the host sends it: cell arrays of pixel rows. One that stands alone is written
// at once; between the opening and the closing primitive they are collected in one bitmap, and that is written.

#include <algorithm>
#include <cstring>

#include <tolva/driver.h>
#include "host/numbers.h"
#include "output/bands.h"
#include "output/cells.h"
#include "raster/rows.h"

using namespace tolva;

namespace {

constexpr int64_t kMostBits = 1 << 20;
constexpr int32_t kMostPoints = 1024;

struct CellArray {
    const uint8_t* data;
    uint32_t cellsPerRow;
    uint32_t rows;
    int64_t bits;
    bool upward;
    // Derived: what is copied of each row, and how far apart rows lie in the data.
    int64_t width;
    int64_t rowBytes;
    int64_t stride;
};

const uint8_t* field(const void* block, int at) { return static_cast<const uint8_t*>(block) + at; }

int64_t magnitudeOf(int64_t bits) { return bits == kTolvaOneBitCells ? 1 : bits < 0 ? -bits : bits; }

// Depths beyond kMostBits do not exist; what they are cut to still fits no block.
int64_t paddedBytes(int64_t width, int64_t bits) { return paddedRowBytes(width, std::min(bits, kMostBits)); }

// Rows run upward when the corners and the window run opposite ways.
bool runsUpward(const TolvaEMData& em, const void* block) {
    const double firstY = load<double>(field(block, kTolvaCellFirstY));
    const double secondY = load<double>(field(block, kTolvaCellSecondY));
    const double windowFirstY = em.window[1];
    const double windowSecondY = em.window[4];
    return (secondY < firstY && windowSecondY > windowFirstY) || (secondY > firstY && windowSecondY < windowFirstY);
}

int64_t windowColumns(const TolvaEMData& em) { return truncatedDistance(em.window[0], em.window[3]) + 1; }

CellArray readCellArray(const TolvaEMData& em, const void* block) {
    CellArray cells = {};
    const int64_t bits = load<int32_t>(field(block, kTolvaCellBits));
    cells.data = bits < 0 ? load<const uint8_t*>(field(block, kTolvaCellData)) : field(block, kTolvaCellData);
    cells.bits = magnitudeOf(bits);
    cells.cellsPerRow = load<uint32_t>(field(block, kTolvaCellsPerRow));
    cells.rows = load<uint32_t>(field(block, kTolvaCellRows));
    cells.upward = runsUpward(em, block);
    cells.width = std::min<int64_t>(windowColumns(em), cells.cellsPerRow);
    cells.rowBytes = paddedBytes(cells.width, cells.bits);
    cells.stride = cells.rowBytes;
    // Kept: only in true-colour data may rows be wider than what is taken of them. Of other depths hosts send rows of
    // the window's width, whatever the count of cells says: a longer stride would read past them.
    if (cells.bits == kTrueColourDepth && cells.width < cells.cellsPerRow) {
        cells.stride = paddedBytes(cells.cellsPerRow, cells.bits);
    }
    return cells;
}

// Copies `count` rows of the data, row i to bitmap row start + step x i, as far as the bitmap has those rows: a height
// left over from elsewhere may reach past it.
void copyRows(const TolvaEMData& em, const CellArray& cells, Handle h, int64_t start, int64_t step, int64_t count) {
    uint8_t* const bitmap = static_cast<uint8_t*>(GlobalLock(h));
    const int64_t held = cells.rowBytes == 0 ? 0 : GlobalSize(h) / cells.rowBytes;
    const int64_t first = step > 0 ? -start : start - held + 1;
    const int64_t behind = step > 0 ? held - start : start + 1;
    count = std::min(count, behind);
    for (int64_t i = std::max<int64_t>(first, 0); i < count; ++i) {
        uint8_t* const row = bitmap + (start + step * i) * cells.rowBytes;
        std::memcpy(row, cells.data + i * cells.stride, static_cast<size_t>(cells.rowBytes));
        if (cells.bits == kTrueColourDepth) rev_rgb(static_cast<int32_t>(cells.width), row, em.conversionMode);
    }
}

void startUpward(TolvaEMData& em) {
    if (em.currentRow == 0) em.currentRow = static_cast<int32_t>(em.pictureHeight - 1);
}

// Kept: the first upward row lands two rows above the bottom, so the last row of the bitmap is never filled. Hosts that
// draw upward have had all their files so.
void copyUpward(TolvaEMData& em, const CellArray& cells, Handle bitmap) {
    startUpward(em);
    const int32_t rows = std::max(std::min(static_cast<int32_t>(cells.rows), em.currentRow), 0);
    copyRows(em, cells, bitmap, int64_t{em.currentRow} - 1, -1, rows);
    em.currentRow -= rows;
}

void copyDownward(TolvaEMData& em, const CellArray& cells, Handle bitmap) {
    const uint32_t row = static_cast<uint32_t>(em.currentRow);
    const uint32_t rows = std::min(cells.rows, em.pictureHeight - row);
    copyRows(em, cells, bitmap, em.currentRow, 1, rows);
    em.currentRow = static_cast<int32_t>(row + rows);
}

void collectCells(TolvaEMData& em, const CellArray& cells, Handle bitmap) {
    (cells.upward ? copyUpward : copyDownward)(em, cells, bitmap);
}

// Whether the host's rows are the bitmap, byte for byte. Then they need not be copied: nothing on that way writes to
// them.
bool canBorrow(const TolvaEMData& em, const CellArray& cells) {
    return !cells.upward && cells.stride == cells.rowBytes &&
           (cells.bits != kTrueColourDepth || em.conversionMode == kTolvaConvertNothing);
}

Handle makeBitmap(TolvaEMData& em, const CellArray& cells, bool ofItsOwn) {
    uint32_t bytes = 0;
    // Judged before the depth is cut to the 16 bits that pictures are written with.
    if (!isCellDepth(cells.bits)) return 0;
    if (cells.data == nullptr || !pictureBytes(cells.rowBytes, cells.rows, &bytes)) return 0;
    if (ofItsOwn && canBorrow(em, cells)) return GlobalPointerToHandle(const_cast<uint8_t*>(cells.data), bytes);
    const Handle h = GlobalAlloc(kTolvaMoveableZeroed, bytes);
    collectCells(em, cells, h);
    return h;
}

// A cell array outside a bracket is a picture of its own when no picture height is left over: its rows are the height.
void writeLoneCells(TolvaEMData& em, const CellArray& cells) {
    const bool ofItsOwn = em.pictureHeight == 0;
    if (ofItsOwn) {
        em.pictureHeight = cells.rows;
        em.currentRow = 0;
    }
    const Handle bitmap = makeBitmap(em, cells, ofItsOwn);
    const int32_t result = bitmap == 0
                               ? int32_t{kTolvaExportFailed}
                               : writeCells(bitmap, static_cast<int32_t>(cells.width), saturated(cells.rows),
                                            em.resolution, low16(cells.bits), cells.bits == kTrueColourDepth ? 1 : 0);
    GlobalFree(bitmap);
    if (ofItsOwn) {
        em.pictureHeight = 0;
        em.currentRow = 0;
    }
    if (result != kTolvaNoError) push_er(result);
}

// ---- The bracket ----

// The opening primitive's data, behind its points and a length that is not looked at: hosts owe all of it. Null where
// the points cannot be stepped over: no host sends so many, and no block's end is known.
const uint8_t* openDataOf(const void* block) {
    const int32_t points = load<int32_t>(field(block, kTolvaPrimitivePoints));
    if (points < 0 || points > kMostPoints) return nullptr;
    return field(block, kTolvaPrimitiveFirstPoint + points * kTolvaPointBytes) + sizeof(int32_t);
}

// A picture whose cell arrays are refused, up to the primitive that closes it: they must not be taken for pictures of
// their own.
void refusePicture(TolvaEMData& em) {
    push_er(kTolvaExportFailed);
    GlobalFree(em.pictureBitmap);
    em.pictureBitmap = 0;
    em.pictureWidth = em.pictureHeight = em.pictureDepth = 0;
    em.currentRow = 0;
    em.accumulating = 1;
}

// Kept: the bitmap of a picture that was never closed is not freed here, because hosts may still hold it. One that
// could not be made is noticed by the next cell array.
void openPicture(TolvaEMData& em, const void* block) {
    const uint8_t* const data = openDataOf(block);
    if (data == nullptr) return refusePicture(em);
    em.cellFlag = load<int16_t>(data + kTolvaOpenCellFlag);
    em.accumulating = 1;
    const int64_t bits = magnitudeOf(load<int32_t>(data + kTolvaOpenBits));
    const int64_t width = std::min<int64_t>(windowColumns(em), load<uint32_t>(data + kTolvaOpenWidth));
    em.pictureWidth = static_cast<uint32_t>(width);
    em.pictureHeight = load<uint32_t>(data + kTolvaOpenRows);
    em.pictureDepth = static_cast<uint32_t>(bits);
    em.currentRow = 0;
    em.pictureBitmap = allocPicture(paddedBytes(width, bits), em.pictureHeight);
}

Handle copyPalette(const TolvaEMData& em) {
    const uint32_t bytes = (1u << em.pictureDepth) * kTolvaTripleBytes;
    const Handle palette = GlobalAlloc(kTolvaMoveableZeroed, bytes);
    std::memcpy(GlobalLock(palette), em.colourTable, bytes);
    return palette;
}

// Kept: what becomes of the picture is not pushed, because hosts take an error of the closing primitive to mean that
// there was none; a failed write is told when the device is closed.
void writeCollected(TolvaEMData& em) {
    TolvaPictureDescriptor picture = {};
    picture.depth = static_cast<int16_t>(em.pictureDepth);
    picture.width = static_cast<uint16_t>(em.pictureWidth);
    picture.height = static_cast<uint16_t>(em.pictureHeight);
    picture.resolution = low16(em.resolution);
    picture.fullWidth = em.pictureWidth;
    picture.fullHeight = em.pictureHeight;
    picture.palette = em.pictureDepth < kTrueColourDepth ? copyPalette(em) : 0;
    picture.bitmap = em.pictureBitmap;
    drawBands(em.outputStream, &picture, DrawExportCellData);
    GlobalFree(picture.palette);
}

void closePicture(TolvaEMData& em) {
    em.accumulating = 0;
    if (em.pictureBitmap != 0 && isCellDepth(em.pictureDepth)) {
        writeCollected(em);
    } else {
        push_er(kTolvaExportFailed);
    }
    GlobalFree(em.pictureBitmap);
    em.pictureBitmap = 0;
}

}  // namespace

void* d_ca(void* block) {
    if (lpEMData == nullptr) return block;
    TolvaEMData& em = *lpEMData;
    const CellArray cells = readCellArray(em, block);
    if (em.accumulating == 0) {
        writeLoneCells(em, cells);
    } else if (em.pictureBitmap == 0 || cells.data == nullptr) {
        if (cells.upward) startUpward(em);
        push_er(kTolvaExportFailed);
    } else {
        collectCells(em, cells, em.pictureBitmap);
    }
    return block;
}

void* d_gdp(void* block) {
    if (lpEMData == nullptr) return block;
    switch (load<int32_t>(field(block, kTolvaPrimitiveId))) {
        case kTolvaOpenPicture: openPicture(*lpEMData, block); break;
        case kTolvaClosePicture: closePicture(*lpEMData); break;
        default: break;
    }
    return block;
}
