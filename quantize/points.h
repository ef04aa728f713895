// points.h: the picture's colours as the fitting sees them: each a mean and how many pixels it stands for. Made by
// distinct.cpp and histogram.cpp, grouped by variance_cut.cpp, followed by k_means.cpp.
#ifndef TOLVA_QUANTIZE_POINTS_H
#define TOLVA_QUANTIZE_POINTS_H

#include <cstdint>

namespace tolva {

// Means are 64ths of a level: fine enough that rounding is not seen, and squares of their differences fit 32 bits.
constexpr int32_t kLevel = 64;
constexpr uint32_t kChannels = 3;

struct ColourPoint {
    uint16_t mean[kChannels];
    uint16_t unused;
    uint64_t weight;
};
static_assert(sizeof(ColourPoint) == 16);

// Points of one box of colours stand side by side.
struct Cluster {
    uint32_t first;
    uint32_t points;
    uint16_t centroid[kChannels];
};

inline uint8_t roundedLevel(uint32_t mean) { return static_cast<uint8_t>((mean + kLevel / 2) / kLevel); }

}  // namespace tolva

#endif
