// reduce.cpp: two passes over the picture: its colours are counted, then every pixel becomes the index of one of them,
// at the start of its own row, so that the picture stays the only large block; of a picture that stayed in its file the
// indices are. Called by the export command, behind scaling and tone.

#include "cli/picture/reduce.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "cli/picture/colours.h"
#include "cli/picture/mask.h"
#include "cli/terminal/bar.h"
#include "cli/terminal/stop.h"

namespace cli {
namespace {

int32_t diffusionOf(Dither dither) {
    if (dither == Dither::kNone) return kTolvaDiffuseNever;
    return dither == Dither::kDiffusion ? kTolvaDiffuse : kTolvaDiffuseUnlessExact;
}

ExitStatus mapRows(const Quantizer& quantizer, const PixelRows& rows, Picture& to) {
    const intptr_t stride = -static_cast<intptr_t>(to.stride);
    for (uint32_t y = 0; y < to.height; y += rows.mostRows) {
        if (stopRequested()) return kExitStopped;
        showPart(uint64_t{to.height} + y, 2 * uint64_t{to.height});
        const TolvaPixelRows taken = takeRows(rows, y);
        const int32_t result =
            quantizer.library.calls.tolvaQuantizeMap(quantizer.handle, &taken, rowFromTop(to, y), stride);
        if (const ExitStatus failed = reportQuantizer(result)) return failed;
        leaveRows(rows, y, taken.rows);
    }
    return checkFile(*rows.picture);
}

// The rows close up, and the memory behind them goes back.
void compactRows(Picture& picture) {
    const uint32_t stride = imageio::rowBytes(picture.width, kIndexBits);
    for (uint32_t row = 1; stride != picture.stride && row < picture.height; ++row) {
        std::memmove(picture.pixels + size_t{row} * stride, picture.pixels + size_t{row} * picture.stride, stride);
    }
    picture.bitsPerPixel = kIndexBits;
    picture.stride = stride;
    if (void* const kept = std::realloc(picture.pixels, size_t{stride} * picture.height)) {
        picture.pixels = static_cast<uint8_t*>(kept);
    }
}

// The file is not needed any more.
void takeIndices(Picture& indices, Picture& picture) {
    imageio::unmapFile(picture.file);
    std::swap(picture.pixels, indices.pixels);
    picture.bitsPerPixel = indices.bitsPerPixel;
    picture.stride = indices.stride;
}

void takePalette(const TolvaPalette& palette, const ReduceOrder& order, Picture& picture) {
    static_assert(sizeof picture.palette == sizeof palette.colours);
    std::memcpy(picture.palette, palette.colours, sizeof picture.palette);
    picture.colours = palette.count;
    picture.transparentIndex = palette.key;
    dropMask(picture);
    if (palette.key != kTolvaNoKey) picture.palette[palette.key] = order.transparent.value_or(order.background);
}

void noteReduction(const TolvaPalette& palette, Dither dither) {
    const std::string count = colourCountText(palette.distinct);
    if (palette.exact != 0) return note("%s, exact", count.c_str());
    note("%s, reduced to %u%s", count.c_str(), palette.count, dither == Dither::kNone ? "" : ", dithered");
}

ExitStatus quantizePicture(const Library& library, const ReduceOrder& order, Picture& picture) {
    Quantizer quantizer(library);
    PixelRows rows;
    if (const ExitStatus failed = startRows(picture, rows)) return failed;
    const TolvaQuantizeOrder wanted = {order.colours, rows.format, diffusionOf(order.dither), {}};
    if (const ExitStatus failed = beginQuantizer(wanted, quantizer)) return failed;
    TolvaPalette palette = {};
    if (const ExitStatus failed = countRows(quantizer, rows, palette)) return failed;
    Picture indices;
    const bool inFile = liesInFile(picture);
    if (inFile && !makePicture(indices, picture.width, picture.height, kIndexBits))
        return fail(kExitInputRefused, "no memory for the picture's indices");
    if (const ExitStatus failed = mapRows(quantizer, rows, inFile ? indices : picture)) return failed;
    showPart(1, 1);
    inFile ? takeIndices(indices, picture) : compactRows(picture);
    takePalette(palette, order, picture);
    noteReduction(palette, order.dither);
    return kExitDone;
}

}  // namespace

// Transparent pixels that have no index yet need an entry more.
bool keepsIndices(const Picture& picture, uint32_t colours) {
    return picture.bitsPerPixel == kIndexBits && picture.mask == nullptr && picture.colours <= colours;
}

ExitStatus reducePicture(const Library& library, const ReduceOrder& order, Picture& picture, bool& passed) {
    passed = keepsIndices(picture, order.colours);
    if (passed) return kExitDone;
    if (order.transparent) {
        bool found = false;
        if (const ExitStatus failed = maskColour(picture, *order.transparent, found)) return failed;
        if (!found) warn("--transparent: no pixel has this colour");
    }
    return quantizePicture(library, order, picture);
}

}  // namespace cli
