// lines.cpp: text lines with any line end, and finding out which line end a file uses. Profile files are read and
// rewritten with these.

#include "host/handle.h"
#include "stream/buffer.h"

using namespace tolva;

namespace {
constexpr char kCr = '\r';
constexpr char kLf = '\n';
}  // namespace

int32_t zunReadLine(Handle stream, char* buffer, int32_t size) {
    if (size > 0) buffer[0] = '\0';
    int32_t count = 0;
    int32_t last = 1;
    while (count < size) {
        char c = 0;
        last = zunRead(stream, &c, 1);
        if (last < 1) break;
        if (c == kCr) {
            last = zunRead(stream, &c, 1);
            if (last == 1 && c != kLf) zunSeek(stream, -1, kTolvaFromCurrent);
            break;
        }
        if (c == kLf) break;
        buffer[count++] = c;
        if (count < size) buffer[count] = '\0';
    }
    // Kept: a last line without a line end gives -1, with its text in the buffer. Readers of profiles take it for the
    // end of the file, hosts take the text.
    return last < 1 ? -1 : count;
}

int32_t zunWriteLine(Handle stream, const char* text, int32_t length) {
    const StreamRecord* const s = tolva::lockStream(stream);
    if (s == nullptr) return 0;
    const int32_t written = zunWrite(stream, text, length);
    int32_t end = 1;
    if (s->lineFormat != kTolvaLineLf) end = zunWrite(stream, &kCr, 1);
    if (end == 1 && s->lineFormat != kTolvaLineCr) end = zunWrite(stream, &kLf, 1);
    return end == 1 ? written : end;
}

int32_t zunSetLineFormat(Handle stream, uint16_t format) {
    StreamRecord* const s = tolva::lockStream(stream);
    if (s == nullptr) return -1;
    s->lineFormat = format;
    return 0;
}

int32_t zunGetLineFormat(Handle stream) {
    int32_t found = -1;
    for (char c = 0; found == -1 && zunRead(stream, &c, 1) == 1;) {
        if (c == kLf) found = kTolvaLineLf;
        if (c == kCr) found = zunRead(stream, &c, 1) == 1 && c == kLf ? kTolvaLineCrLf : kTolvaLineCr;
    }
    zunSeek(stream, 0, kTolvaFromStart);
    return found;
}
