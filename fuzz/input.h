// input.h: what a fuzz target makes of its bytes: a cursor that never fails, and gives zeros where they have ended.
#ifndef TOLVA_FUZZ_INPUT_H
#define TOLVA_FUZZ_INPUT_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

struct Input {
    const uint8_t* at;
    const uint8_t* end;
    Input(const uint8_t* data, size_t size) : at(data), end(data + size) {}

    size_t left() const { return static_cast<size_t>(end - at); }
    void take(void* to, size_t count) {
        const size_t n = std::min(count, left());
        std::copy_n(at, n, static_cast<uint8_t*>(to));
        at += n;
    }
    // In a block of its own: the sanitizer sees what is read behind it.
    std::vector<uint8_t> bytes(size_t count) {
        std::vector<uint8_t> taken(count);
        take(taken.data(), count);
        return taken;
    }
    std::vector<uint8_t> rest() { return bytes(left()); }
    template <class T>
    T number() {  // of any kind, in the machine's byte order
        T value{};
        take(&value, sizeof value);
        return value;
    }
    uint8_t byte() { return number<uint8_t>(); }
    uint32_t upTo(uint32_t most) { return (most > 0xFF ? number<uint32_t>() : byte()) % (uint64_t{most} + 1); }
    template <class T, size_t n>
    T pick(const T (&choices)[n]) {
        return choices[upTo(n - 1)];
    }
    // Up to a zero or a line's end, which is passed over, and to `most` characters.
    std::string text(size_t most) {
        const size_t n = std::min(most, left());
        const uint8_t* const stop = std::find_if(at, at + n, [](uint8_t c) { return c == 0 || c == '\n'; });
        std::string taken(at, stop);
        at = stop < at + n ? stop + 1 : stop;
        return taken;
    }
};

// ---- For targets that take pictures ----

using Bytes = std::vector<uint8_t>;

// Not inlined, so that a find shows the line.
[[gnu::noinline]] inline void check(bool holds) { holds ? void() : __builtin_trap(); }

// Pictures may be larger than inputs: the rest over and over, each byte so many times, with a ramp and noise on top.
inline Bytes drawn(Input& in, size_t count) {
    const uint32_t kind = in.byte(), by = in.byte();
    Bytes few = in.rest(), many(count);
    few.push_back(1);
    for (size_t i = 0, noise = by; i < count; ++i, noise = noise * 1664525 + 1013904223)
        many[i] = few[(i >> kind % 8) % few.size()] + ((kind & 8) * i * by >> 11) + (kind >> 4 & 1) * (noise >> 28);
    return many;
}

// The name of a file in memory.
inline std::string fileOf(const uint8_t* bytes, size_t count) {
    static const int file = memfd_create("fuzz", 0);
    check(ftruncate(file, 0) == 0 && pwrite(file, bytes, count, 0) == ssize_t(count));
    return "/proc/self/fd/" + std::to_string(file);
}

#endif
