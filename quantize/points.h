// points.h: the picture's colours as the fitting sees them: each a mean and how many pixels it stands for. Made by
// distinct.cpp and histogram.cpp, grouped by variance_cut.cpp, followed by k_means.cpp.
#ifndef TOLVA_QUANTIZE_POINTS_H
#define TOLVA_QUANTIZE_POINTS_H

#include <cstdint>

namespace tolva {

constexpr uint32_t kChannels = 3;

// Means are small parts of a level: fine enough that rounding is not seen, and squares of their differences fit 32
// bits. The same difference is seen most in green and least in red, so that their levels are parted accordingly:
// against equal ones that takes 2 % off the distances in Lab of photographs and adds next to nothing to the squared
// error.
constexpr int32_t kLevel[kChannels] = {56, 72, 64};

struct ColourPoint {
    int16_t mean[kChannels];
    int16_t unused;
    uint64_t weight;
};
static_assert(sizeof(ColourPoint) == 16);

// Points of one box of colours stand side by side.
struct Cluster {
    uint32_t first;
    uint32_t points;
    int16_t centroid[kChannels];
};

inline uint8_t roundedLevel(int32_t mean, uint32_t channel) {
    return static_cast<uint8_t>((mean + kLevel[channel] / 2) / kLevel[channel]);
}

}  // namespace tolva

#endif
