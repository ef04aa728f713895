#include "quantize/diffusion.h"

#include <algorithm>
#include <cstdlib>

namespace tolva {
namespace {

// Of an entry's error in a channel. Without a limit the errors of colours outside the palette's reach add up, and what
// has gathered shows as specks where the picture changes.
constexpr int32_t kMostError = 16;

enum Weight : int32_t { kRight = 7, kBelowLeft = 3, kBelow = 5, kBelowRight = 1, kAllWeights = 16 };

}  // namespace

bool beginRows(Diffusion& d, uint32_t width) {
    if (d.columns != nullptr && d.width == width) return true;
    freeDiffusion(d);
    d.columns = static_cast<Arriving*>(std::calloc(width, sizeof(Arriving)));
    d.width = width;
    return d.columns != nullptr;
}

void freeDiffusion(Diffusion& d) {
    std::free(d.columns);
    d = {};
}

void diffusePiece(Diffusion& d, Answers& answers, const uint8_t* table, const DiffusedRow& row, uint32_t first,
                  uint32_t pixels, PassedErrors& passed) {
    for (uint32_t i = 0; i < pixels; ++i) {
        const uint8_t* const p = row.pixels + size_t{i} * static_cast<uint32_t>(row.bytesPerPixel);
        const bool transparent = row.transparent != nullptr && row.transparent[i];
        Arriving* const column = d.columns + first + i;
        uint8_t wanted[kChannels];
        for (uint32_t c = 0; c < kChannels; ++c) {
            const int32_t arriving = column->errors[c] + kRight * passed.previous[c];
            wanted[c] = static_cast<uint8_t>(std::clamp(p[c] + ((arriving + kAllWeights / 2) >> 4), 0, 255));
        }
        const uint8_t index = transparent ? row.key : answer(answers, wanted);
        for (uint32_t c = 0; c < kChannels; ++c) {
            const int32_t error =
                transparent ? 0 : std::clamp(wanted[c] - table[index * kChannels + c], -kMostError, kMostError);
            const int32_t begun = kBelowRight * passed.beforeThat[c] + kBelow * passed.previous[c];
            if (first + i > 0) column[-1].errors[c] = static_cast<int16_t>(begun + kBelowLeft * error);
            passed.beforeThat[c] = passed.previous[c];
            passed.previous[c] = error;
        }
        row.to[i] = index;
    }
    if (first + pixels < d.width) return;
    for (uint32_t c = 0; c < kChannels; ++c) {
        d.columns[d.width - 1].errors[c] =
            static_cast<int16_t>(kBelowRight * passed.beforeThat[c] + kBelow * passed.previous[c]);
    }
}

}  // namespace tolva
