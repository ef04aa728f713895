// readers.h: a reader per family of files, and the limits that all keep.
#ifndef TOLVA_IMAGEIO_READERS_H
#define TOLVA_IMAGEIO_READERS_H

#include <cstdint>

#include "imageio/input.h"
#include "imageio/picture.h"

namespace imageio {

inline constexpr int kLargestExtent = 65535;  // pixels in either direction

// The input stands at the file's first byte.
Reason readPnm(Input& input, Picture& picture);
Reason readPng(Input& input, Picture& picture);
Reason readJpeg(Input& input, Picture& picture);

// Refuses extents that no GIF can hold, and more pixels than the user allows.
Reason checkExtents(Input& input, uint64_t width, uint64_t height);
// Asks about upright extents.
bool willScale(const Input& input, uint64_t width, uint64_t height);
// A picture of red, green and blue of 8 bits, which come next: false where it has to be read.
bool leaveInFile(Input& input, Picture& picture, uint64_t width, uint64_t height);
// Makes a picture of checked extents.
Reason startPicture(Input& input, Picture& picture, uint64_t width, uint64_t height, int32_t bitsPerPixel);

}  // namespace imageio

#endif
