// convert_mode.cpp: the row filter behind the colour conversion modes: inversion and grey, in place. Cell arrays and
// colour tables pass through it on their way in, and rows that are dithered to two colours.

#include "raster/rows.h"

using namespace tolva;

namespace {

constexpr int32_t kNearGrey = 10;  // components this close count as grey for the inversion of greys

void invert(uint8_t* c) {
    for (int i = 0; i < kTolvaTripleBytes; ++i) c[i] = static_cast<uint8_t>(255 - c[i]);
}

void setGrey(uint8_t* c, bool inverted) {
    const int32_t level = (3 * c[0] + 6 * c[1] + c[2]) / 10;
    c[0] = c[1] = c[2] = static_cast<uint8_t>(inverted ? 255 - level : level);
}

}  // namespace

void rev_rgb(int32_t width, uint8_t* row, int32_t mode) {
    if (mode < kTolvaConvertInvert || mode > kTolvaConvertInvertGrey) return;
    for (int32_t x = 0; x < width; ++x, row += kTolvaTripleBytes) {
        switch (mode) {
            case kTolvaConvertInvert: invert(row); break;
            case kTolvaConvertInvertGreys:
                if (isGreyWithin(kNearGrey, row[0], row[1], row[2])) invert(row);
                break;
            default: setGrey(row, mode == kTolvaConvertInvertGrey); break;
        }
    }
}
