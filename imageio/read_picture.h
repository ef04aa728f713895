// read_picture.h: the door of the picture readers. A reader per family of files; which one a file needs is told by its
// first bytes, never by its name.
#ifndef TOLVA_IMAGEIO_READ_PICTURE_H
#define TOLVA_IMAGEIO_READ_PICTURE_H

#include "cli/library/library.h"
#include "cli/terminal/messages.h"
#include "imageio/input.h"
#include "imageio/picture.h"

namespace cli {

struct ReadWishes {
    Colour background;      // what half-transparent colours are laid over
    bool keepTransparency;  // not when another colour is to become the transparent one
    uint64_t mostPixels;
    const Library* library;  // converts the colours of print
};

// On kExitDone the picture is the caller's to free.
ExitStatus readPicture(const char* path, const ReadWishes& wishes, Picture& picture);

// The readers; the input stands at the file's first byte. On failure the picture may be made and is still to be freed.
ExitStatus readPnm(Input& input, const ReadWishes& wishes, Picture& picture);
ExitStatus readPng(Input& input, const ReadWishes& wishes, Picture& picture);
ExitStatus readJpeg(Input& input, const ReadWishes& wishes, Picture& picture);

}  // namespace cli

#endif
