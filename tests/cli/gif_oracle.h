// gif_oracle.h: what an independent decoder sees in a GIF.
#ifndef TOLVA_TESTS_CLI_GIF_ORACLE_H
#define TOLVA_TESTS_CLI_GIF_ORACLE_H

#include <string>
#include <vector>

#include "imageio/picture.h"
#include "support.h"

struct SeenGif {
    int width = 0;
    int height = 0;
    bool interlaced = false;
    int transparent = -1;
    int background = 0;
    std::vector<imageio::Colour> palette;
    std::vector<int> pixels;  // indices, top row first

    imageio::Colour colourAt(int x, int y) const { return palette[static_cast<size_t>(pixelAt(x, y))]; }
    int pixelAt(int x, int y) const { return pixels[static_cast<size_t>(y * width + x)]; }
};

// Exports to a GIF and decodes it. Width 0 when the decoder refuses the file.
class Decoded : public Program {
  protected:
    SeenGif convert(const std::string& words, const Launch& launch = {});
};

#endif
