// Whole files from generated pictures, the same on every machine. After a change that is meant to change them, renew
// the list with: TOLVA_RENEW=1 build/release/tests/library_tests --gtest_filter=Golden.*
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>

#include "support.h"

namespace {

uint64_t sumOf(const Bytes& bytes) {
    uint64_t sum = 0xCBF29CE484222325u;
    for (const uint8_t b : bytes) sum = (sum ^ b) * 0x100000001B3u;
    return sum;
}

// Smooth, with edges and a little noise: strings of every length.
Picture scene(int width, int height) {
    Picture picture = noise(width, height, 5, 42);
    for (int i = 0; i < width * height; ++i) {
        const int x = i % width;
        const int y = i / width;
        uint8_t& p = picture.pixels[static_cast<size_t>(i)];
        const bool inside =
            (x - width / 2) * (x - width / 2) + (y - height / 2) * (y - height / 2) < height * height / 9;
        p = static_cast<uint8_t>(inside ? 200 : x * 120 / width + y * 60 / height + p);
    }
    return picture;
}

Bytes exported(const Picture& picture, double dpi, const std::function<void(SetupBlock&)>& set) {
    const std::string path = temporaryPath("golden.gif");
    Host host;
    host.setup = CreateSetup(0, "/nowhere/at/all.ini", nullptr, 0);
    set(*host.settings());
    startHost(host, path.c_str());
    EXPECT_EQ(sendPicture(picture, testPalette(), dpi), 0);
    endHost(host);
    const Bytes bytes = readFile(path);
    unlink(path.c_str());
    return bytes;
}

void fit(SetupBlock& setup) {
    setup.sizeMode = kSizeSaved;
    setup.resolutionMode = kResolutionSaved;
    setup.xResolution = 100;
    setup.yResolution = 75;
}

}  // namespace

TEST(Golden, PicturesGiveTheSameFileEverywhere) {
    const Picture picture = scene(300, 200);
    const std::map<std::string, Bytes> files = {
        {"plain", exported(picture, 128, [](SetupBlock&) {})},
        {"default-box", exported(picture, 0, [](SetupBlock&) {})},
        {"box-40x50", exported(scene(40, 50), 0, [](SetupBlock&) {})},
        {"fitted", exported(picture, 100, fit)},
        {"at-300-dpi", exported(scene(481, 333), 300, [](SetupBlock&) {})},
        {"interlaced", exported(picture, 128, [](SetupBlock& s) { s.interlaceChoice = kInterlaced; })},
        {"transparent", exported(picture, 128,
                                 [](SetupBlock& s) {
                                     s.transparencyChoice = kTransparentColour;
                                     s.backgroundChoice = kBackgroundColour;
                                     s.transparentColour[1] = 200;
                                 })},
    };
    std::map<std::string, uint64_t> listed;
    FILE* file = std::fopen(TOLVA_GOLDEN, "r");
    char name[64];
    for (unsigned long long sum = 0; file != nullptr && std::fscanf(file, "%63s %llx", name, &sum) == 2;)
        listed[name] = sum;
    if (file != nullptr) std::fclose(file);
    if (std::getenv("TOLVA_RENEW") != nullptr) {
        file = std::fopen(TOLVA_GOLDEN, "w");
        for (const auto& [key, bytes] : files)
            std::fprintf(file, "%s %016llx\n", key.c_str(), static_cast<unsigned long long>(sumOf(bytes)));
        std::fclose(file);
        return;
    }
    for (const auto& [key, bytes] : files)
        EXPECT_EQ(listed[key], sumOf(bytes)) << key << ", " << bytes.size() << " bytes";
}
