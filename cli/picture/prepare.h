// prepare.h: what the host does with a picture before the driver gets it: dithering, and the reduction of pictures with
// transparent pixels. Both are the library's own work, called through its exported functions.
#ifndef TOLVA_CLI_PICTURE_PREPARE_H
#define TOLVA_CLI_PICTURE_PREPARE_H

#include "cli/library/library.h"
#include "cli/picture/read.h"
#include "cli/terminal/messages.h"

namespace cli {

struct OutputSize;

enum class Dither { kNone, kBlackAndWhite, kSixteenColours };

struct PrepareOrder {
    Dither dither;
    TolvaConversionMode tone;  // kTolvaConvertNothing afterwards where it has been applied
    Colour background;         // a transparent colour is shown like this where transparency is not
};

// Afterwards the picture has no mask, and its size may already be the GIF's: `size` then says so.
ExitStatus preparePicture(const Library& library, PrepareOrder& order, OutputSize& size, Picture& picture);

// What the driver does with its own colours on other ways; `tone` is kTolvaConvertNothing afterwards.
ExitStatus applyTone(const Library& library, TolvaConversionMode& tone, Picture& picture);

}  // namespace cli

#endif
