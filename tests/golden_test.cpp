// Whole files from generated pictures, the same on every machine. After a change that is meant to change them, renew
// the list with: TOLVA_RENEW=1 build/release/tests/library_tests --gtest_filter=Golden.*
#include <cstdlib>
#include <fstream>
#include <map>

#include <tolva/quantize.h>
#include "support.h"

namespace {

// Smooth, with edges and a little noise: strings of every length.
Picture scene(int width, int height) {
    Picture picture = noise(width, height, 5, 42);
    for (int i = 0; i < width * height; ++i) {
        const int x = i % width, y = i / width, dx = x - width / 2, dy = y - height / 2;
        uint8_t& p = picture.pixels[i];
        p = dx * dx + dy * dy < height * height / 9 ? 200 : x * 120 / width + y * 60 / height + p;
    }
    return picture;
}

std::string exported(const Picture& picture, double dpi, const std::function<void(SetupBlock&)>& set = {}) {
    Device device(set);
    EXPECT_EQ(sendPicture(picture, dpi), 0);
    return textOf(device.file.path);
}

// A palette and the indices behind it.
Bytes reduced(const Picture& picture, uint32_t colours, int32_t diffusion) {
    const uint32_t width = picture.width, height = picture.height;
    Bytes rgb;
    for (size_t i = 0; i < width * height; ++i) {
        const uint8_t p = picture.pixels[i];
        rgb.insert(rgb.end(), {p, uint8_t(p * p >> 8), uint8_t(i % width + p)});
    }
    const TolvaPixelRows rows = {rgb.data(), intptr_t(3 * width), nullptr, 0, width, height};
    const TolvaQuantizeOrder order = {colours, 3, diffusion, {}};
    TolvaQuantizer* q = nullptr;
    TolvaPalette palette;
    EXPECT_EQ(tolvaQuantizeBegin(&order, &q) + tolvaQuantizeCount(q, &rows) + tolvaQuantizePalette(q, &palette), 0);
    EXPECT_EQ(tolvaQuantizeMap(q, &rows, rgb.data(), 3 * width), 0);
    tolvaQuantizeEnd(q);
    rgb.insert(rgb.end(), palette.colours, palette.colours + sizeof palette.colours);
    return rgb;
}

}  // namespace

TEST(Golden, PicturesGiveTheSameFileEverywhere) {
    const Picture picture = scene(300, 200);
    std::map<std::string, std::string> files = {
        {"scene-300x200", exported(picture, 128)},
        {"scene-300x200-in-the-default-box", exported(picture, 0)},
        {"scene-40x50-in-the-default-box", exported(scene(40, 50), 0)},
        {"scene-300x200-at-100x75-dpi", exported(picture, 100,
                                                 [](SetupBlock& s) {
                                                     s.sizeMode = 601;
                                                     s.resolutionMode = 308;
                                                     s.xResolution = 100;
                                                     s.yResolution = 75;
                                                 })},
        {"scene-481x333-at-300-dpi", exported(scene(481, 333), 300)},
        {"scene-300x200-interlaced", exported(picture, 128, [](SetupBlock& s) { s.interlaceChoice = 715; })},
        {"scene-300x200-transparent", exported(picture, 128,
                                               [](SetupBlock& s) {
                                                   s.transparencyChoice = 719;
                                                   s.backgroundChoice = 728;
                                                   s.transparentColour[1] = 200;
                                               })},
    };
    const auto text = [](const Bytes& b) { return std::string(b.begin(), b.end()); };
    files["scene-300x200-reduced"] = text(reduced(picture, 256, 0));
    files["noise-600x400-reduced"] = text(reduced(noise(600, 400, 256, 4), 256, 0));
    files["scene-300x200-diffused-to-16"] = text(reduced(picture, 16, 1));
    if (std::getenv("TOLVA_RENEW") != nullptr) {
        std::ofstream list(TOLVA_GOLDEN);
        for (const auto& [key, bytes] : files) list << key << ' ' << std::hex << sumOf(bytes) << '\n';
        return;
    }
    std::map<std::string, uint64_t> listed;
    std::ifstream list(TOLVA_GOLDEN);
    for (std::string name; list >> name;) list >> std::hex >> listed[name];
    for (const auto& [key, bytes] : files)
        EXPECT_EQ(listed[key], sumOf(bytes)) << key << ", " << bytes.size() << " bytes";
}
