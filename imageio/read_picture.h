// read_picture.h: the door of the picture readers. Which one a file needs is told by its first bytes, never by its
// name. Knows nothing of who asks: what it has to say goes back as a reason and a text.
#ifndef TOLVA_IMAGEIO_READ_PICTURE_H
#define TOLVA_IMAGEIO_READ_PICTURE_H

#include <cstdint>
#include <string>

#include "imageio/picture.h"

namespace imageio {

enum Reason { kDone, kRefused, kStopped };  // all but the first are failures

struct ReadRequest {
    Colour background;      // what half-transparent colours are laid over
    bool keepTransparency;  // not when another colour is to become the transparent one
    uint64_t mostPixels;
    const char* mostPixelsName;  // of the limit, for texts
    bool (*stopped)();           // asked between steps, and whenever a read is interrupted
    void (*warn)(const char* path, const char* text);
};

// "-" is standard input.
bool isStandard(const char* path);
// The text says why a picture is refused; it does not name the file.
Reason readPicture(const char* path, const ReadRequest& request, Picture& picture, std::string& text);

}  // namespace imageio

#endif
