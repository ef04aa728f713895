// input.cpp: reading ahead from a file descriptor. Bytes go through the buffer, but for rows that lie in the file as
// they will in memory: these are read to their places, many at a time, or left there.

#include "imageio/input.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace imageio {
namespace {

void tellAdvance(const Input& input) {
    if (input.request->advanced == nullptr) return;
    input.request->advanced(static_cast<uint64_t>(input.size - input.beyond), static_cast<uint64_t>(input.size));
}

// A signal ends the wait only when the user wants to stop; any other interruption tries again.
size_t readSome(Input& input, const iovec* places, int count) {
    ssize_t got = -1;
    do {
        if (isStopped(input)) return 0;
        got = readv(input.file, places, count);
    } while (got < 0 && errno == EINTR);
    if (got < 0) input.error = errno;
    if (got <= 0) {
        input.ended = true;
        return 0;
    }
    if (input.beyond != kUnknownSize) {
        input.beyond = std::max<int64_t>(input.beyond - got, 0);
        tellAdvance(input);
    }
    return static_cast<size_t>(got);
}

int openWaiting(const Input& input) {
    int file = -1;
    do {
        file = open(input.path, O_RDONLY | O_CLOEXEC | O_NOCTTY);
    } while (file < 0 && errno == EINTR && !isStopped(input));
    return file;
}

}  // namespace

bool isStandard(const char* path) { return std::strcmp(path, "-") == 0; }

Reason openInput(Input& input, const char* path, const ReadRequest& request) {
    input.path = path;
    input.request = &request;
    input.error = 0;
    input.ended = false;
    input.beyond = input.size = kUnknownSize;
    input.next = input.end = 0;
    input.file = isStandard(path) ? STDIN_FILENO : openWaiting(input);
    if (isStopped(input)) return kStopped;
    struct stat about = {};
    if (input.file < 0 || fstat(input.file, &about) != 0) return refuse(input, "%s", std::strerror(errno));
    if (S_ISDIR(about.st_mode)) return refuse(input, "is a folder");
    if (!S_ISREG(about.st_mode)) return kDone;
    // Standard input may already stand somewhere behind the start.
    const off_t here = lseek(input.file, 0, SEEK_CUR);
    if (here >= 0) input.beyond = input.size = std::max<int64_t>(about.st_size - here, 0);
    return kDone;
}

void closeInput(Input& input) {
    if (input.file > STDIN_FILENO) close(input.file);
    input.file = -1;
}

Reason refuse(Input& input, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(input.refusal, sizeof input.refusal, format, arguments);
    va_end(arguments);
    return kRefused;
}

void warn(const Input& input, const char* format, ...) {
    char text[kRefusalBytes];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    input.request->warn(input.path, text);
}

size_t lookAhead(Input& input, size_t wanted) {
    std::memmove(input.buffer, input.buffer + input.next, input.end - input.next);
    input.end -= input.next;
    input.next = 0;
    while (input.end < wanted) {
        const iovec rest = {input.buffer + input.end, kInputBufferBytes - input.end};
        const size_t got = readSome(input, &rest, 1);
        if (got == 0) break;
        input.end += got;
    }
    return input.end;
}

bool readBytes(Input& input, void* to, size_t count) {
    uint8_t* place = static_cast<uint8_t*>(to);
    while (count > 0) {
        const size_t ready = std::min(input.end - input.next, count);
        std::memcpy(place, input.buffer + input.next, ready);
        input.next += ready;
        place += ready;
        count -= ready;
        if (count > 0 && lookAhead(input, 1) == 0) return false;
    }
    return true;
}

bool readRows(Input& input, uint8_t* first, ptrdiff_t stride, size_t bytes, uint32_t rows) {
    constexpr uint32_t kRowsAtOnce = 64;
    size_t ahead = 0;  // of the first row that is missing
    for (uint32_t row = 0; row < rows;) {
        iovec places[kRowsAtOnce];
        const uint32_t some = std::min(rows - row, kRowsAtOnce);
        for (uint32_t i = 0; i < some; ++i) places[i] = {first + static_cast<ptrdiff_t>(row + i) * stride, bytes};
        places[0] = {first + static_cast<ptrdiff_t>(row) * stride + ahead, bytes - ahead};
        size_t got = std::min(input.end - input.next, places[0].iov_len);
        if (got > 0) {
            std::memcpy(places[0].iov_base, input.buffer + input.next, got);
            input.next += got;
        } else {
            got = readSome(input, places, static_cast<int>(some));
        }
        if (got == 0) return false;
        row += static_cast<uint32_t>((ahead + got) / bytes);
        ahead = (ahead + got) % bytes;
    }
    return true;
}

// More than the buffer holds, so that all that is ready belongs to them.
bool mapBytes(Input& input, uint64_t count, MappedFile& mapped) {
    const size_t ready = input.end - input.next;
    if (input.beyond == kUnknownSize || count <= kInputBufferBytes) return false;
    const off_t first = lseek(input.file, 0, SEEK_CUR) - static_cast<off_t>(ready);
    if (first < 0 || !mapFile(mapped, input.file, static_cast<uint64_t>(first), static_cast<size_t>(count)))
        return false;
    mapped.path = input.path;
    input.beyond -= lseek(input.file, first + static_cast<off_t>(count), SEEK_SET) - first - static_cast<off_t>(ready);
    input.next = input.end = 0;
    return true;
}

int refillForByte(Input& input) { return lookAhead(input, 1) == 0 ? kNoMoreBytes : input.buffer[input.next++]; }

bool canHold(const Input& input, uint64_t bytes) {
    return input.beyond == kUnknownSize || bytes <= static_cast<uint64_t>(input.beyond) + (input.end - input.next);
}

Reason reportShortRead(Input& input) {
    if (isStopped(input)) return kStopped;
    return refuse(input, "%s", input.error != 0 ? std::strerror(input.error) : "the file ends before the picture does");
}

}  // namespace imageio
