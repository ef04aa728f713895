// linear_light.cpp: the curve of sRGB. Called while pictures are scaled.

#include "imageio/linear_light.h"

#include <cmath>

namespace imageio {
namespace {

constexpr double kLargestSample = 65535;
constexpr double kEndOfLine = 0.04045;  // below, the curve is a line
constexpr double kSlope = 12.92;
constexpr double kOffset = 0.055;

// Newton's steps from an estimate that is not too large.
double fifthRoot(double value, double estimate) {
    constexpr double kClose = 1e-13;
    constexpr int kMostSteps = 60;
    double root = estimate;
    for (int i = 0; i < kMostSteps; ++i) {
        const double square = root * root;
        const double step = (value / (square * square) - root) / 5;
        root += step;
        if (std::abs(step) <= kClose) break;
    }
    return root;
}

void fill(LinearLight& tables) {
    double root = 1;
    uint32_t from = 0;  // the amounts of light below it have their sample
    for (uint32_t sample = 0; sample < kLightLevels; ++sample) {
        const double value = sample / kLargestSample;
        double light = value / kSlope;
        if (value > kEndOfLine) {
            const double base = (value + kOffset) / (1 + kOffset);
            root = fifthRoot(base * base, root);
            light = base * base * root;
        }
        tables.light[sample] = static_cast<uint16_t>(std::lround(light * kLargestSample));
        const bool ends = sample + 1 == kLightLevels || cutToByte(sample + 1) != cutToByte(sample);
        if (!ends) continue;
        const uint32_t last = tables.light[sample];
        for (; from <= last; ++from) tables.sample[from] = cutToByte(sample);
    }
}

}  // namespace

const LinearLight& linearLight() {
    static LinearLight tables;
    static bool made = false;
    if (!made) fill(tables);
    made = true;
    return tables;
}

}  // namespace imageio
