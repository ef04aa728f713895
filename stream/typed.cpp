// typed.cpp: arrays of 16-, 32- and 64-bit values to and from a stream, with the stream's byte order and float format.
// Values are met byte by byte, most significant first, so that the files are the same from every machine.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "host/numbers.h"
#include "stream/buffer.h"

using namespace tolva;

namespace {

static_assert(std::endian::native == std::endian::little || std::endian::native == std::endian::big);

template <int n>
void reverse(uint8_t* bytes) {
    std::reverse(bytes, bytes + n);
}

// Between a value in memory and its bytes most significant first: the same step either way.
template <int n>
void swapNative(uint8_t* bytes) {
    if constexpr (std::endian::native == std::endian::little) reverse<n>(bytes);
}

uint16_t dataFormatOf(Handle stream) {
    const StreamRecord* const s = lockStream(stream);
    return s == nullptr ? uint16_t{kTolvaLittleEndian} : s->dataFormat;
}

uint16_t floatFormatOf(Handle stream) {
    const StreamRecord* const s = lockStream(stream);
    return s == nullptr ? uint16_t{kTolvaIeeeFloat} : s->floatFormat;
}

// Reads count elements and gives each of them, most significant byte first, to `convert`.
template <int n, class Convert>
int32_t readElements(Handle stream, void* buffer, int32_t count, Convert convert) {
    if (count < 0 || count > std::numeric_limits<int32_t>::max() / n) return 0;
    if (zunRead(stream, buffer, count * n) < count * n) return 0;
    const bool bigEndian = dataFormatOf(stream) == kTolvaBigEndian;
    uint8_t* bytes = static_cast<uint8_t*>(buffer);
    for (int32_t i = 0; i < count; ++i, bytes += n) {
        if (!bigEndian) reverse<n>(bytes);
        convert(bytes);
    }
    return count;
}

// Writes count elements, each made ready by `convert`, one write an element.
template <int n, class Convert>
int32_t writeElements(Handle stream, const void* buffer, int32_t count, Convert convert) {
    const bool bigEndian = dataFormatOf(stream) == kTolvaBigEndian;
    const uint8_t* from = static_cast<const uint8_t*>(buffer);
    for (int32_t i = 0; i < count; ++i, from += n) {
        uint8_t bytes[n];
        std::memcpy(bytes, from, n);
        convert(bytes, bigEndian);
        const int32_t written = zunWrite(stream, bytes, n);
        if (written < 1) return written;
    }
    return std::max(count, 0);
}

template <int n>
int32_t writeIntegers(Handle stream, const void* buffer, int32_t count) {
    return writeElements<n>(stream, buffer, count, [](uint8_t* bytes, bool bigEndian) {
        swapNative<n>(bytes);
        if (!bigEndian) reverse<n>(bytes);
    });
}

void fixedToFloat(uint8_t* bytes) {
    swapNative<4>(bytes);
    store(bytes, static_cast<float>(load<int32_t>(bytes) / 65536.0));
}

// Kept: fraction first, both halves most significant byte first whatever the data format, which is not what the reader
// takes; the files that hosts have written stand so. Not a number gives the end of the range that its sign names, and
// no fraction.
void floatToFixed(uint8_t* bytes) {
    const float value = load<float>(bytes);
    int32_t whole = truncated<int32_t>(value);
    uint16_t fraction = 0;
    if (std::isnan(value)) {
        whole = std::signbit(value) ? std::numeric_limits<int32_t>::min() : std::numeric_limits<int32_t>::max();
    } else {
        fraction = static_cast<uint16_t>(truncated<int32_t>((value - low16(whole)) * 65536.0));
    }
    zunNativeToBE(bytes, fraction, 2);
    zunNativeToBE(bytes + 2, static_cast<uint32_t>(whole), 2);
}

}  // namespace

int32_t zunReadChar(Handle stream, void* buffer, int32_t count) { return zunRead(stream, buffer, count); }
int32_t zunReadShort(Handle stream, void* buffer, int32_t count) {
    return readElements<2>(stream, buffer, count, swapNative<2>);
}
int32_t zunReadLong(Handle stream, void* buffer, int32_t count) {
    return readElements<4>(stream, buffer, count, swapNative<4>);
}
int32_t zunReadDouble(Handle stream, void* buffer, int32_t count) {
    return readElements<8>(stream, buffer, count, swapNative<8>);
}
int32_t zunReadFloat(Handle stream, void* buffer, int32_t count) {
    return readElements<4>(stream, buffer, count,
                           floatFormatOf(stream) == kTolvaFixed16_16 ? fixedToFloat : swapNative<4>);
}

int32_t zunWriteChar(Handle stream, const void* buffer, int32_t count) { return zunWrite(stream, buffer, count); }
int32_t zunWriteShort(Handle stream, const void* buffer, int32_t count) {
    return writeIntegers<2>(stream, buffer, count);
}
int32_t zunWriteLong(Handle stream, const void* buffer, int32_t count) {
    return writeIntegers<4>(stream, buffer, count);
}
int32_t zunWriteFloat(Handle stream, const void* buffer, int32_t count) {
    if (floatFormatOf(stream) != kTolvaFixed16_16) return writeIntegers<4>(stream, buffer, count);
    return writeElements<4>(stream, buffer, count, [](uint8_t* bytes, bool) { floatToFixed(bytes); });
}
int32_t zunWriteDouble(Handle stream, const void* buffer, int32_t count) {
    return writeElements<8>(stream, buffer, count, [](uint8_t* bytes, bool bigEndian) {
        swapNative<8>(bytes);
        reverse<8>(bytes);
        // Kept: big-endian files get only the first half turned back, which is not what the reader takes; the files
        // that hosts have written stand so.
        if (bigEndian) reverse<4>(bytes);
    });
}

int32_t zunSetDataFormat(Handle stream, uint16_t dataFormat, uint16_t floatFormat) {
    StreamRecord* const s = lockStream(stream);
    if (s == nullptr) return -1;
    s->dataFormat = dataFormat;
    s->floatFormat = floatFormat;
    return 0;
}

int32_t zunGetDataFormat(Handle stream, uint16_t* dataFormat, uint16_t* floatFormat) {
    const StreamRecord* const s = lockStream(stream);
    if (s == nullptr) return -1;
    if (dataFormat != nullptr) *dataFormat = s->dataFormat;
    if (floatFormat != nullptr) *floatFormat = s->floatFormat;
    return 0;
}

void zunNativeToLE(uint8_t* destination, uint32_t value, int32_t n) {
    for (int32_t i = 0; i < n; ++i, value >>= 8) destination[i] = static_cast<uint8_t>(value);
}

void zunNativeToBE(uint8_t* destination, uint32_t value, int32_t n) {
    for (int32_t i = n; i-- > 0; value >>= 8) destination[i] = static_cast<uint8_t>(value);
}
