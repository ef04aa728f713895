// scale.h: pictures at the size they are wanted in, with a filter in linear light.
#ifndef TOLVA_IMAGEIO_SCALE_H
#define TOLVA_IMAGEIO_SCALE_H

#include <cstdint>

#include "imageio/read_picture.h"

namespace imageio {

// Afterwards the picture has 24 bits or indices, and no alpha plane: what is less than half opaque is in the mask. Few
// colours that grow by whole factors in both directions are repeated pixel by pixel, so that they stay sharp; greys
// stay greys. kRefused: `text` says why, and the picture is as it was, as it is after kStopped.
// `advanced`, where it is not null, is told how far it is.
Reason scalePicture(Picture& picture, uint32_t width, uint32_t height, bool (*stopped)(), const char*& text,
                    void (*advanced)(uint64_t done, uint64_t whole) = nullptr);

}  // namespace imageio

#endif
