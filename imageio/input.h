// input.h: the bytes of a picture file or of standard input, through one buffer that can be looked ahead in. The
// readers take their bytes here; a signal or a failing disk shows as an end that reportShortRead explains.
#ifndef TOLVA_IMAGEIO_INPUT_H
#define TOLVA_IMAGEIO_INPUT_H

#include <cstddef>
#include <cstdint>

#include "cli/terminal/messages.h"

namespace cli {

inline constexpr size_t kInputBufferBytes = 65536;
inline constexpr int kNoMoreBytes = -1;
inline constexpr int64_t kUnknownSize = -1;

struct Input {
    int file;
    const char* name;
    int error;       // errno of a read that failed
    bool ended;      // a read found nothing more
    int64_t beyond;  // bytes of a regular file that no read has fetched yet, or kUnknownSize
    size_t next;     // of the buffer
    size_t end;
    uint8_t buffer[kInputBufferBytes];
};

// "-" is standard input.
bool isStandard(const char* path);
// As messages have it.
const char* inputName(const char* path);
ExitStatus openInput(Input& input, const char* path);
void closeInput(Input& input);

// Makes at least `wanted` bytes stand in the buffer, and says how many do: fewer only at the end.
size_t lookAhead(Input& input, size_t wanted);
// All of them, or false.
bool readBytes(Input& input, void* to, size_t count);
int refillForByte(Input& input);
inline int nextByte(Input& input) { return input.next < input.end ? input.buffer[input.next++] : refillForByte(input); }

// False only where the input is known to be too short: what a header announces is believed up to the file's size, so
// that a few bytes cannot claim gigabytes of memory. A pipe's size is not known.
bool canHold(const Input& input, uint64_t bytes);
ExitStatus reportShortRead(const Input& input);

}  // namespace cli

#endif
