// status.h: progress of the picture being written, for the pipeline in output/, which includes it against the order of the
// folders: it reports errors and progress through the driver's ground floor, and nothing else.
#ifndef TOLVA_DRIVER_STATUS_H
#define TOLVA_DRIVER_STATUS_H

#include <cstdint>

namespace tolva {

// Tells the raster variant's host how far the picture is, 0 to 100. False when the host wants it stopped.
bool reportProgress(int32_t percent);

}  // namespace tolva

#endif
