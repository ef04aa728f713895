// pictures.cpp: the picture itself, as the host sends it: cell arrays of pixel rows. One that stands alone is written
// at once; a primitive that brackets several is still to come.

#include <algorithm>
#include <cstring>

#include "driver/driver.h"
#include "host/numbers.h"
#include "output/cells.h"
#include "raster/raster.h"

namespace {

using namespace tolva;

constexpr int64_t kTrueColour = 24;

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

int64_t paddedBytes(int64_t width, int64_t bits) { return ((width * bits + 7) / 8 + 3) / 4 * 4; }

// Rows run upward when the corners and the window run opposite ways.
bool runsUpward(const EMData& em, const void* block) {
    const double firstY = load<double>(field(block, kCellFirstY));
    const double secondY = load<double>(field(block, kCellSecondY));
    const double windowFirstY = em.window[1];
    const double windowSecondY = em.window[4];
    return (secondY < firstY && windowSecondY > windowFirstY) || (secondY > firstY && windowSecondY < windowFirstY);
}

int64_t windowColumns(const EMData& em) {
    const int64_t difference = int64_t{truncated<int32_t>(em.window[3])} - truncated<int32_t>(em.window[0]);
    return (difference < 0 ? -difference : difference) + 1;
}

CellArray readCellArray(const EMData& em, const void* block) {
    CellArray cells = {};
    const int64_t bits = load<int32_t>(field(block, kCellBits));
    cells.data = bits < 0 ? load<const uint8_t*>(field(block, kCellData)) : field(block, kCellData);
    cells.bits = bits == kOneBitCells ? 1 : bits < 0 ? -bits : bits;
    cells.cellsPerRow = load<uint32_t>(field(block, kCellsPerRow));
    cells.rows = load<uint32_t>(field(block, kCellRows));
    cells.upward = runsUpward(em, block);
    cells.width = std::min<int64_t>(windowColumns(em), cells.cellsPerRow);
    cells.rowBytes = paddedBytes(cells.width, cells.bits);
    cells.stride = cells.rowBytes;
    // Kept: only in true-colour data may rows be wider than what is taken of them.
    if (cells.bits == kTrueColour && cells.width < cells.cellsPerRow) {
        cells.stride = paddedBytes(cells.cellsPerRow, cells.bits);
    }
    return cells;
}

void copyRow(const EMData& em, const CellArray& cells, int64_t i, uint8_t* bitmap, int64_t held, int64_t row) {
    const int64_t at = row * cells.rowBytes;
    // A picture height left over from elsewhere may point past the bitmap; such rows are dropped.
    if (row < 0 || at + cells.rowBytes > held) return;
    std::memcpy(bitmap + at, cells.data + i * cells.stride, static_cast<size_t>(cells.rowBytes));
    if (cells.bits == kTrueColour) rev_rgb(static_cast<int32_t>(cells.width), bitmap + at, em.conversionMode);
}

// Kept: the first upward row lands two rows above the bottom, so the last row of the bitmap is never filled.
void copyUpward(EMData& em, const CellArray& cells, uint8_t* bitmap, int64_t held) {
    if (em.currentRow == 0) em.currentRow = static_cast<int32_t>(em.pictureHeight - 1);
    const int64_t rows = std::min(static_cast<int32_t>(cells.rows), em.currentRow);
    for (int64_t i = 0; i < rows; ++i, --em.currentRow) copyRow(em, cells, i, bitmap, held, em.currentRow - 1);
}

void copyDownward(EMData& em, const CellArray& cells, uint8_t* bitmap, int64_t held) {
    const uint32_t rows = std::min(cells.rows, em.pictureHeight - static_cast<uint32_t>(em.currentRow));
    for (uint32_t i = 0; i < rows; ++i) {
        copyRow(em, cells, i, bitmap, held, em.currentRow);
        em.currentRow = static_cast<int32_t>(static_cast<uint32_t>(em.currentRow) + 1);
    }
}

// Whether the host's rows are the bitmap, byte for byte. Then they need not be copied: nothing on that road writes to
// them.
bool canBorrow(const EMData& em, const CellArray& cells) {
    return !cells.upward && cells.stride == cells.rowBytes &&
           (cells.bits != kTrueColour || em.conversionMode == kConvertNothing);
}

Handle makeBitmap(EMData& em, const CellArray& cells, bool ofItsOwn) {
    uint32_t bytes = 0;
    if (cells.data == nullptr || !pictureBytes(cells.rowBytes, cells.rows, &bytes)) return 0;
    if (ofItsOwn && canBorrow(em, cells)) return GlobalPointerToHandle(const_cast<uint8_t*>(cells.data), bytes);
    const Handle h = GlobalAlloc(kMoveableZeroed, bytes);
    uint8_t* const bitmap = static_cast<uint8_t*>(GlobalLock(h));
    (cells.upward ? copyUpward : copyDownward)(em, cells, bitmap, bytes);
    return h;
}

// A cell array outside a bracket is a picture of its own when no picture height is left over: its rows are the height.
void writeLoneCells(EMData& em, const CellArray& cells) {
    const bool ofItsOwn = em.pictureHeight == 0;
    if (ofItsOwn) {
        em.pictureHeight = cells.rows;
        em.currentRow = 0;
    }
    const Handle bitmap = makeBitmap(em, cells, ofItsOwn);
    const int32_t result = bitmap == 0
                               ? int32_t{kExportFailed}
                               : writeCells(bitmap, static_cast<int32_t>(cells.width), saturated(cells.rows),
                                            em.resolution, low16(cells.bits), cells.bits == kTrueColour ? 1 : 0);
    GlobalFree(bitmap);
    if (ofItsOwn) {
        em.pictureHeight = 0;
        em.currentRow = 0;
    }
    if (result != kNoError) push_er(result);
}

}  // namespace

void* d_ca(void* block) {
    if (lpEMData == nullptr || lpEMData->accumulating != 0) return block;
    writeLoneCells(*lpEMData, readCellArray(*lpEMData, block));
    return block;
}

void* d_gdp(void* block) { return block; }
