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

// What a sum or a counter holds no more is carried to a wider one, which is taken, or touched, only then.
struct Histogram {
    uint16_t* places;   // which of the counting bins a bin is; 0: none
    uint8_t* counters;  // null when coarse sums are all that is wanted
    bool* carries;      // of which bins any does
    uint16_t* carried;
    uint64_t* carriedTwice;
    SummingCube* sums;
    WideSums* wideSums;
    uint32_t counting;   // bins
    uint32_t summing;    // cubes
    uint64_t uncarried;  // pixels in the sums
    uint64_t pixels;
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
