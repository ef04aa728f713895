// draw_pictures.cpp: pictures to measure on, written as PGM into a folder: noise, a screenshot of text windows, and a
// landscape of many octaves that compresses as a photograph does.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace {

struct Picture {
    int width;
    int height;
    std::vector<uint8_t> pixels;
};

Picture blank(int width, int height, uint8_t grey) {
    return {width, height, std::vector<uint8_t>(static_cast<size_t>(width) * static_cast<size_t>(height), grey)};
}

uint8_t& at(Picture& p, int x, int y) {
    return p.pixels[static_cast<size_t>(y) * static_cast<size_t>(p.width) + static_cast<size_t>(x)];
}

Picture noise(int width, int height) {
    std::mt19937 random(1);
    Picture picture = blank(width, height, 0);
    for (uint8_t& p : picture.pixels) p = static_cast<uint8_t>(random());
    return picture;
}

// Windows of lines of glyphs, 5 x 9 dots each out of a small random alphabet.
Picture screenshot(int width, int height) {
    std::mt19937 random(2);
    uint64_t glyphs[40];
    for (uint64_t& g : glyphs) g = (uint64_t{random()} << 32 | random()) & (uint64_t{random()} << 32 | random());
    Picture picture = blank(width, height, 228);
    for (int window = 0; window < 4; ++window) {
        const int left = 40 + window * width / 5, top = 30 + window * height / 8;
        for (int y = top; y < std::min(top + height * 3 / 5, height); ++y) {
            for (int x = left; x < std::min(left + width * 2 / 5, width); ++x)
                at(picture, x, y) = y < top + 22 ? 70 : 250;
        }
        for (int line = top + 30; line + 14 < std::min(top + height * 3 / 5, height); line += 14) {
            const int letters = static_cast<int>(random() % static_cast<unsigned>(width * 2 / 5 / 7 - 4));
            for (int i = 0; i < letters && left + 10 + i * 7 + 5 < width; ++i) {
                const uint64_t glyph = glyphs[random() % 40];
                for (int dot = 0; dot < 45; ++dot) {
                    if ((glyph >> dot & 1) != 0) at(picture, left + 8 + i * 7 + dot % 5, line + dot / 5) = 30;
                }
            }
        }
    }
    return picture;
}

Picture landscape(int width, int height) {
    std::mt19937 random(3);
    std::vector<double> sums(static_cast<size_t>(width) * static_cast<size_t>(height), 90.0);
    double strength = 60;
    for (int cell = 256; cell >= 1; cell /= 2, strength *= 0.58) {
        const int across = width / cell + 2, down = height / cell + 2;
        std::vector<double> grid(static_cast<size_t>(across) * static_cast<size_t>(down));
        for (double& g : grid) g = strength * (static_cast<double>(random() % 2001) / 1000.0 - 1.0);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const double fx = static_cast<double>(x % cell) / cell, fy = static_cast<double>(y % cell) / cell;
                const size_t g =
                    static_cast<size_t>(y / cell) * static_cast<size_t>(across) + static_cast<size_t>(x / cell);
                const double upper = grid[g] + (grid[g + 1] - grid[g]) * fx;
                const double lower =
                    grid[g + static_cast<size_t>(across)] +
                    (grid[g + static_cast<size_t>(across) + 1] - grid[g + static_cast<size_t>(across)]) * fx;
                sums[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)] +=
                    upper + (lower - upper) * fy;
            }
        }
    }
    Picture picture = blank(width, height, 0);
    for (size_t i = 0; i < sums.size(); ++i)
        picture.pixels[i] = static_cast<uint8_t>(std::fmin(std::fmax(sums[i], 0.0), 255.0));
    return picture;
}

void save(const Picture& picture, const std::string& path) {
    FILE* const file = std::fopen(path.c_str(), "wb");
    std::fprintf(file, "P5 %d %d 255\n", picture.width, picture.height);
    std::fwrite(picture.pixels.data(), 1, picture.pixels.size(), file);
    std::fclose(file);
}

// The same in colour: a channel each from one picture, out of step with each other.
void saveColour(const Picture& picture, const std::string& path) {
    FILE* const file = std::fopen(path.c_str(), "wb");
    std::fprintf(file, "P6 %d %d 255\n", picture.width, picture.height);
    const size_t pixels = picture.pixels.size();
    const size_t row = static_cast<size_t>(picture.width);
    std::vector<uint8_t> line(3 * row);
    for (size_t start = 0; start < pixels; start += row) {
        for (size_t x = 0; x < row; ++x) {
            for (size_t c = 0; c < 3; ++c) line[3 * x + c] = picture.pixels[(start + x + c * row * 7) % pixels];
        }
        std::fwrite(line.data(), 1, line.size(), file);
    }
    std::fclose(file);
}

Picture gradient(int width, int height) {
    Picture picture = blank(width, height, 0);
    for (int i = 0; i < width * height; ++i) {
        picture.pixels[static_cast<size_t>(i)] =
            static_cast<uint8_t>((i % width) * 200 / width + (i / width) * 55 / height);
    }
    return picture;
}

}  // namespace

int main(int count, char** arguments) {
    const std::string folder = count > 1 ? arguments[1] : ".";
    save(noise(1920, 1080), folder + "/noise-2mp.pgm");
    save(noise(4000, 3000), folder + "/noise-12mp.pgm");
    save(screenshot(1920, 1080), folder + "/screenshot-2mp.pgm");
    save(screenshot(3840, 2160), folder + "/screenshot-8mp.pgm");
    save(landscape(1920, 1080), folder + "/landscape-2mp.pgm");
    save(landscape(4000, 3000), folder + "/landscape-12mp.pgm");
    save(noise(16, 16), folder + "/tiny.pgm");
    saveColour(landscape(1920, 1080), folder + "/landscape-2mp.ppm");
    saveColour(landscape(4000, 3000), folder + "/landscape-12mp.ppm");
    saveColour(screenshot(3840, 2160), folder + "/screenshot-8mp.ppm");
    saveColour(gradient(1920, 1080), folder + "/gradient-2mp.ppm");
    saveColour(noise(1920, 1080), folder + "/noise-2mp.ppm");
    saveColour(noise(4000, 3000), folder + "/noise-12mp.ppm");
    saveColour(screenshot(1920, 1080), folder + "/screenshot-2mp.ppm");
    saveColour(noise(16, 16), folder + "/tiny.ppm");
    return 0;
}
