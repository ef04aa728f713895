// colour_numbers.h: a colour's number: bits 7 to 3 of its components, then bits 2, bits 1, bits 0 of all three. So
// cubes of 8, 4 and 2 levels are runs of numbers: what belongs together lies together in tables. Shared by answers.cpp
// and quantize/.
#ifndef TOLVA_NEAREST_COLOUR_NUMBERS_H
#define TOLVA_NEAREST_COLOUR_NUMBERS_H

#include <array>
#include <cstdint>

namespace tolva {

constexpr uint32_t kColours = 1u << 24;

using ComponentBits = std::array<uint32_t, 256>;

constexpr ComponentBits spreadComponents(uint32_t channel) {
    const uint32_t shift = 2 - channel;
    ComponentBits bits{};
    for (uint32_t level = 0; level < bits.size(); ++level) {
        bits[level] = (level >> 3) << (9 + 5 * shift) | (level >> 2 & 1) << (6 + shift) |
                      (level >> 1 & 1) << (3 + shift) | (level & 1) << shift;
    }
    return bits;
}
inline constexpr ComponentBits kSpread[3] = {spreadComponents(0), spreadComponents(1), spreadComponents(2)};

// cppcheck-suppress uninitvar ; callers fill all three
inline uint32_t numberOf(const uint8_t* c) { return kSpread[0][c[0]] | kSpread[1][c[1]] | kSpread[2][c[2]]; }

constexpr uint32_t levelOf(uint32_t number, uint32_t channel) {
    const uint32_t shift = 2 - channel;
    return (number >> (9 + 5 * shift) & 31) << 3 | (number >> (6 + shift) & 1) << 2 | (number >> (3 + shift) & 1) << 1 |
           (number >> shift & 1);
}

// Of so many pixels, of 3 or 4 bytes.
void numbersOf(const uint8_t* pixels, int bytesPerPixel, uint32_t count, uint32_t* numbers);

}  // namespace tolva

#endif
