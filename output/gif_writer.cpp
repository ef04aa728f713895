// gif_writer.cpp: bands of palette rows in, GIF89a bytes out. Called by the pipeline, writes through stream/; owns the
// image's state, and with it the spool of an interlaced picture, from Begin to End.

#include "output/gif_writer.h"

#include <algorithm>
#include <cstring>

#include "driver/driver.h"
#include "host/numbers.h"
#include "output/lzw.h"
#include "output/spool.h"
#include "raster/raster.h"
#include "settings/current.h"
#include "stream/stream.h"

static_assert(sizeof(void*) != 4 || sizeof(CellBitmapState) == 288);

namespace {

using namespace tolva;

constexpr int16_t kDirectDepth = 24;   // no colour table
constexpr int kScreenPackedBias = 17;  // packed screen byte: bits - this, modulo 256
constexpr uint8_t kInterlacedImage = 0x40;
constexpr uint8_t kMinimumCodeSize = 8;  // whatever the depth: pixels are bytes
constexpr uint8_t kTrailer = 0x3B;
constexpr int16_t kLeastSearched = 16;
constexpr int32_t kBeginAnswer = -1;  // bands travel from the top of the picture down

// As they lie in memory for the stream layer's formats; packed in the file.
struct ScreenHeader {  // "6C2S3C"
    char signature[6];
    uint16_t width, height;
    uint8_t packed, background, aspect;
};
struct ControlExtension {  // "4C1S2C"
    uint8_t introducer, label, size, packed;
    uint16_t delay;
    uint8_t transparent, terminator;
};
struct ImageDescriptor {  // "1C4S1C"
    uint8_t separator;
    uint16_t left, top, width, height;
    uint8_t packed;
};
static_assert(sizeof(ScreenHeader) == 14 && sizeof(ControlExtension) == 8 && sizeof(ImageDescriptor) == 12);

bool isInterlaced(const Setup& setup) { return setup.interlaceChoice == kInterlaced; }
bool hasTransparency(const Setup& setup) { return setup.transparencyChoice == kTransparentColour; }

int16_t nearest(const uint8_t* colour, const uint8_t* palette, int16_t count) {
    return get_nearest_rgb_index(colour[0], colour[1], colour[2], palette, count);
}

struct PaletteChoices {
    int16_t transparent;
    int16_t background;
};

// Finds the two chosen colours and writes the transparent one over its entry, in the caller's palette. A choice that is
// not made is index 0.
PaletteChoices choosePaletteEntries(const Setup& setup, uint8_t* palette, int16_t colours) {
    PaletteChoices choices = {0, 0};
    if (palette == nullptr) return choices;
    if (hasTransparency(setup)) {
        choices.transparent = nearest(setup.transparentColour, palette, colours);
        std::memcpy(palette + choices.transparent * kTripleBytes, setup.transparentColour, kTripleBytes);
    }
    if (setup.backgroundChoice == kBackgroundColour) {
        choices.background = nearest(setup.backgroundColour, palette, colours);
    }
    return choices;
}

// Everything up to the image data; stops at the first part that cannot be written. Kept: nobody is told.
void writeHeader(Handle stream, const Setup& setup, int32_t width, int32_t height, int16_t bits, int16_t colours,
                 const uint8_t* palette, PaletteChoices choices) {
    const ScreenHeader screen = {
        .signature = {'G', 'I', 'F', '8', '9', 'a'},
        .width = static_cast<uint16_t>(width),
        .height = static_cast<uint16_t>(height),
        .packed = static_cast<uint8_t>(bits - kScreenPackedBias),
        .background = static_cast<uint8_t>(choices.background),
        .aspect = 0,
    };
    const ControlExtension control = {
        .introducer = 0x21,
        .label = 0xF9,
        .size = 4,
        .packed = static_cast<uint8_t>(hasTransparency(setup) ? 1 : 0),
        .delay = 0,
        .transparent = static_cast<uint8_t>(choices.transparent),
        .terminator = 0,
    };
    const ImageDescriptor image = {
        .separator = 0x2C,
        .left = 0,
        .top = 0,
        .width = screen.width,
        .height = screen.height,
        .packed = isInterlaced(setup) ? kInterlacedImage : uint8_t{0},
    };
    if (zunWriteStruct(stream, "6C2S3C", &screen, 1) != 1) return;
    if (zunWriteStruct(stream, "3C", palette, colours) != colours) return;
    if (zunWriteStruct(stream, "4C1S2C", &control, 1) != 1) return;
    if (zunWriteStruct(stream, "1C4S1C", &image, 1) != 1) return;
    zunWrite(stream, &kMinimumCodeSize, 1);
}

int64_t bytesPerRow(int32_t width, int16_t bits) { return (int64_t{width} * bits + 7) / 8; }

// A band as the caller stored it: bottom row first, rows padded to 4 bytes. Or rows that are made on demand.
struct Band {
    const uint8_t* data;
    int64_t held;  // bytes the block really has
    int64_t stride;
    int64_t rowBytes;
    uint8_t* scratch;  // one row, for those the block does not hold whole, or that are made
    const RowMaker* maker;
    bool kept;  // the caller's: not to be written to
};

const uint8_t* rowOf(const Band& band, int64_t sourceRow) {
    if (band.maker != nullptr) {
        band.maker->make(band.maker->context, sourceRow, band.scratch);
        return band.scratch;
    }
    const int64_t offset = sourceRow * band.stride;
    if (offset + band.rowBytes <= band.held) return band.data + offset;
    const int64_t there = std::clamp<int64_t>(band.held - offset, 0, band.rowBytes);
    std::memset(band.scratch, 0, static_cast<size_t>(band.rowBytes));
    if (there > 0) std::memcpy(band.scratch, band.data + offset, static_cast<size_t>(there));
    return band.scratch;
}

// Hands a band's rows out top row first, or in interlace order, straight from where they lie: turning a whole copy
// would cost another picture's worth of memory.
struct RowOrder {
    const Band* band;
    int64_t rows;
    bool interlaced;
    int pass;
    int64_t imageRow;
};

const uint8_t* nextRow(void* context) {
    RowOrder& order = *static_cast<RowOrder*>(context);
    const int64_t imageRow = order.imageRow;
    const uint8_t* const row = rowOf(*order.band, order.rows - 1 - imageRow);
    order.imageRow += order.interlaced ? kInterlacePasses[order.pass].step : 1;
    while (order.interlaced && order.imageRow >= order.rows && order.pass < 3) {
        order.imageRow = kInterlacePasses[++order.pass].start;
    }
    return row;
}

void spoolBand(const CellBitmapState& state, const Band& band, int32_t rows) {
    for (int64_t j = int64_t{rows} - 1; j >= 0; --j) {
        GifWriteSpoolFile(state.spool, rowOf(band, j), static_cast<int32_t>(band.rowBytes));
    }
}

bool ownsItsMemory(Handle h) {
    return reinterpret_cast<uintptr_t>(GlobalLock(h)) - h == reinterpret_cast<const BlockHeader*>(h)->dataOffset;
}

// Compresses a band. Its own memory is the work buffer as far as anybody can tell, unless it is too small for one or
// describes memory of a host's; the encoder gets a copy, because the rows are still read from it.
int32_t compressBand(Handle stream, Handle h, const Band& band, RowOrder& order, bool first, bool last,
                     uint32_t* carry) {
    uint8_t work[kWorkBytes] = {};
    const bool worksInBand = h != 0 && !band.kept && band.held >= kWorkBytes && ownsItsMemory(h);
    if (worksInBand) std::memcpy(work, band.data, sizeof work);
    const int32_t result = compressRows(stream, {nextRow, &order, order.rows, band.rowBytes}, work, first, last, carry);
    if (worksInBand) std::memcpy(GlobalLock(h), work, sizeof work);
    return result;
}

struct BandPlace {
    bool first;
    bool last;
};

BandPlace countBand(CellBitmapState& state, int32_t rows) {
    state.rowsToCome = saturated(int64_t{state.rowsToCome} - rows);
    const BandPlace place = {state.calls == 0, state.rowsToCome < 1};
    ++state.calls;
    return place;
}

int32_t writeBand(Handle stream, Handle h, const Band& band, int32_t rows, CellBitmapState& state) {
    const BandPlace place = countBand(state, rows);
    if ((h == 0 && band.maker == nullptr) || band.scratch == nullptr) return kExportFailed;
    const Setup* const setup = currentSetup();
    RowOrder order = {&band, rows, setup != nullptr && isInterlaced(*setup), 0, 0};
    if (order.interlaced && !(place.first && place.last)) {
        // Kept: a spool that cannot be written is not reported.
        spoolBand(state, band, rows);
        return kNoError;
    }
    if (order.interlaced) dropSpool(state);
    return compressBand(stream, h, band, order, place.first, place.last, &state.bitCarry);
}

// A band whose bytes would not fit a block is one that could not be copied.
int32_t writeBandOf(Handle stream, Handle h, Band band, int32_t width, int32_t rows, int16_t bits, Handle hState) {
    CellBitmapState* const state = static_cast<CellBitmapState*>(GlobalLock(hState));
    if (state == nullptr) return kExportFailed;
    band.rowBytes = bytesPerRow(width, bits);
    band.stride = (band.rowBytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
    uint32_t bytes = 0;
    const Handle scratch = pictureBytes(band.stride, rows, &bytes) ? allocPicture(band.rowBytes, 1) : 0;
    band.scratch = static_cast<uint8_t*>(GlobalLock(scratch));
    const int32_t result = writeBand(stream, h, band, rows, *state);
    GlobalFree(scratch);
    return result;
}

Band bandIn(Handle h) {
    Band band = {};
    band.data = static_cast<const uint8_t*>(GlobalLock(h));
    band.held = GlobalSize(h);
    return band;
}

}  // namespace

namespace tolva {

int32_t writeKeptBand(Handle stream, Handle h, int32_t width, int32_t rows, Handle state) {
    Band band = bandIn(h);
    band.kept = true;
    return writeBandOf(stream, h, band, width, rows, kOutputDepth, state);
}

int32_t writeMadeRows(Handle stream, const RowMaker& maker, int32_t width, int32_t rows, Handle state) {
    Band band = {};
    band.maker = &maker;
    return writeBandOf(stream, 0, band, width, rows, kOutputDepth, state);
}

void abandonCellBitmap(Handle h) {
    CellBitmapState* const state = static_cast<CellBitmapState*>(GlobalLock(h));
    if (state == nullptr) return;
    dropSpool(*state);
    freeSpoolBlock(*state);
    freeEncoder();
    GlobalFree(h);
}

}  // namespace tolva

int32_t BeginCellBitmap(Handle stream, int32_t width, int32_t height, int16_t bitsPerPixel, uint8_t* palette,
                        Handle* state) {
    *state = 0;
    const Setup* const setup = currentSetup();
    const bool hasTable = bitsPerPixel >= 1 && bitsPerPixel <= 8;
    if (setup == nullptr || (!hasTable && bitsPerPixel != kDirectDepth) || (hasTable && palette == nullptr)) {
        return kBeginAnswer;
    }
    const int16_t colours = hasTable ? static_cast<int16_t>(1 << bitsPerPixel) : int16_t{0};
    const PaletteChoices choices = choosePaletteEntries(*setup, palette, colours);
    writeHeader(stream, *setup, width, height, bitsPerPixel, colours, palette, choices);

    const Handle h = GlobalAlloc(kMoveableZeroed, sizeof(CellBitmapState));
    CellBitmapState& image = *static_cast<CellBitmapState*>(GlobalLock(h));
    image.height = height;
    image.rowsToCome = height;
    image.bytesPerRow = static_cast<uint32_t>(std::max<int64_t>(bytesPerRow(width, bitsPerPixel), 0));
    if (isInterlaced(*setup)) image.spool = GifOpenSpoolFile(&image, saturated(int64_t{width} * height));
    *state = h;
    return kBeginAnswer;
}

int32_t WriteCellBits(Handle stream, Handle h, int32_t width, int32_t rows, int16_t bitsPerPixel, int16_t,
                      Handle state) {
    return writeBandOf(stream, h, bandIn(h), width, rows, bitsPerPixel, state);
}

int32_t EndCellBitmap(Handle stream, Handle hState) {
    CellBitmapState* const state = static_cast<CellBitmapState*>(GlobalLock(hState));
    if (state == nullptr) return kStreamFailed;
    if (state->spool != 0) GifInterlaceandWrite(state, stream);
    abandonCellBitmap(hState);
    return zunWrite(stream, &kTrailer, 1) < 1 ? kStreamFailed : kNoError;
}

int16_t get_nearest_rgb_index(int16_t red, int16_t green, int16_t blue, const uint8_t* palette, int16_t count) {
    return static_cast<int16_t>(
        rlNearestRGBIndex(red, green, blue, palette, static_cast<uint16_t>(std::max(count, kLeastSearched))));
}
