// read.h: the picture, as imageio/ gives it. Its pixels are the only large block of the program: the library borrows
// them where it can, so they stay as they are until the driver has closed.
#ifndef TOLVA_CLI_PICTURE_READ_H
#define TOLVA_CLI_PICTURE_READ_H

#include "cli/terminal/messages.h"
#include "imageio/picture.h"

namespace cli {

using imageio::Colour;
using imageio::kColourBits;
using imageio::kIndexBits;
using imageio::kMaskBits;
using imageio::kNoTransparency;
using imageio::kPaletteEntries;
using imageio::Picture;

// "-" is standard input, and standard output.
bool isStandard(const char* path);
// As messages have it.
const char* inputName(const char* path);
// Half-transparent colours are laid over the background. Transparency goes where another colour is to become the
// transparent one.
ExitStatus readPicture(const char* path, Colour background, bool keepTransparency, uint64_t mostPixels,
                       Picture& picture);

}  // namespace cli

#endif
