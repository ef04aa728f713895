// histogram.h: how often colours appear, exactly as far as memory goes. Colours lie in bins
// of 4 x 4 x 4. The first bins that are met count each of their 64 colours; where a picture has more of them than most
// photographs have, later ones keep exact sums together with those of their cube of 8 x 8 x 8. Called in the first pass
// as soon as there are too many colours for a list.
#ifndef TOLVA_QUANTIZE_HISTOGRAM_H
#define TOLVA_QUANTIZE_HISTOGRAM_H

#include "quantize/points.h"

namespace tolva {

struct SummingCube {
    uint64_t pixelsRed;  // two numbers of 32 bits each: pixels, and sums of what components lie above the cube's corner
    uint64_t greenBlue;
};

struct WideSums {
    uint64_t pixels;
    uint64_t above[kChannels];
};

// Counters of 32 bits are enough for a gigapixel. Then they are carried over to wide ones, which are taken only then.
struct Histogram {
    uint32_t* places;  // where a counting bin's counters begin; 0: of another bin
    uint32_t* counters;
    SummingCube* sums;
    uint64_t* wideCounters;
    WideSums* wideSums;
    uint32_t counting;   // bins
    uint32_t summing;    // cubes
    uint64_t uncarried;  // pixels
};

bool makeHistogram(Histogram& h);  // false: no memory
void freeHistogram(Histogram& h);

// False: no memory to carry over; the histogram is no good any more.
bool countColours(Histogram& h, const uint8_t* pixels, int bytesPerPixel, uint32_t width);
bool countColour(Histogram& h, uint32_t colour, uint64_t pixels);  // red, green, blue from bit 16 down

// The colours, or the means of cubes of 2, 4 or 8 levels: of the finest that do not make too many for the fitting. How
// many; 0: no memory. The caller frees them.
uint32_t pointsOfBins(const Histogram& h, ColourPoint** points);

}  // namespace tolva

#endif
