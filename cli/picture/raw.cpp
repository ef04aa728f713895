// raw.cpp: pictures that cannot go to the driver as they are read, under --raw. Called by the export command between
// the plan of the size and the session. Results of the library come in blocks of its own and are copied into the
// picture's: they are never larger, so the picture stays the only large block.

#include "cli/picture/raw.h"

#include <algorithm>
#include <cstring>

#include "cli/library/output_size.h"
#include "cli/picture/mask.h"
#include "cli/picture/tone.h"
#include "cli/terminal/stop.h"

namespace cli {
namespace {

constexpr uint16_t kColoursBesideKey = kPaletteEntries - 1;
constexpr int16_t kFourBits = 4;
constexpr int16_t kOneBit = 1;
// The library's own table for two colours has eight greys, of whose indices one bit would be left.
constexpr Colour kBlackAndWhite[] = {{0, 0, 0}, {255, 255, 255}};

struct Work {
    const Library* library;
    Picture* picture;
};

int32_t widthOf(const Work& work) { return static_cast<int32_t>(work.picture->width); }
int32_t heightOf(const Work& work) { return static_cast<int32_t>(work.picture->height); }
int16_t bitsOf(const Work& work) { return static_cast<int16_t>(work.picture->bitsPerPixel); }

// Describes the picture's own bytes.
TolvaHandle borrow(const Work& work, void* bytes, size_t count) {
    return work.library->calls.GlobalPointerToHandle(bytes, static_cast<uint32_t>(count));
}
TolvaHandle borrowPixels(const Work& work) {
    return borrow(work, work.picture->pixels, size_t{work.picture->stride} * work.picture->height);
}

ExitStatus reportNoResult(const char* what) {
    return fail(kExitExportFailed, "the library returned nothing from %s", what);
}

// Dithering and reduction see the pixels that will be shown; those of larger ones would be thinned out again.
ExitStatus shrinkFirst(const Work& work, OutputSize& size) {
    Picture& picture = *work.picture;
    const auto width = static_cast<uint32_t>(size.width);
    const auto height = static_cast<uint32_t>(size.height);
    if (height >= picture.height || width > picture.width) return kExitDone;
    const auto shrink = [&](uint8_t* bytes, int32_t bits) {
        const Library& library = *work.library;
        const Block source(library,
                           borrow(work, bytes, size_t{imageio::rowBytes(picture.width, bits)} * picture.height));
        const Block result(library, library.calls.rlShrinkBitmap(source.handle, static_cast<int16_t>(bits),
                                                                 picture.width, picture.height, width, height));
        if (result.handle == 0) return false;
        std::memcpy(bytes, library.calls.GlobalLock(result.handle), size_t{imageio::rowBytes(width, bits)} * height);
        return true;
    };
    if (!shrink(picture.pixels, picture.bitsPerPixel)) return reportNoResult("rlShrinkBitmap");
    if (picture.mask != nullptr && !shrink(picture.mask, kMaskBits)) return reportNoResult("rlShrinkBitmap");
    picture.width = width;
    picture.height = height;
    picture.stride = imageio::rowBytes(width, picture.bitsPerPixel);
    size.reached = true;
    return kExitDone;
}

// Indices of fewer bits become bytes.
void takeIndices(const Work& work, TolvaHandle bitmap, int16_t bits) {
    Picture& picture = *work.picture;
    const uint8_t* const packed = static_cast<const uint8_t*>(work.library->calls.GlobalLock(bitmap));
    const uint32_t packedStride = imageio::rowBytes(picture.width, bits);
    const uint32_t perByte = 8U / static_cast<uint32_t>(bits);
    const uint32_t lowBits = (1U << bits) - 1;
    picture.bitsPerPixel = kIndexBits;
    picture.stride = imageio::rowBytes(picture.width, kIndexBits);
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* const from = packed + size_t{y} * packedStride;
        uint8_t* const row = picture.pixels + size_t{y} * picture.stride;
        if (bits == kIndexBits) {
            std::memcpy(row, from, picture.width);
            continue;
        }
        for (uint32_t x = 0; x < picture.width; ++x) {
            const uint32_t shift = (perByte - 1 - x % perByte) * static_cast<uint32_t>(bits);
            row[x] = static_cast<uint8_t>((from[x / perByte] >> shift) & lowBits);
        }
    }
}

void takeColours(const Work& work, TolvaHandle table, uint32_t count) {
    Picture& picture = *work.picture;
    std::memset(picture.palette, 0, sizeof picture.palette);
    std::memcpy(picture.palette, work.library->calls.GlobalLock(table), count * sizeof(Colour));
    picture.colours = count;
}

ExitStatus reducePicture(const Work& work) {
    const Library& library = *work.library;
    const Block pixels(library, borrowPixels(work));
    uint16_t count = kColoursBesideKey;
    const Block table(library, library.calls.rlReduceColorTable(pixels.handle, widthOf(work), heightOf(work), &count));
    if (stopRequested()) return kExitStopped;
    if (table.handle == 0) return reportNoResult("the colour reduction");
    const Block indices(library, library.calls.rlConvertBitmapDepth(pixels.handle, widthOf(work), heightOf(work),
                                                                    kColourBits, kIndexBits, 0, table.handle, count));
    if (stopRequested()) return kExitStopped;
    if (indices.handle == 0) return reportNoResult("the colour reduction");
    takeColours(work, table.handle, count);
    takeIndices(work, indices.handle, kIndexBits);
    return kExitDone;
}

ExitStatus ditherPicture(const Work& work, Dither dither) {
    const Library& library = *work.library;
    Picture& picture = *work.picture;
    const bool twoColours = dither == Dither::kBlackAndWhite;
    const int16_t bits = twoColours ? kOneBit : kFourBits;
    Colour own[std::size(kBlackAndWhite)];
    std::copy(std::begin(kBlackAndWhite), std::end(kBlackAndWhite), own);
    const Block pixels(library, borrowPixels(work));
    const Block palette(library, borrow(work, picture.palette, sizeof picture.palette));
    Block table(library, twoColours ? borrow(work, own, sizeof own) : 0);
    const Block indices(library,
                        library.calls.rlDitherBitmap(pixels.handle, widthOf(work), heightOf(work), bitsOf(work), bits,
                                                     bitsOf(work) == kIndexBits ? palette.handle : 0, &table.handle));
    if (stopRequested()) return kExitStopped;
    if (indices.handle == 0 || table.handle == 0) return reportNoResult("rlDitherBitmap");
    takeColours(work, table.handle, 1U << bits);
    takeIndices(work, indices.handle, bits);
    return kExitDone;
}

}  // namespace

ExitStatus prepareRaw(const Library& library, RawOrder& order, OutputSize& size, Picture& picture) {
    const bool dithers = order.dither == Dither::kBlackAndWhite || order.dither == Dither::kSixteenColours;
    if (!dithers && picture.mask == nullptr) return kExitDone;
    if (const ExitStatus failed = needEntries(library, EntryGroup::kRaster)) return failed;
    if (dithers && picture.transparentIndex != kNoTransparency) {
        if (const ExitStatus failed = makeMaskFromIndex(picture)) return failed;
    }
    if (picture.mask != nullptr) fillTransparentPixels(picture);
    const Work work = {&library, &picture};
    if (const ExitStatus failed = shrinkFirst(work, size)) return failed;
    uint32_t freeIndex = 0;
    if (dithers) {
        // The errors that are diffused are those of the colours shown, so the tone comes first.
        if (const ExitStatus failed = applyTone(library, order.tone, picture)) return failed;
        if (const ExitStatus failed = ditherPicture(work, order.dither)) return failed;
        freeIndex = picture.colours;
    } else if (picture.bitsPerPixel == kColourBits) {
        if (const ExitStatus failed = reducePicture(work)) return failed;
        freeIndex = picture.colours;
    } else {
        freeIndex = freeLevel(picture);
    }
    note("%s to %u colours", dithers ? "dithered" : "reduced", picture.colours);
    if (picture.mask != nullptr) putTransparentIndex(picture, freeIndex, order.background);
    return kExitDone;
}

}  // namespace cli
