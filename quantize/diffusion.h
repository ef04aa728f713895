// diffusion.h: error diffusion with Floyd and Steinberg's weights, from left to right. Called by the second pass.
#ifndef TOLVA_QUANTIZE_DIFFUSION_H
#define TOLVA_QUANTIZE_DIFFUSION_H

#include "nearest/answers.h"
#include "quantize/points.h"

namespace tolva {

// A number a channel, and one more for the sake of loads.
struct Lanes {
    int16_t of[kChannels + 1];
};

struct Diffusion {
    Lanes entries[kMostEntries];
    int16_t most;    // of an entry's error in a channel
    int16_t share;   // of it that is handed on, in parts of which `bits` has the number
    int16_t bits;    // of fraction in what is handed on: of the share, and of weights in 16ths
    Lanes* columns;  // what a row gets from the one above
    uint32_t width;
};

// How far a palette is off, and how much of that the picture hides.
struct FittedError {
    uint32_t squared;  // the mean in levels, of three channels together, in 16ths
    uint32_t texture;  // beside it
};

void beginDiffusion(Diffusion& d, const uint8_t* table, uint32_t count, const FittedError& fitted);
// Errors begin anew where the width is another than before. False: no memory.
bool beginRows(Diffusion& d, uint32_t width);
void freeDiffusion(Diffusion& d);

struct DiffusedRow {
    const uint8_t* pixels;
    uint8_t* to;  // may be `pixels`
};

// What the last two pixels of a row hand on.
struct PassedErrors {
    Lanes previous;
    Lanes beforeThat;
};

// Pixels of a row from column `first` on, of which some are transparent and become `key`: they neither take errors nor
// hand any on. Pieces of a row follow one another with the same `passed`, which begins empty.
struct DiffusedPiece {
    const uint8_t* pixels;  // three bytes each
    const bool* transparent;
    uint8_t key;
    uint8_t* to;
    uint32_t first;
    uint32_t count;
};
void diffusePiece(Diffusion& d, Answers& answers, const DiffusedPiece& piece, PassedErrors& passed);

// Whole rows without transparent pixels: one, or four at once.
constexpr uint32_t kRowsInFlight = 4;
void diffuseRow(Diffusion& d, Answers& answers, const DiffusedRow* row, int bytesPerPixel);
void diffuseRows(Diffusion& d, Answers& answers, const DiffusedRow* rows, int bytesPerPixel);

}  // namespace tolva

#endif
