// diffusion.h: error diffusion with Floyd and Steinberg's weights, from left to right. Called by the second pass.
#ifndef TOLVA_QUANTIZE_DIFFUSION_H
#define TOLVA_QUANTIZE_DIFFUSION_H

#include "nearest/answers.h"
#include "quantize/points.h"

namespace tolva {

// What the next row gets, in 16ths of a level; one number more for the sake of loads.
struct Arriving {
    int16_t errors[kChannels + 1];
};

struct Diffusion {
    Arriving* columns;
    uint32_t width;
};

// Errors begin anew where the width is another than before. False: no memory.
bool beginRows(Diffusion& d, uint32_t width);
void freeDiffusion(Diffusion& d);

struct DiffusedRow {
    const uint8_t* pixels;
    int bytesPerPixel;
    const bool* transparent;  // null where no pixel is
    uint8_t key;              // what those become; they neither take errors nor hand them on
    uint8_t* to;
};

// What pixels of a row hand on, in levels.
struct PassedErrors {
    int32_t previous[kChannels];
    int32_t beforeThat[kChannels];
};

// Pixels of a row from column `first` on; pieces of a row follow one another with the same `passed`, which begins
// empty. `to` may be `pixels`.
void diffusePiece(Diffusion& d, Answers& answers, const uint8_t* table, const DiffusedRow& row, uint32_t first,
                  uint32_t pixels, PassedErrors& passed);

}  // namespace tolva

#endif
