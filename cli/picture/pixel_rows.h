// pixel_rows.h: a picture's rows as the library's quantizer takes them, from the top down and a few at a time: where
// they lie if they are red, green and blue, otherwise by a block of a few rows.
#ifndef TOLVA_CLI_PICTURE_PIXEL_ROWS_H
#define TOLVA_CLI_PICTURE_PIXEL_ROWS_H

#include <tolva/quantize.h>
#include "cli/picture/read.h"
#include "cli/terminal/messages.h"

namespace cli {

struct PixelRows {
    const Picture* picture = nullptr;
    int32_t format = kTolvaRgb;  // of all that takeRows gives
    uint32_t mostRows = 0;       // at a time: between two the user may stop
    uint8_t* block = nullptr;    // null where the picture's own rows serve

    PixelRows() = default;
    PixelRows(const PixelRows&) = delete;
    PixelRows& operator=(const PixelRows&) = delete;
    ~PixelRows();
};

ExitStatus startRows(const Picture& picture, PixelRows& rows);
// From row `y` on, counted from the top. Valid until the next call.
TolvaPixelRows takeRows(const PixelRows& rows, uint32_t y);
// They are not taken again.
void leaveRows(const PixelRows& rows, uint32_t y, uint32_t count);

}  // namespace cli

#endif
