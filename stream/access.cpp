// access.cpp: reading, writing and seeking, as everything above the streams does it: in a compound document's
// sub-stream, through the host's procedure, or in the buffer.

#include "host/handle.h"
#include "stream/buffer.h"

using namespace tolva;

int32_t zunRead(Handle stream, void* buffer, int32_t count) {
    StreamRecord* const s = lockStream(stream);
    if (s == nullptr) return 0;
    // A procedure has no sub-streams.
    return s->docMode != 0 && s->ioProc == nullptr ? docRead(stream, buffer, count) : readPlain(*s, buffer, count);
}

int32_t zunWrite(Handle stream, const void* buffer, int32_t count) {
    StreamRecord* const s = lockStream(stream);
    if (s == nullptr) return 0;
    if (s->ioProc == nullptr) return writeBuffered(*s, buffer, count);
    return static_cast<int32_t>(callProc(*s, kTolvaProcWrite, reinterpret_cast<intptr_t>(buffer), count));
}

int32_t zunSeek(Handle stream, int32_t offset, int32_t origin) {
    StreamRecord* const s = lockStream(stream);
    if (s == nullptr) return -1;
    return s->docMode != 0 && s->ioProc == nullptr ? docSeek(stream, offset, origin) : seekPlain(*s, offset, origin);
}

int32_t FillZunIOBuf(Handle stream) {
    StreamRecord* const s = lockStream(stream);
    return s == nullptr ? -1 : fillBuffer(*s);
}

int32_t FlushZunIO(Handle stream) {
    StreamRecord* const s = lockStream(stream);
    return s == nullptr ? -1 : flushBuffer(*s);
}
