// status.h: the host's status record, and progress of the picture being written. The pipeline in output/ includes this
// against the order of the folders: it reports errors and progress through the driver's ground floor, and nothing else.
#ifndef TOLVA_DRIVER_STATUS_H
#define TOLVA_DRIVER_STATUS_H

#include <cstdint>

#include <tolva/driver.h>
#include "host/numbers.h"

namespace tolva {

// A host's record may stand at any address, and be no longer than what is asked of it.
inline TolvaStatusFunction statusFunctionOf(const TolvaStatusRecord* record) {
    return loadField<TolvaStatusFunction>(record, offsetof(TolvaStatusRecord, function));
}
inline intptr_t statusContextOf(const TolvaStatusRecord* record) {
    return loadField<intptr_t>(record, offsetof(TolvaStatusRecord, context));
}

// Tells the raster variant's host how far the picture is, 0 to 100. False when the host wants it stopped.
bool reportProgress(int32_t percent);

}  // namespace tolva

#endif
