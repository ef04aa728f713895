// key_colour.h: how the library is told which palette entry is transparent.
#ifndef TOLVA_CLI_PICTURE_KEY_COLOUR_H
#define TOLVA_CLI_PICTURE_KEY_COLOUR_H

#include "cli/library/library.h"
#include "cli/picture/read.h"
#include "cli/terminal/messages.h"

namespace cli {

// Gives the transparent entry a colour that the library's search for the transparent colour finds again, and answers
// how that colour is named to the library, which knows the palette after its tone.
ExitStatus settleKey(const Library& library, TolvaConversionMode tone, Picture& picture, Colour& named);

}  // namespace cli

#endif
