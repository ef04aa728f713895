// resample.h: pictures at another size through filters, in linear light.
#ifndef TOLVA_IMAGEIO_RESAMPLE_H
#define TOLVA_IMAGEIO_RESAMPLE_H

#include <cstdint>

#include "imageio/read_picture.h"

namespace imageio {

// Fills `to`, whose room and extents stand: from greys (an index is its level then), or colours of 24 bits from
// anything. What becomes less than half opaque goes to the mask. kRefused: there is no memory for it.
Reason resample(const Picture& from, Picture& to, bool (*stopped)(), void (*advanced)(uint64_t done, uint64_t whole));

}  // namespace imageio

#endif
