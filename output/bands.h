// bands.h: a picture that is drawn band by band; for the library's own calls of it.
#ifndef TOLVA_OUTPUT_BANDS_H
#define TOLVA_OUTPUT_BANDS_H

#include <tolva/output.h>
#include "host/handle.h"

namespace tolva {

// OutputPicture inside a call that is under way.
int32_t drawBands(Handle stream, void* hostContext, TolvaOffscreenCallback callback);

}  // namespace tolva

#endif
