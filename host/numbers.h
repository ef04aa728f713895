// numbers.h: the one place for sizes, saturation, loads and stores. Everything that turns a host's or a picture's
// numbers into sizes, indices and words goes through here, so that nothing wraps, traps or reads unaligned.
#ifndef TOLVA_HOST_NUMBERS_H
#define TOLVA_HOST_NUMBERS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "host/handle.h"

namespace tolva {

// Blocks from hosts are unaligned, so every word and double of theirs is read and written by copy.
template <class T>
inline T load(const void* from) {
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <class T>
inline void store(void* to, T value) {
    std::memcpy(to, &value, sizeof value);
}

// A field of a host's record, which may stand at any address: loadField<Type>(record, offsetof(Record, field)).
template <class T>
inline T loadField(const void* record, size_t offset) {
    return load<T>(static_cast<const uint8_t*>(record) + offset);
}

template <class T>
inline void storeField(void* record, size_t offset, T value) {
    store(static_cast<uint8_t*>(record) + offset, value);
}

// Truncates toward zero. Not a number gives 0; what lies outside the range gives its nearest end.
template <class Int>
inline Int truncated(double x) {
    constexpr Int lowest = std::numeric_limits<Int>::min();
    constexpr Int highest = std::numeric_limits<Int>::max();
    if (!(x == x)) return 0;
    // The bounds themselves are compared as doubles: the upper one may round up to the first value that does not fit.
    if (x <= static_cast<double>(lowest)) return lowest;
    if (x >= static_cast<double>(highest)) return highest;
    return static_cast<Int>(x);
}

// How far two coordinates lie apart when their fractions are cut off.
inline int64_t truncatedDistance(double first, double second) {
    const int64_t difference = int64_t{truncated<int32_t>(second)} - truncated<int32_t>(first);
    return difference < 0 ? -difference : difference;
}

inline int32_t saturated(int64_t value) {
    if (value > std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
    if (value < std::numeric_limits<int32_t>::min()) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(value);
}

// A 16-bit value as it stands in the low half of a wider word.
inline int16_t low16(int64_t value) {
    return static_cast<int16_t>(static_cast<uint16_t>(static_cast<uint64_t>(value)));
}

constexpr uint64_t kLargestBlock = std::numeric_limits<uint32_t>::max();

// rowBytes x rows where it fits a block; false where it does not, or where either is negative. Byte counts that come
// from pictures are multiplied here and nowhere else.
inline bool pictureBytes(int64_t rowBytes, int64_t rows, uint32_t* bytes) {
    if (rowBytes < 0 || rows < 0) return false;
    if (rows != 0 && static_cast<uint64_t>(rowBytes) > kLargestBlock / static_cast<uint64_t>(rows)) return false;
    *bytes = static_cast<uint32_t>(static_cast<uint64_t>(rowBytes) * static_cast<uint64_t>(rows));
    return true;
}

// A zero-filled block for a picture, or 0 where its bytes do not fit one: that counts as a failed allocation.
inline Handle allocPicture(int64_t rowBytes, int64_t rows) {
    uint32_t bytes = 0;
    return pictureBytes(rowBytes, rows, &bytes) ? GlobalAlloc(kTolvaMoveableZeroed, bytes) : 0;
}

}  // namespace tolva

#endif
