#include "quantize/texture.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace tolva {
namespace {

constexpr uint32_t kRowShift = 4;  // from row to row, so that all columns have their turn
constexpr uint32_t kRoots = 3;
constexpr uint32_t kStepParts = 16;
constexpr uint32_t kTextureParts = 64;

}  // namespace

void countTexture(Texture& texture, const uint8_t* pixels, int bytesPerPixel, uint32_t width, uint32_t row) {
    const size_t bytes = static_cast<uint32_t>(bytesPerPixel);
    const uint32_t first = 1 + row * kRowShift % (kTextureApart - 1);
    for (uint32_t x = first; x < width; x += kTextureApart) {
        const uint8_t *const before = pixels + (x - 1) * bytes, *const here = before + bytes;
        uint32_t step = 0;
        for (size_t c = 0; c < 3; ++c) step += static_cast<uint32_t>(std::abs(here[c] - before[c]));
        ++texture.pixels[std::min(step, kTextureSteps - 1)];
    }
}

uint32_t textureBeside(const Texture& texture, uint32_t squaredError) {
    constexpr uint32_t kSquareParts = kStepParts * kStepParts / kErrorParts;
    uint32_t root = 0;
    while ((root + 1) * (root + 1) <= squaredError * kSquareParts) ++root;
    uint64_t all = 0, sum = 0;
    for (uint32_t step = 0; step < kTextureSteps; ++step) {
        all += texture.pixels[step];
        sum += texture.pixels[step] * std::min(step * kStepParts, kRoots * root);
    }
    return all == 0 || root == 0 ? 0 : static_cast<uint32_t>(sum * kTextureParts / all / root);
}

}  // namespace tolva
