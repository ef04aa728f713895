// band_writer.cpp: rows in the order of the file to the encoder, or, of an interlaced image that comes in several
// bands, to its spool. Between BeginCellBitmap and EndCellBitmap; a band is one segment of code.

#include "output/band_writer.h"

#include <algorithm>
#include <cstring>

#include <tolva/driver.h>
#include <tolva/stream.h>
#include "host/numbers.h"
#include "output/spool.h"
#include "raster/rows.h"
#include "settings/current.h"

using namespace tolva;

namespace {

constexpr int kLastPass = 3;

// A bitmap's rows as the caller stored them: bottom row first, padded to 4 bytes.
struct StoredRows {
    const uint8_t* data;
    int64_t held;  // bytes the block really has
    int64_t rowBytes;
    int64_t stride;
    uint8_t* scratch;  // one row, for those the block does not hold whole
};

const uint8_t* rowOf(const StoredRows& rows, int64_t row) {
    const int64_t offset = row * rows.stride;
    if (offset + rows.rowBytes <= rows.held) return rows.data + offset;
    const int64_t there = std::clamp<int64_t>(rows.held - offset, 0, rows.rowBytes);
    std::memset(rows.scratch, 0, static_cast<size_t>(rows.rowBytes));
    if (there > 0) std::memcpy(rows.scratch, rows.data + offset, static_cast<size_t>(there));
    return rows.scratch;
}

bool ownsItsMemory(Handle h) {
    return reinterpret_cast<uintptr_t>(GlobalLock(h)) - h == reinterpret_cast<const TolvaBlockHeader*>(h)->dataOffset;
}

struct BandPlace {
    bool first;
    bool last;
};

BandPlace countBand(CellBitmapState& image, int32_t rows) {
    image.rowsToCome = saturated(int64_t{image.rowsToCome} - rows);
    const BandPlace place = {image.calls == 0, image.rowsToCome < 1};
    ++image.calls;
    return place;
}

int32_t writeRows(Handle stream, Handle h, const StoredRows& rows, int32_t count, bool mayWrite,
                  CellBitmapState& image) {
    // Its own memory is the work buffer as far as anybody can tell, unless it is too small for one or describes memory
    // of a host's; the encoder gets a copy, because the rows are still read from it.
    const bool worksInBand = mayWrite && rows.held >= kWorkBytes && ownsItsMemory(h);
    BandWriter band;
    beginBand(band, stream, image, rows.rowBytes, count, worksInBand ? rows.data : nullptr);
    const bool encodes = band.encoder != nullptr;
    for (int64_t row; (row = nextRow(band)) >= 0;) putRow(band, rowOf(rows, row));
    const int32_t result = endBand(band);
    if (worksInBand && encodes) std::memcpy(GlobalLock(h), band.work, sizeof band.work);
    return result;
}

int32_t writeBand(Handle stream, Handle h, int32_t width, int32_t count, int16_t bits, bool mayWrite, Handle hState) {
    CellBitmapState* const image = static_cast<CellBitmapState*>(GlobalLock(hState));
    if (image == nullptr) return kTolvaExportFailed;
    const int64_t rowBytes = bandRowBytes(width, bits);
    const int64_t stride = paddedRowBytes(width, bits);
    // A band whose bytes would not fit a block is one that could not be copied.
    uint32_t bytes = 0;
    if (h == 0 || rowBytes < 0 || !pictureBytes(stride, count, &bytes)) {
        countBand(*image, count);
        return kTolvaExportFailed;
    }
    const Handle scratch = allocPicture(rowBytes, 1);
    const StoredRows rows = {.data = static_cast<const uint8_t*>(GlobalLock(h)),
                             .held = GlobalSize(h),
                             .rowBytes = rowBytes,
                             .stride = stride,
                             .scratch = static_cast<uint8_t*>(GlobalLock(scratch))};
    const int32_t result = writeRows(stream, h, rows, count, mayWrite, *image);
    GlobalFree(scratch);
    return result;
}

}  // namespace

namespace tolva {

void beginBand(BandWriter& band, Handle stream, CellBitmapState& image, int64_t rowBytes, int32_t rows,
               const uint8_t* work) {
    const BandPlace place = countBand(image, rows);
    const Setup* const setup = currentSetup();
    const bool interlaced = setup != nullptr && isInterlaced(*setup);
    const bool whole = place.first && place.last;
    band = {.image = &image,
            .encoder = nullptr,
            .rowBytes = rowBytes,
            .rows = rows,
            .imageRow = 0,
            .interlaced = interlaced && whole,
            .pass = 0,
            .last = place.last,
            .work = {}};
    if (interlaced && !whole) return;
    if (interlaced) dropSpool(image);
    if (work != nullptr) std::memcpy(band.work, work, sizeof band.work);
    band.encoder = &beginSegment(stream, rows * rowBytes, band.work, place.first, &image.bitCarry);
}

int64_t nextRow(const BandWriter& band) { return band.imageRow < band.rows ? band.rows - 1 - band.imageRow : -1; }

void putRow(BandWriter& band, const uint8_t* row) {
    if (band.encoder != nullptr) {
        encodeRow(*band.encoder, row, band.rowBytes);
    } else {
        // Kept: a spool that cannot be written is not reported. Hosts draw the bands that are left and get a file that
        // ends as it should, with wrong rows in it, where they have never met an error.
        GifWriteSpoolFile(band.image->spool, row, static_cast<int32_t>(band.rowBytes));
    }
    band.imageRow += band.interlaced ? kInterlacePasses[band.pass].step : 1;
    while (band.interlaced && band.imageRow >= band.rows && band.pass < kLastPass) {
        band.imageRow = kInterlacePasses[++band.pass].start;
    }
}

int32_t endBand(BandWriter& band) {
    return band.encoder == nullptr ? int32_t{kTolvaNoError} : endSegment(*band.encoder, band.last);
}

int32_t writeReadOnlyBand(Handle stream, Handle h, int32_t width, int32_t rows, Handle state) {
    return writeBand(stream, h, width, rows, kTolvaOutputDepth, false, state);
}

}  // namespace tolva

int32_t WriteCellBits(Handle stream, Handle h, int32_t width, int32_t rows, int16_t bitsPerPixel, int16_t,
                      Handle state) {
    return writeBand(stream, h, width, rows, bitsPerPixel, true, state);
}
