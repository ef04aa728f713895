// bands.h: a picture that is drawn band by band; for the library's own calls of it.
#ifndef TOLVA_OUTPUT_BANDS_H
#define TOLVA_OUTPUT_BANDS_H

#include "output/output.h"

namespace tolva {

// OutputPicture inside a call that is under way.
int32_t drawBands(Handle stream, void* hostContext, OffscreenCallback callback);

}  // namespace tolva

#endif
