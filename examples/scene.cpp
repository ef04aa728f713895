// scene.cpp: draws the demonstration picture, an evening by the sea, in true colour: scene FILE.png. Smooth gradients,
// hard edges, tones of sky and skin, and text: what reducing colours does to a picture shows on each of them.
#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace {

constexpr int kWidth = 720;
constexpr int kHeight = 450;
constexpr double kHorizon = 270;
constexpr double kSunX = 505;
constexpr double kSunY = 200;

struct Colour {
    double red, green, blue;
};

Colour mix(Colour from, Colour to, double t) {
    t = std::clamp(t, 0.0, 1.0);
    return {from.red + (to.red - from.red) * t, from.green + (to.green - from.green) * t,
            from.blue + (to.blue - from.blue) * t};
}

double ridge(double x, double height, double roughness) {
    return kHorizon - height * (0.55 + 0.25 * std::sin(x * 0.011 + roughness) + 0.2 * std::sin(x * 0.037 * roughness));
}

Colour sky(double x, double y) {
    const double fromSun = std::hypot(x - kSunX, y - kSunY);
    Colour c = mix({38, 52, 104}, {255, 176, 96}, y / kHorizon);
    c = mix(c, {255, 226, 160}, std::exp(-fromSun / 90));
    return fromSun < 36 ? mix({255, 250, 226}, {255, 214, 130}, fromSun / 40) : c;
}

Colour water(double x, double y) {
    const double depth = (y - kHorizon) / (kHeight - kHorizon);
    const double wave = std::sin(x * 0.05 / (0.2 + depth) + std::sin(y * 0.9) * 2.0) * std::sin(y * (1.6 - depth));
    const double glitter = std::exp(-std::abs(x - kSunX) / (18.0 + 90.0 * depth));
    if (wave > 0.55 && glitter > 0.35) return mix({255, 196, 110}, {255, 250, 226}, glitter);
    return mix({206, 150, 120}, {12, 24, 58}, depth * 0.9 - wave * 0.06 - glitter * 0.2 + 0.1);
}

// A head lit by the evening sun, seen from the side of the light.
bool figure(double x, double y, Colour* c) {
    const double u = (x - 150) / 52;
    const double v = (y - 262) / 68;
    const double r = u * u + v * v;
    if (r < 1) {
        const double light = std::clamp(0.55 + 0.5 * u - 0.25 * v + 0.4 * std::sqrt(1 - r), 0.0, 1.0);
        *c = mix({92, 48, 36}, {250, 206, 170}, light);
        if (v < -0.28 - 0.5 * u * u + 0.35 * u) *c = mix({26, 16, 14}, {122, 72, 40}, light);
        return true;
    }
    const double shoulder = (y - 330) / 120 - 0.55 * std::pow(std::abs(x - 150) / 120, 2.5);
    if (shoulder < 0 || std::abs(x - 150) > 125) return false;
    *c = mix({30, 64, 84}, {190, 84, 62}, 0.5 + (x - 150) / 220 + 0.15 * std::sin(y * 0.35));
    return true;
}

// The word in the corner: seven rows of five dots a letter, the topmost row first.
constexpr uint8_t kLetters[][7] = {
    {0x04, 0x04, 0x1F, 0x04, 0x04, 0x04, 0x03}, {0x00, 0x00, 0x0E, 0x11, 0x11, 0x11, 0x0E},
    {0x0C, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}, {0x00, 0x00, 0x11, 0x11, 0x11, 0x0A, 0x04},
    {0x00, 0x00, 0x0E, 0x01, 0x0F, 0x11, 0x0F},
};
constexpr int kDot = 6;

bool isText(int x, int y) {
    const int column = (x - 470) / kDot;
    const int row = (y - 370) / kDot;
    if (x < 470 || y < 370 || row > 6 || column >= 6 * 5 || column % 6 == 5) return false;
    return (kLetters[column / 6][row] >> (4 - column % 6) & 1) != 0;
}

Colour colourAt(int x, int y) {
    if (isText(x, y)) return {250, 246, 236};
    Colour c;
    if (figure(x, y, &c)) return c;
    if (y >= kHorizon) return water(x, y);
    if (y > ridge(x, 46, 1.9)) return mix({52, 38, 72}, {22, 18, 40}, (y - 215) / 60);
    if (y > ridge(x + 300, 88, 1.3)) return mix({128, 98, 132}, {72, 58, 100}, (y - 180) / 90);
    return sky(x, y);
}

}  // namespace

int main(int count, char** arguments) {
    FILE* const file = count == 2 ? std::fopen(arguments[1], "wb") : nullptr;
    if (file == nullptr) return std::fprintf(stderr, "usage: scene FILE.png\n"), 1;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_IHDR(png, info, kWidth, kHeight, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    std::vector<uint8_t> row(3 * kWidth);
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const Colour c = colourAt(x, y);
            const double channels[] = {c.red, c.green, c.blue};
            for (int i = 0; i < 3; ++i) {
                row[static_cast<size_t>(3 * x + i)] =
                    static_cast<uint8_t>(std::lround(std::clamp(channels[i], 0.0, 255.0)));
            }
        }
        png_write_row(png, row.data());
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return std::fclose(file) == 0 ? 0 : 1;
}
