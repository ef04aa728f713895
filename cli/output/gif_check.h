// gif_check.h: does what was written begin and end as a GIF?
#ifndef TOLVA_CLI_OUTPUT_GIF_CHECK_H
#define TOLVA_CLI_OUTPUT_GIF_CHECK_H

#include <cstdint>

namespace cli {

struct GifSummary {
    uint32_t width;
    uint32_t height;
    int64_t bytes;
};

// Of a file, false with errno where it cannot be read, or of memory. The file's position is neither used nor changed.
bool summariseGif(int file, GifSummary& summary);
bool summariseGif(const uint8_t* bytes, int64_t count, GifSummary& summary);

}  // namespace cli

#endif
