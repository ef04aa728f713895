// histogram.h: how often colours appear, exactly as far as memory goes. Colours lie in bins of 4 x 4 x 4. As long as a
// picture has few of these, each of their 64 colours is counted; then, as in most photographs, bins keep exact sums.
// Called in the first pass as soon as there are too many colours for a list.
#ifndef TOLVA_QUANTIZE_HISTOGRAM_H
#define TOLVA_QUANTIZE_HISTOGRAM_H

#include "quantize/points.h"

namespace tolva {

struct ColourSums {
    uint64_t pixels;
    uint64_t levels[kChannels];
};

// What a sum or a counter holds no more is carried to a wider one, which is touched only then.
struct Histogram {
    uint16_t* places;  // which of the counting bins a bin is; 0: none
    uint8_t* counters;
    uint32_t* carried;
    uint32_t counting;  // bins
    uint64_t* sums;     // null as long as colours are counted
    ColourSums* wideSums;
    uint64_t pixels;
};

bool makeHistogram(Histogram& h);  // false: no memory
void freeHistogram(Histogram& h);

// False: no memory for sums; the histogram is no good any more.
bool countColours(Histogram& h, const uint8_t* pixels, int bytesPerPixel, uint32_t width);
bool countColour(Histogram& h, uint32_t colour, uint64_t pixels);  // red, green, blue from bit 16 down

// The colours, or the means of cubes of 2 or 4 levels: of the finest that do not make too many for the fitting; those
// of a cube of 8 levels that has hardly any pixels are one. How many; 0: no memory. The caller frees them.
uint32_t pointsOfBins(Histogram& h, ColourPoint** points);

}  // namespace tolva

#endif
