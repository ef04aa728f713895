// input.h: what a fuzz target makes of its bytes: a cursor that never fails, and answers 0 where they have ended.
#ifndef TOLVA_FUZZ_INPUT_H
#define TOLVA_FUZZ_INPUT_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

struct Input {
    const uint8_t* at;
    const uint8_t* end;
    Input(const uint8_t* data, size_t size) : at(data), end(data + size) {}

    size_t left() const { return static_cast<size_t>(end - at); }
    // Exactly as long as asked for, in a block of its own: the sanitizer sees what is read behind it.
    std::vector<uint8_t> bytes(size_t count) {
        std::vector<uint8_t> taken(count);
        const size_t n = std::min(count, left());
        if (n > 0) std::memcpy(taken.data(), at, n);
        at += n;
        return taken;
    }
    std::vector<uint8_t> rest() { return bytes(left()); }
    template <class T>
    T number() {  // of any kind, in the machine's byte order
        T value{};
        const size_t n = std::min(sizeof value, left());
        if (n > 0) std::memcpy(&value, at, n);
        at += n;
        return value;
    }
    uint8_t byte() { return number<uint8_t>(); }
    uint32_t upTo(uint32_t most) {
        return (most > 0xFFFF ? number<uint32_t>() : most > 0xFF ? number<uint16_t>() : byte()) % (uint64_t{most} + 1);
    }
    template <class T, size_t n>
    T pick(const T (&choices)[n]) {
        return choices[upTo(n - 1)];
    }
    // Up to a zero or a line's end, which is passed over, and to `most` characters.
    std::string text(size_t most) {
        std::string taken;
        while (at < end && taken.size() < most && *at != 0 && *at != '\n') taken += static_cast<char>(*at++);
        if (at < end && (*at == 0 || *at == '\n')) ++at;
        return taken;
    }
};

#endif
