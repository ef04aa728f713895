// gif_writer.cpp: everything of a GIF89a file but its image data, which band_writer.cpp writes between. Called by the
// pipeline, writes through stream/; owns the image's state, and with it the spool of an interlaced picture, from Begin
// to End.

#include "output/gif_writer.h"

#include <algorithm>
#include <cstring>

#include <tolva/driver.h>
#include <tolva/stream.h>
#include "host/numbers.h"
#include "output/band_writer.h"
#include "output/lzw.h"
#include "output/spool.h"
#include "raster/rows.h"
#include "settings/current.h"

using namespace tolva;

static_assert(sizeof(void*) != 4 || sizeof(CellBitmapState) == 288);

namespace {

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

bool hasTransparency(const Setup& setup) { return setup.transparencyChoice == kTolvaTransparentColour; }

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
        std::memcpy(palette + choices.transparent * kTolvaTripleBytes, setup.transparentColour, kTolvaTripleBytes);
    }
    if (setup.backgroundChoice == kTolvaBackgroundColour) {
        choices.background = nearest(setup.backgroundColour, palette, colours);
    }
    return choices;
}

// Everything up to the image data; stops at the first part that cannot be written. Kept: nobody is told here, since
// hosts hear of a full stream from the trailer's write.
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

}  // namespace

namespace tolva {

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
    if (setup == nullptr || (!hasTable && bitsPerPixel != kTrueColourDepth) || (hasTable && palette == nullptr)) {
        return kBeginAnswer;
    }
    const int16_t colours = hasTable ? static_cast<int16_t>(1 << bitsPerPixel) : int16_t{0};
    const PaletteChoices choices = choosePaletteEntries(*setup, palette, colours);
    writeHeader(stream, *setup, width, height, bitsPerPixel, colours, palette, choices);

    const Handle h = GlobalAlloc(kTolvaMoveableZeroed, sizeof(CellBitmapState));
    CellBitmapState& image = *static_cast<CellBitmapState*>(GlobalLock(h));
    image.height = height;
    image.rowsToCome = height;
    image.bytesPerRow = static_cast<uint32_t>(std::max<int64_t>(bandRowBytes(width, bitsPerPixel), 0));
    if (isInterlaced(*setup)) image.spool = GifOpenSpoolFile(&image, saturated(int64_t{width} * height));
    *state = h;
    return kBeginAnswer;
}

int32_t EndCellBitmap(Handle stream, Handle hState) {
    CellBitmapState* const state = static_cast<CellBitmapState*>(GlobalLock(hState));
    if (state == nullptr) return kTolvaStreamFailed;
    if (state->spool != 0) GifInterlaceandWrite(state, stream);
    abandonCellBitmap(hState);
    return zunWrite(stream, &kTrailer, 1) < 1 ? kTolvaStreamFailed : kTolvaNoError;
}

int16_t get_nearest_rgb_index(int16_t red, int16_t green, int16_t blue, const uint8_t* palette, int16_t count) {
    return static_cast<int16_t>(
        rlNearestRGBIndex(red, green, blue, palette, static_cast<uint16_t>(std::max(count, kLeastSearched))));
}
