// prepare.cpp: pictures that cannot go to the driver as they are read. Called by main between the plan of the size and
// the session. Results of the library come in blocks of its own and are copied into the picture's: they are never
// larger, so the picture stays the only large block.

#include "cli/picture/prepare.h"

#include <algorithm>
#include <cstring>

#include "cli/library/output_size.h"
#include "cli/terminal/progress.h"

namespace cli {
namespace {

constexpr uint16_t kColoursBesideKey = kPaletteEntries - 1;
constexpr int16_t kFourBits = 4;
constexpr int16_t kOneBit = 1;
// The library's own table for two colours has eight greys, of whose indices one bit would be left.
constexpr Colour kBlackAndWhite[] = {{0, 0, 0}, {255, 255, 255}};

struct Work {
    const Library* library;
    RasterCalls calls;
    Picture* picture;
};

int32_t widthOf(const Work& work) { return static_cast<int32_t>(work.picture->width); }
int32_t heightOf(const Work& work) { return static_cast<int32_t>(work.picture->height); }
int16_t bitsOf(const Work& work) { return static_cast<int16_t>(work.picture->bitsPerPixel); }

// Describes the picture's own bytes; freeing the handle leaves them.
TolvaHandle borrow(const Work& work, void* bytes, size_t count) {
    return work.calls.pointerToHandle(bytes, static_cast<uint32_t>(count));
}
TolvaHandle borrowPixels(const Work& work) {
    return borrow(work, work.picture->pixels, size_t{work.picture->stride} * work.picture->height);
}

ExitStatus reportNoResult(const char* what) {
    return fail(kExitExportFailed, "the library returned nothing from %s", what);
}

bool isTransparent(const uint8_t* maskRow, uint32_t x) { return (maskRow[x / 8] & imageio::maskBit(x)) != 0; }

// ---- Transparent pixels ----

ExitStatus makeMaskFromIndex(Picture& picture) {
    if (!makeMask(picture)) return fail(kExitInputRefused, "no memory for the transparent pixels");
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* const row = picture.pixels + size_t{y} * picture.stride;
        uint8_t* const mask = maskRow(picture, y);
        for (uint32_t x = 0; x < picture.width; ++x) {
            if (row[x] == picture.transparentIndex) mask[x / 8] |= imageio::maskBit(x);
        }
    }
    picture.transparentIndex = kNoTransparency;
    return kExitDone;
}

// The first opaque pixel's bytes, or null.
const uint8_t* findOpaquePixel(const Picture& picture) {
    const auto bytes = static_cast<size_t>(picture.bitsPerPixel / 8);
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* const mask = maskRow(picture, y);
        for (uint32_t x = 0; x < picture.width; ++x) {
            if (!isTransparent(mask, x)) return picture.pixels + size_t{y} * picture.stride + x * bytes;
        }
    }
    return nullptr;
}

// Transparent pixels take a colour that the picture has anyway: they then cost no entry of a reduced palette.
void fillTransparentPixels(Picture& picture) {
    const auto bytes = static_cast<size_t>(picture.bitsPerPixel / 8);
    uint8_t fill[kTolvaTripleBytes] = {};
    if (const uint8_t* const opaque = findOpaquePixel(picture)) std::memcpy(fill, opaque, bytes);
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* const mask = maskRow(picture, y);
        uint8_t* const row = picture.pixels + size_t{y} * picture.stride;
        for (uint32_t x = 0; x < picture.width; ++x) {
            if (isTransparent(mask, x)) std::memcpy(row + x * bytes, fill, bytes);
        }
    }
}

void putTransparentIndex(Picture& picture, uint32_t index, Colour colour) {
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* const mask = maskRow(picture, y);
        uint8_t* const row = picture.pixels + size_t{y} * picture.stride;
        for (uint32_t x = 0; x < picture.width; ++x) {
            if (isTransparent(mask, x)) row[x] = static_cast<uint8_t>(index);
        }
    }
    dropMask(picture);
    picture.palette[index] = colour;
    picture.colours = std::max(picture.colours, index + 1);
    picture.transparentIndex = static_cast<int>(index);
}

// An index that no opaque pixel of a ramp of 256 greys has; where all have one, the rarest level's, whose pixels move
// to a neighbour.
uint32_t freeLevel(Picture& picture) {
    uint32_t pixels[kPaletteEntries] = {};
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* const mask = maskRow(picture, y);
        const uint8_t* const row = picture.pixels + size_t{y} * picture.stride;
        for (uint32_t x = 0; x < picture.width; ++x) pixels[row[x]] += isTransparent(mask, x) ? 0 : 1;
    }
    const auto rarest = static_cast<uint32_t>(std::min_element(pixels, pixels + kPaletteEntries) - pixels);
    const auto neighbour = static_cast<uint8_t>(rarest == 0 ? 1 : rarest - 1);
    for (uint32_t y = 0; pixels[rarest] > 0 && y < picture.height; ++y) {
        uint8_t* const row = picture.pixels + size_t{y} * picture.stride;
        std::replace(row, row + picture.width, static_cast<uint8_t>(rarest), neighbour);
    }
    return rarest;
}

// ---- Calls of the library ----

// Dithering and reduction see the pixels that will be shown; those of larger ones would be thinned out again.
ExitStatus shrinkFirst(const Work& work, OutputSize& size) {
    Picture& picture = *work.picture;
    const auto width = static_cast<uint32_t>(size.width);
    const auto height = static_cast<uint32_t>(size.height);
    if (height >= picture.height || width > picture.width) return kExitDone;
    const auto shrink = [&](uint8_t* bytes, int32_t bits) {
        const TolvaHandle source = borrow(work, bytes, size_t{imageio::rowBytes(picture.width, bits)} * picture.height);
        const TolvaHandle result =
            work.calls.shrinkBitmap(source, static_cast<int16_t>(bits), picture.width, picture.height, width, height);
        work.calls.globalFree(source);
        if (result == 0) return false;
        std::memcpy(bytes, work.library->globalLock(result), size_t{imageio::rowBytes(width, bits)} * height);
        work.calls.globalFree(result);
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
    const uint8_t* const packed = static_cast<const uint8_t*>(work.library->globalLock(bitmap));
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
    std::memcpy(picture.palette, work.library->globalLock(table), count * sizeof(Colour));
    picture.colours = count;
}

ExitStatus reducePicture(const Work& work) {
    const TolvaHandle pixels = borrowPixels(work);
    uint16_t count = kColoursBesideKey;
    const TolvaHandle table = work.calls.reduceColorTable(pixels, widthOf(work), heightOf(work), &count);
    TolvaHandle indices = 0;
    if (table != 0 && !stopWished()) {
        indices = work.calls.convertBitmapDepth(pixels, widthOf(work), heightOf(work), kColourBits, kIndexBits, 0,
                                                table, count);
    }
    if (indices != 0) {
        takeColours(work, table, count);
        takeIndices(work, indices, kIndexBits);
    }
    work.calls.globalFree(indices);
    work.calls.globalFree(table);
    work.calls.globalFree(pixels);
    if (stopWished()) return kExitStopped;
    return indices != 0 ? kExitDone : reportNoResult("the colour reduction");
}

void convertColours(const RasterCalls& calls, TolvaConversionMode& tone, Picture& picture) {
    if (picture.bitsPerPixel == kIndexBits) {
        calls.convertTone(kPaletteEntries, &picture.palette[0].red, tone);
    } else {
        for (uint32_t y = 0; tone != kTolvaConvertNothing && y < picture.height; ++y) {
            calls.convertTone(static_cast<int32_t>(picture.width), picture.pixels + size_t{y} * picture.stride, tone);
        }
    }
    tone = kTolvaConvertNothing;
}

ExitStatus ditherPicture(const Work& work, DitherWish wish) {
    const bool twoColours = wish == DitherWish::kBlackAndWhite;
    const int16_t bits = twoColours ? kOneBit : kFourBits;
    Colour own[std::size(kBlackAndWhite)];
    std::copy(std::begin(kBlackAndWhite), std::end(kBlackAndWhite), own);
    const TolvaHandle pixels = borrowPixels(work);
    const TolvaHandle palette = borrow(work, work.picture->palette, sizeof work.picture->palette);
    TolvaHandle table = twoColours ? borrow(work, own, sizeof own) : 0;
    const TolvaHandle indices = work.calls.ditherBitmap(pixels, widthOf(work), heightOf(work), bitsOf(work), bits,
                                                        bitsOf(work) == kIndexBits ? palette : 0, &table);
    if (indices != 0 && table != 0) {
        takeColours(work, table, 1U << bits);
        takeIndices(work, indices, bits);
    }
    const bool done = indices != 0 && table != 0;
    work.calls.globalFree(indices);
    work.calls.globalFree(table);
    work.calls.globalFree(palette);
    work.calls.globalFree(pixels);
    if (stopWished()) return kExitStopped;
    return done ? kExitDone : reportNoResult("rlDitherBitmap");
}

}  // namespace

ExitStatus preparePicture(const Library& library, PrepareOrder& order, OutputSize& size, Picture& picture) {
    const bool dithers = order.dither != DitherWish::kNone;
    if (!dithers && picture.mask == nullptr) return kExitDone;
    Work work = {&library, {}, &picture};
    ExitStatus status = loadRasterCalls(library, work.calls);
    if (status == kExitDone && dithers && picture.transparentIndex != kNoTransparency) {
        status = makeMaskFromIndex(picture);
    }
    if (status != kExitDone) return status;
    if (picture.mask != nullptr) fillTransparentPixels(picture);
    status = shrinkFirst(work, size);
    if (status != kExitDone) return status;
    uint32_t freeIndex = 0;
    if (dithers) {
        // The errors that are diffused are those of the colours shown, so the tone comes first.
        convertColours(work.calls, order.tone, picture);
        status = ditherPicture(work, order.dither);
        freeIndex = picture.colours;
    } else if (picture.bitsPerPixel == kColourBits) {
        status = reducePicture(work);
        freeIndex = picture.colours;
    } else {
        freeIndex = freeLevel(picture);
    }
    if (status != kExitDone) return status;
    note("%s to %u colours", dithers ? "dithered" : "reduced", picture.colours);
    if (picture.mask != nullptr) putTransparentIndex(picture, freeIndex, order.background);
    return status;
}

ExitStatus applyTone(const Library& library, TolvaConversionMode& tone, Picture& picture) {
    if (tone == kTolvaConvertNothing) return kExitDone;
    RasterCalls calls = {};
    const ExitStatus status = loadRasterCalls(library, calls);
    if (status == kExitDone) convertColours(calls, tone, picture);
    return status;
}

}  // namespace cli
