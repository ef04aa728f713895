// colours.cpp: the first pass over a picture's rows. Called by the reduction, and by whoever tells the user of it.

#include "cli/picture/colours.h"

#include "cli/terminal/bar.h"
#include "cli/terminal/stop.h"

namespace cli {

ExitStatus reportQuantizer(int32_t result) {
    if (result == kTolvaQuantized) return kExitDone;
    if (result == kTolvaQuantizeNoMemory) return fail(kExitInputRefused, "no memory for counting the colours");
    return fail(kExitExportFailed, "the library does not reduce this picture: error %d", result);
}

ExitStatus beginQuantizer(const TolvaQuantizeOrder& order, Quantizer& quantizer) {
    if (!hasEntries(quantizer.library, EntryGroup::kQuantize)) {
        return fail(kExitExportFailed, "%s: is older than this tolva and counts no colours; --raw does without",
                    quantizer.library.path.c_str());
    }
    return reportQuantizer(quantizer.library.calls.tolvaQuantizeBegin(&order, &quantizer.handle));
}

ExitStatus countRows(const Quantizer& quantizer, const PixelRows& rows, TolvaPalette& palette) {
    const Entries& calls = quantizer.library.calls;
    const uint32_t height = rows.picture->height;
    for (uint32_t y = 0; y < height; y += rows.mostRows) {
        if (stopRequested()) return kExitStopped;
        showPart(y, 2 * uint64_t{height});
        const TolvaPixelRows taken = takeRows(rows, y);
        if (const ExitStatus failed = reportQuantizer(calls.tolvaQuantizeCount(quantizer.handle, &taken))) {
            return failed;
        }
    }
    if (const ExitStatus failed = checkFile(*rows.picture)) return failed;
    return reportQuantizer(calls.tolvaQuantizePalette(quantizer.handle, &palette));
}

Quantizer::~Quantizer() {
    if (handle != nullptr) library.calls.tolvaQuantizeEnd(handle);
}

ExitStatus countColours(const Library& library, const Picture& picture, uint32_t& count) {
    Quantizer quantizer(library);
    PixelRows rows;
    if (const ExitStatus failed = startRows(picture, rows)) return failed;
    const TolvaQuantizeOrder order = {kTolvaLargestPalette, rows.format, kTolvaDiffuseNever, {}};
    if (const ExitStatus failed = beginQuantizer(order, quantizer)) return failed;
    TolvaPalette palette = {};
    const ExitStatus status = countRows(quantizer, rows, palette);
    count = palette.distinct;
    return status;
}

std::string colourCountText(uint32_t count) {
    if (count >= kTolvaManyColours) return "more than 256 colours";
    return std::to_string(count) + (count == 1 ? " colour" : " colours");
}

}  // namespace cli
