// histogram.h: how often colours appear, in bins of 4 x 4 x 4 with exact sums.
#ifndef TOLVA_QUANTIZE_HISTOGRAM_H
#define TOLVA_QUANTIZE_HISTOGRAM_H

#include "quantize/points.h"

namespace tolva {

constexpr uint32_t kBins = 1u << 18;

struct Bin {
    uint32_t pixels;
    uint32_t above[kChannels];  // sums of what the components lie above the bin's corner
};

struct WideBin {
    uint64_t pixels;
    uint64_t above[kChannels];
};

// Bins of 32 bits hold a gigapixel. Then they are carried over to wide ones, which are taken only then.
struct Histogram {
    Bin* bins;
    WideBin* wide;
    uint64_t uncarried;  // pixels
};

bool makeHistogram(Histogram& h);  // false: no memory
void freeHistogram(Histogram& h);

// False: no memory to carry over; the histogram is no good any more.
bool countColours(Histogram& h, const uint8_t* pixels, int bytesPerPixel, uint32_t width);
bool countColour(Histogram& h, uint32_t colour, uint64_t pixels);  // red, green, blue from bit 16 down

// The points of all bins that have any. They stand where the bins stood: the histogram counts no more, and `*points`
// goes with it.
uint32_t pointsOfBins(Histogram& h, ColourPoint** points);

}  // namespace tolva

#endif
