// colours.h: how many colours a picture has, and whether its palette can stay.
#ifndef TOLVA_CLI_PICTURE_COLOURS_H
#define TOLVA_CLI_PICTURE_COLOURS_H

#include <string>

#include "cli/library/library.h"
#include "cli/picture/pixel_rows.h"
#include "cli/picture/read.h"
#include "cli/terminal/messages.h"

namespace cli {

// The library's quantizer while it is needed.
struct Quantizer {
    const Library& library;
    TolvaQuantizer* handle = nullptr;

    explicit Quantizer(const Library& owner) : library(owner) {}
    Quantizer(const Quantizer&) = delete;
    Quantizer& operator=(const Quantizer&) = delete;
    ~Quantizer();
};

ExitStatus beginQuantizer(const TolvaQuantizeOrder& order, Quantizer& quantizer);
// First pass. Ends with the palette.
ExitStatus countRows(const Quantizer& quantizer, const PixelRows& rows, TolvaPalette& palette);
// What kTolvaQuantized is not.
ExitStatus reportQuantizer(int32_t result);

// Of the pixels, transparency as one colour; kTolvaManyColours where there are more than 256.
ExitStatus countColours(const Library& library, const Picture& picture, uint32_t& count);
// As messages have it.
std::string colourCountText(uint32_t count);

}  // namespace cli

#endif
