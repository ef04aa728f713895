// prepare.cpp: scaling, tone, reduction, the key: the stages that the program puts before the driver, or under --raw
// what it leaves to the library. Called by the export command between the plan of the size and the session.

#include "cli/picture/prepare.h"

#include <algorithm>

#include "cli/picture/key_colour.h"
#include "cli/picture/raw.h"
#include "cli/picture/reduce.h"
#include "cli/picture/tone.h"
#include "cli/terminal/bar.h"
#include "cli/terminal/stop.h"
#include "imageio/scale.h"

namespace cli {
namespace {

// A row that the library adds is none of the picture's.
ExitStatus scaleToSize(OutputSize& size, Picture& picture) {
    const auto width = static_cast<uint32_t>(size.width);
    const auto height = static_cast<uint32_t>(size.rows);
    size.reached = true;
    if (width == picture.width && height == picture.height) return kExitDone;
    if (liesInFile(picture)) return fail(kExitExportFailed, "the library has two answers to how large the GIF will be");
    enterStage(Stage::kScaling);
    const char* why = nullptr;
    switch (imageio::scalePicture(picture, width, height, stopRequested, why, showPart)) {
        case imageio::kDone: break;
        case imageio::kStopped: return kExitStopped;
        default: return fail(kExitInputRefused, "%s", why);
    }
    showPart(1, 1);
    note("scaled to %u x %u pixels", width, height);
    return kExitDone;
}

// What comes out of it passes through the library as it is.
ExitStatus prepareByStages(const Options& options, const Library& library, Picture& picture, Prepared& prepared) {
    if (const ExitStatus failed = scaleToSize(prepared.size, picture)) return failed;
    if (const ExitStatus failed = applyTone(library, prepared.tone, picture)) return failed;
    std::fill(picture.palette + picture.colours, picture.palette + kPaletteEntries, Colour{});  // a tone may light them
    enterStage(Stage::kReducing);
    const ReduceOrder order = {options.colours.value_or(kTolvaLargestPalette), options.dither, options.transparent,
                               options.background.value_or(kWhite)};
    bool passed = false;
    if (const ExitStatus failed = reducePicture(library, order, picture, passed)) return failed;
    if (!passed) return kExitDone;
    note("the palette stays as it is");
    prepared.transparent = options.transparent;
    return kExitDone;
}

ExitStatus prepareByLibrary(const Options& options, const Library& library, Picture& picture, Prepared& prepared) {
    RawOrder order = {options.dither, prepared.tone, options.background.value_or(kWhite)};
    if (const ExitStatus failed = prepareRaw(library, order, prepared.size, picture)) return failed;
    prepared.tone = order.tone;
    prepared.transparent = options.transparent;
    return kExitDone;
}

}  // namespace

ExitStatus preparePicture(const Options& options, const Library& library, Picture& picture, Prepared& prepared) {
    const auto prepare = options.raw ? prepareByLibrary : prepareByStages;
    if (const ExitStatus failed = prepare(options, library, picture, prepared)) return failed;
    // What the user asks for wins over what the picture brings.
    if (!prepared.transparent && picture.transparentIndex != kNoTransparency) {
        if (const ExitStatus failed = settleKey(library, prepared.tone, picture, prepared.transparent.emplace())) {
            return failed;
        }
    }
    // On the other ways the driver converts colours as they come.
    return options.way == Way::kExport ? applyTone(library, prepared.tone, picture) : kExitDone;
}

}  // namespace cli
