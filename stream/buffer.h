// buffer.h: the buffered side of a stream, on its locked record. Used by stream/ alone: the exported calls, opening and
// closing, and the compound-document reader, which reads its sectors through here.
#ifndef TOLVA_STREAM_BUFFER_H
#define TOLVA_STREAM_BUFFER_H

#include <cstdint>

#include <tolva/stream.h>
#include "host/handle.h"

namespace tolva {

inline StreamRecord* lockStream(Handle stream) { return static_cast<StreamRecord*>(GlobalLock(stream)); }
inline bool isMemoryStream(const StreamRecord& s) { return s.nextFill == -1; }
inline bool mayWrite(const StreamRecord& s) { return (s.mode & (kTolvaWriteFile | kTolvaUpdateFile)) != 0; }

inline intptr_t callProc(const StreamRecord& s, intptr_t operation, intptr_t a, intptr_t b) {
    return s.ioProc(s.ioInstance, operation, a, b);
}

int32_t fillBuffer(StreamRecord& s);
int32_t flushBuffer(StreamRecord& s);
int32_t readBuffered(StreamRecord& s, void* buffer, int32_t count);
int32_t writeBuffered(StreamRecord& s, const void* buffer, int32_t count);
int32_t seekBuffered(StreamRecord& s, int32_t offset, int32_t origin);

// The stream itself, not a sub-stream in it: in the buffer, or through the host's procedure.
int32_t readPlain(StreamRecord& s, void* buffer, int32_t count);
int32_t seekPlain(StreamRecord& s, int32_t offset, int32_t origin);

// What a memory stream's block has in reserve goes back to the system, if the block is still there.
void giveBackRoom(StreamRecord& s);

// Finds the length of the file behind the stream and leaves its position alone.
void measureFile(StreamRecord& s);

}  // namespace tolva

#endif
