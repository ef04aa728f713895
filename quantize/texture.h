// texture.h: how much neighbouring pixels of a picture differ, counted in the first pass, one in so many of each row.
// Error diffusion goes by it: grain and leaves hide what quantisation does to them, skies do not.
#ifndef TOLVA_QUANTIZE_TEXTURE_H
#define TOLVA_QUANTIZE_TEXTURE_H

#include <cstdint>

namespace tolva {

constexpr uint32_t kTextureSteps = 256;  // in levels, of three channels together; the last is for all greater ones
constexpr uint32_t kErrorParts = 16;     // squared errors are counted in parts of a squared level

struct Texture {
    uint64_t pixels[kTextureSteps];  // by the step from the one before
};

constexpr uint32_t kTextureApart = 16;  // pixels of a row that are looked at, and never the first of so many

// The row's number tells which pixels are looked at. It may come in pieces of so many pixels that these are the same;
// transparent ones are left out of them.
void countTexture(Texture& texture, const uint8_t* pixels, int bytesPerPixel, uint32_t width, uint32_t row);

// The mean step by the root of a palette's mean squared error, of three channels together: in 64ths. Steps count up to
// three times that root, so that the outlines of a drawing do not pass for grain. 0 where no pixels were counted, or
// nothing is off.
uint32_t textureBeside(const Texture& texture, uint32_t squaredError);

}  // namespace tolva

#endif
