// read.h: the picture, as imageio/ gives it. Its pixels are the only large block of the program, unless they stay in
// their file: the library borrows them where it can, so they stay as they are until the driver has closed.
#ifndef TOLVA_CLI_PICTURE_READ_H
#define TOLVA_CLI_PICTURE_READ_H

#include "cli/terminal/messages.h"
#include "imageio/picture.h"

namespace cli {

using imageio::Colour;
using imageio::kColourBits;
using imageio::kColourBytes;
using imageio::kIndexBits;
using imageio::kMaskBits;
using imageio::kNoTransparency;
using imageio::kPaletteEntries;
using imageio::Picture;

inline constexpr Colour kWhite = {255, 255, 255};  // what is behind a picture unless the user says otherwise

// "-" is standard input, and standard output.
bool isStandard(const char* path);
// As messages have it.
const char* inputName(const char* path);
struct ReadOrder {
    const char* path;
    Colour background;      // what half-transparent colours are laid over
    bool keepTransparency;  // not where another colour is to become the transparent one
    bool raw;
    bool looksOnly;  // as imageio is told
    uint64_t mostPixels;
    bool (*willScale)(uint32_t width, uint32_t height, void* asker);  // as imageio asks, or null
    void* asker;
};

ExitStatus readPicture(const ReadOrder& order, Picture& picture);
// Asked when the picture was looked at in its file: whether it is what it was.
ExitStatus checkFile(const Picture& picture);

}  // namespace cli

#endif
