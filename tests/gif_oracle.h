// gif_oracle.h: what an independent decoder sees in a GIF.
#ifndef TOLVA_TESTS_GIF_ORACLE_H
#define TOLVA_TESTS_GIF_ORACLE_H

#include <string>
#include <vector>

#include "imageio/picture.h"

struct SeenGif {
    int width = 0;  // 0 when the decoder refuses the file
    int height = 0;
    bool interlaced = false;
    int transparent = -1;
    std::vector<imageio::Colour> palette;
    std::vector<uint8_t> pixels;  // indices, top row first

    imageio::Colour colourAt(int x, int y) const { return palette[static_cast<size_t>(pixelAt(x, y))]; }
    int pixelAt(int x, int y) const { return pixels[static_cast<size_t>(y * width + x)]; }
};
SeenGif seenIn(const std::string& path);

#endif
