// png_colours.h: what a PNG file says about its colours, and the chunks that libpng hands over as they are.
#ifndef TOLVA_IMAGEIO_PNG_COLOURS_H
#define TOLVA_IMAGEIO_PNG_COLOURS_H

#include <png.h>

#include "imageio/colour_profile.h"

namespace imageio {

// Before the file is read: the chunks are kept.
void keepColourChunks(png_structp png);
// The first of its name before the pixels, or null.
const png_unknown_chunk* findChunk(png_structp png, png_infop info, const png_byte* name);
// A profile counts before everything, sRGB before gamma and primaries.
void openColours(Conversion& conversion, const Input& input, png_structp png, png_infop info, SampleLayout layout);

}  // namespace imageio

#endif
