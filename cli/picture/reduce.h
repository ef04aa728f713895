// reduce.h: from the picture that is to be shown to indices of at most so many colours. The library's own stages for it
// do the work; what comes out passes through the driver as it is.
#ifndef TOLVA_CLI_PICTURE_REDUCE_H
#define TOLVA_CLI_PICTURE_REDUCE_H

#include <optional>

#include "cli/library/library.h"
#include "cli/picture/read.h"
#include "cli/terminal/messages.h"

namespace cli {

enum class Dither { kUnlessExact, kNone, kDiffusion, kBlackAndWhite, kSixteenColours };  // the last two are raw

struct ReduceOrder {
    uint32_t colours;  // at most, the transparent one included
    Dither dither;
    std::optional<Colour> transparent;  // pixels of this very colour become so
    Colour background;                  // a transparent colour is shown like this where transparency is not
};

bool keepsIndices(const Picture& picture, uint32_t colours);
// A palette that is no longer than that stays, and so do the indices: the picture has `passed`, and no pixel of it is
// made transparent here.
ExitStatus reducePicture(const Library& library, const ReduceOrder& order, Picture& picture, bool& passed);

}  // namespace cli

#endif
