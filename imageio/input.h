// input.h: the bytes of a picture file or of standard input, mostly through one buffer that can be looked ahead in. The
// readers take their bytes here, and leave here why they refuse; a stop or a failing disk shows as an end that
// reportShortRead explains.
#ifndef TOLVA_IMAGEIO_INPUT_H
#define TOLVA_IMAGEIO_INPUT_H

#include <cstddef>
#include <cstdint>

#include "imageio/read_picture.h"

namespace imageio {

inline constexpr size_t kInputBufferBytes = 65536;
inline constexpr size_t kRefusalBytes = 512;
inline constexpr int kNoMoreBytes = -1;
inline constexpr int64_t kUnknownSize = -1;

struct Input {
    int file;
    const char* path;
    const ReadRequest* request;
    char refusal[kRefusalBytes];  // no string: a longjmp passes by here
    int error;                    // errno of a read that failed
    bool ended;                   // a read found nothing more
    int64_t beyond;               // bytes of a regular file that no read has fetched yet, or kUnknownSize
    int64_t size;                 // and of all of it, from where reading began
    size_t next;                  // of the buffer
    size_t end;
    uint8_t buffer[kInputBufferBytes];
};

Reason openInput(Input& input, const char* path, const ReadRequest& request);
void closeInput(Input& input);

// Says why and hands the reason back, so that a function leaves where it fails in one line.
[[nodiscard, gnu::format(printf, 2, 3)]] Reason refuse(Input& input, const char* format, ...);
[[gnu::format(printf, 2, 3)]] void warn(const Input& input, const char* format, ...);
inline bool isStopped(const Input& input) { return input.request->stopped(); }
// How a reader ends that got all it wanted.
inline Reason doneUnlessStopped(const Input& input) { return isStopped(input) ? kStopped : kDone; }

// Makes at least `wanted` bytes stand in the buffer, and says how many do: fewer only at the end.
size_t lookAhead(Input& input, size_t wanted);
// All of them, or false.
bool readBytes(Input& input, void* to, size_t count);
// Rows of so many bytes each, from the first one's place on, a stride apart. All of them, or false.
bool readRows(Input& input, uint8_t* first, ptrdiff_t stride, size_t bytes, uint32_t rows);
// So many bytes of a regular file stay there. False where they have to be read.
bool mapBytes(Input& input, uint64_t count, MappedFile& mapped);
int refillForByte(Input& input);
inline int nextByte(Input& input) { return input.next < input.end ? input.buffer[input.next++] : refillForByte(input); }

// False only where the input is known to be too short: what a header announces is believed up to the file's size, so
// that a few bytes cannot claim gigabytes of memory. A pipe's size is not known.
bool canHold(const Input& input, uint64_t bytes);
Reason reportShortRead(Input& input);

}  // namespace imageio

#endif
