// scale.h: pictures at the size they are wanted in, with a filter in linear light.
#ifndef TOLVA_IMAGEIO_SCALE_H
#define TOLVA_IMAGEIO_SCALE_H

#include <cstdint>

#include "imageio/read_picture.h"

namespace imageio {

// Afterwards the picture has 24 bits or indices of at most 256 colours, and no alpha plane: what is less than half
// opaque is in the mask. Few colours that grow by whole factors in both directions are repeated pixel by pixel; greys
// stay greys. Refused is only what there is no memory for, and what the library for it cannot count; the picture may
// then have lost its pixels. kRefused: `text` says why.
Reason scalePicture(Picture& picture, uint32_t width, uint32_t height, bool (*stopped)(), const char*& text);

}  // namespace imageio

#endif
