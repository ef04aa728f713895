// raw.h: what the host does under --raw with a picture before the driver gets it: dithering, and the reduction of
// pictures with transparent pixels. Both are the library's own work as hosts know it, called through its exported
// functions.
#ifndef TOLVA_CLI_PICTURE_RAW_H
#define TOLVA_CLI_PICTURE_RAW_H

#include "cli/library/library.h"
#include "cli/picture/read.h"
#include "cli/picture/reduce.h"
#include "cli/terminal/messages.h"

namespace cli {

struct OutputSize;

struct RawOrder {
    Dither dither;
    TolvaConversionMode tone;  // kTolvaConvertNothing afterwards where it has been applied
    Colour background;         // a transparent colour is shown like this where transparency is not
};

// Afterwards the picture has no mask, and its size may already be the GIF's: `size` then says so.
ExitStatus prepareRaw(const Library& library, RawOrder& order, OutputSize& size, Picture& picture);

}  // namespace cli

#endif
