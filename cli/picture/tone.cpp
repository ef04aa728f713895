// tone.cpp: the driver's own conversion, called where a picture must have its colours before the driver gets it.

#include "cli/picture/tone.h"

namespace cli {

ExitStatus applyTone(const Library& library, TolvaConversionMode& tone, Picture& picture) {
    if (tone == kTolvaConvertNothing) return kExitDone;
    if (const ExitStatus failed = needEntries(library, EntryGroup::kRaster)) return failed;
    if (picture.bitsPerPixel == kIndexBits) {
        library.calls.rev_rgb(kPaletteEntries, &picture.palette[0].red, tone);
    } else {
        for (uint32_t y = 0; y < picture.height; ++y) {
            uint8_t* const row = picture.pixels + size_t{y} * picture.stride;
            library.calls.rev_rgb(static_cast<int32_t>(picture.width), row, tone);
        }
    }
    tone = kTolvaConvertNothing;
    return kExitDone;
}

}  // namespace cli
