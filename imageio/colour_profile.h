// colour_profile.h: from the colours that a file describes to sRGB.
#ifndef TOLVA_IMAGEIO_COLOUR_PROFILE_H
#define TOLVA_IMAGEIO_COLOUR_PROFILE_H

#include <cstddef>
#include <cstdint>

#include "imageio/input.h"

namespace imageio {

inline constexpr size_t kMostProfileBytes = 4 << 20;

enum class ColourModel { kGrey, kColours, kPrint };

struct SampleLayout {
    ColourModel model;
    bool deep;      // 16 bits a sample, in the machine's order of bytes
    bool alpha;     // a sample behind the others, which stays as it is
    bool inverted;  // print colours: the lack of ink
};

struct Chromaticity {
    double x, y;
};
// What a file without a profile may tell; zero where it does not.
struct Calibration {
    double gamma;  // of the display it was made for; sRGB's curve without one
    Chromaticity white, red, green, blue;
};

// Pixels to sRGB. Nothing is converted while `transform` is null: without a profile, or where it would change nothing.
struct Conversion {
    void* context;
    void* transform;
    char trouble[kRefusalBytes];  // what the library complained about first
};

// A profile that cannot be used is told by a warning, and the picture is read as if it had none. Whatever comes of it,
// closeConversion has to follow; the conversion must not move in between.
void openProfile(Conversion& conversion, const Input& input, const uint8_t* bytes, size_t count, SampleLayout layout);
void openCalibration(Conversion& conversion, const Input& input, const Calibration& calibration, SampleLayout layout);
// `to` may be where `from` is. Print colours become red, green, blue.
void convertPixels(const Conversion& conversion, const uint8_t* from, uint8_t* to, uint32_t count);
void closeConversion(Conversion& conversion);

}  // namespace imageio

#endif
