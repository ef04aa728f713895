// scene.cpp: draws the demonstration picture, an evening by the sea, as an indexed PNG: scene FILE.png
#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace {

constexpr int kWidth = 720;
constexpr int kHeight = 450;
constexpr int kHorizon = 270;

// The palette: 96 tones of sky, 96 of water, 32 of land and 32 of light.
enum Band { kSky = 0, kWater = 96, kLand = 192, kLight = 224 };

uint8_t mix(double from, double to, double t) { return static_cast<uint8_t>(std::lround(from + (to - from) * t)); }

void ramp(png_color* palette, int first, int count, const int (&from)[3], const int (&to)[3]) {
    for (int i = 0; i < count; ++i) {
        const double t = i / (count - 1.0);
        palette[first + i] = {mix(from[0], to[0], t), mix(from[1], to[1], t), mix(from[2], to[2], t)};
    }
}

double ridge(int x, double height, double roughness) {
    return kHorizon - height * (0.55 + 0.25 * std::sin(x * 0.011 + roughness) + 0.2 * std::sin(x * 0.037 * roughness));
}

int tone(int first, int count, double t, int x, int y) {
    // An ordered pattern between neighbouring tones keeps the gradients from showing steps.
    constexpr int pattern[2][2] = {{0, 2}, {3, 1}};
    return first + std::clamp(static_cast<int>(t * (count - 1) + pattern[y & 1][x & 1] / 4.0), 0, count - 1);
}

uint8_t pixelAt(int x, int y) {
    const double sunX = 510;
    const double fromSun = std::hypot(x - sunX, y - 205.0);
    if (y < kHorizon) {
        if (y > ridge(x, 46, 1.9)) return static_cast<uint8_t>(tone(kLand, 32, 0.2 + (y - 215) / 260.0, x, y));
        if (y > ridge(x + 300, 88, 1.3)) return static_cast<uint8_t>(tone(kLand, 32, 0.65 + (y - 180) / 300.0, x, y));
        if (fromSun < 38) return static_cast<uint8_t>(tone(kLight, 32, 1.0 - fromSun / 60.0, x, y));
        return static_cast<uint8_t>(tone(kSky, 96, std::min(1.0, y / 290.0 + 30.0 / (fromSun + 40)), x, y));
    }
    const double depth = (y - kHorizon) / static_cast<double>(kHeight - kHorizon);
    const double wave = std::sin(x * 0.05 / (0.2 + depth) + std::sin(y * 0.9) * 2.0) * std::sin(y * (1.6 - depth));
    const double glitter = std::exp(-std::abs(x - sunX) / (18.0 + 90.0 * depth));
    if (wave > 0.55 && glitter > 0.35) return static_cast<uint8_t>(tone(kLight, 32, glitter, x, y));
    return static_cast<uint8_t>(
        tone(kWater, 96, std::clamp(0.75 - depth * 0.7 + wave * 0.06 + glitter * 0.2, 0.0, 1.0), x, y));
}

}  // namespace

int main(int count, char** arguments) {
    FILE* const file = count == 2 ? std::fopen(arguments[1], "wb") : nullptr;
    if (file == nullptr) return std::fprintf(stderr, "usage: scene FILE.png\n"), 1;
    png_color palette[256];
    ramp(palette, kSky, 96, {38, 52, 104}, {255, 188, 112});
    ramp(palette, kWater, 96, {12, 24, 58}, {206, 150, 120});
    ramp(palette, kLand, 32, {22, 18, 40}, {128, 98, 132});
    ramp(palette, kLight, 32, {255, 196, 110}, {255, 250, 226});
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_IHDR(png, info, kWidth, kHeight, 8, PNG_COLOR_TYPE_PALETTE, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_PLTE(png, info, palette, 256);
    png_write_info(png, info);
    std::vector<uint8_t> row(kWidth);
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) row[static_cast<size_t>(x)] = pixelAt(x, y);
        png_write_row(png, row.data());
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return std::fclose(file) == 0 ? 0 : 1;
}
