// output_stream.h: where a GIF goes. Used by the device and by the exports outside one.
#ifndef TOLVA_OUTPUT_OUTPUT_STREAM_H
#define TOLVA_OUTPUT_OUTPUT_STREAM_H

#include <tolva/driver.h>
#include "settings/current.h"

namespace tolva {

// The first that applies: the settings' output device, with the status record's context; the named file; a block of
// memory, whose address *memory (null before) receives and the stream keeps up to date, so that the variable must
// outlive it. 0 when the stream cannot be opened.
Handle openOutputStream(const Setup* setup, const TolvaStatusRecord* status, const char* name, void** memory);
void freeOutputMemory(void** memory);

}  // namespace tolva

#endif
