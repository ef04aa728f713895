// read_picture.h: the door of the picture readers. Which one a file needs is told by its first bytes, never by its
// name. Knows nothing of who asks: what it has to say goes back as a reason and a text.
#ifndef TOLVA_IMAGEIO_READ_PICTURE_H
#define TOLVA_IMAGEIO_READ_PICTURE_H

#include <cstdint>
#include <string>

#include "imageio/picture.h"

namespace imageio {

enum Reason { kDone, kRefused, kStopped };  // all but the first are failures

// What is less than half opaque is transparent; the rest is laid over the background. Colour profiles are obeyed.
struct ReadRequest {
    Colour background;
    bool keepTransparency;  // not when another colour is to become the transparent one
    // No profiles, and a palette's entry is laid over the background unless it is fully transparent.
    bool raw;
    bool looksOnly;  // unless it will be scaled: its pixels may stay in their file
    // Told the extents as they are shown; null: never. A picture that will be scaled keeps what scaling makes better:
    // samples of 16 bits, and the alpha of all its pixels, whose colours are laid over the background beforehand.
    bool (*willScale)(uint32_t width, uint32_t height, void* asker);
    void* asker;
    uint64_t mostPixels;
    const char* mostPixelsName;  // of the limit, for texts
    bool (*stopped)();           // asked between steps, and whenever a read is interrupted
    void (*warn)(const char* path, const char* text);
    void (*advanced)(uint64_t bytes, uint64_t size);  // null, or told how much of a file has been read
};

// "-" is standard input.
bool isStandard(const char* path);
// The text says why a picture is refused; it does not name the file.
Reason readPicture(const char* path, const ReadRequest& request, Picture& picture, std::string& text);

}  // namespace imageio

#endif
