// gif_check.h: is what stands in a file a whole GIF?
#ifndef TOLVA_CLI_GIF_CHECK_H
#define TOLVA_CLI_GIF_CHECK_H

#include <cstdint>

namespace cli {

struct GifSummary {
    uint32_t width;
    uint32_t height;
    int64_t bytes;
};

// Of a file or, in the other form, of memory. Signature, screen, colour table, blocks with all their sub-blocks, one
// image at least, the trailer as last byte. The file's position is neither used nor changed.
bool readWholeGif(int file, GifSummary& summary);
bool readWholeGif(const uint8_t* bytes, int64_t count, GifSummary& summary);

}  // namespace cli

#endif
