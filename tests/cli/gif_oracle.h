// gif_oracle.h: what an independent decoder sees in a GIF.
#ifndef TOLVA_TESTS_CLI_GIF_ORACLE_H
#define TOLVA_TESTS_CLI_GIF_ORACLE_H

#include <array>
#include <string>
#include <vector>

#include "cli/picture.h"

struct SeenGif {
    int width = 0;
    int height = 0;
    bool interlaced = false;
    int transparent = -1;
    int background = 0;
    std::vector<cli::Colour> palette;
    std::vector<int> pixels;  // indices, top row first

    cli::Colour colourAt(int x, int y) const { return palette[static_cast<size_t>(pixelAt(x, y))]; }
    int pixelAt(int x, int y) const { return pixels[static_cast<size_t>(y * width + x)]; }
};

// Width 0 when the decoder refuses the file.
SeenGif decodeGif(const std::string& path);

#endif
