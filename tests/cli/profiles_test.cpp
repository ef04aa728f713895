// profiles_test.cpp: colour profiles and gamma as the readers obey them, called directly. Profiles are made
// here, with effects that cannot be mistaken.

#include <cstring>

#include <lcms2.h>
#include <zlib.h>

#include "imageio/read_picture.h"
#include "pictures.h"

using namespace imageio;

namespace {

using Chunks = std::vector<std::pair<std::string, std::string>>;

int warnings;

std::string bytesOf(cmsHPROFILE profile) {
    cmsUInt32Number count = 0;
    cmsSaveProfileToMem(profile, nullptr, &count);
    std::string bytes(count, '\0');
    cmsSaveProfileToMem(profile, bytes.data(), &count);
    cmsCloseProfile(profile);
    return bytes;
}

// sRGB's, but red stands for green, green for blue, blue for red; or green and blue for each other.
std::string exchangingProfile(bool redStays = false) {
    cmsHPROFILE const profile = cmsCreate_sRGBProfile();
    cmsTagSignature tags[] = {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag};
    cmsCIEXYZ places[3];
    for (int i = 0; i < 3; ++i) places[i] = *static_cast<cmsCIEXYZ*>(cmsReadTag(profile, tags[i]));
    for (int i = 0; i < 3; ++i) cmsWriteTag(profile, tags[i], &places[(redStays ? 3 - i : i + 1) % 3]);
    return bytesOf(profile);
}

// White where there is black ink and black elsewhere, whatever the other inks.
std::string printProfile() {
    cmsHPROFILE const profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetDeviceClass(profile, cmsSigOutputClass);
    cmsSetColorSpace(profile, cmsSigCmykData);
    cmsSetPCS(profile, cmsSigLabData);
    cmsPipeline* const pipeline = cmsPipelineAlloc(nullptr, 4, 3);
    cmsStage* const stage = cmsStageAllocCLut16bit(nullptr, 2, 4, 3, nullptr);
    const auto lightness = [](const cmsUInt16Number* ink, cmsUInt16Number* lab, void*) {
        lab[0] = ink[3];
        lab[1] = lab[2] = 0x8080;
        return 1;
    };
    cmsStageSampleCLut16bit(stage, lightness, nullptr, 0);
    cmsPipelineInsertStage(pipeline, cmsAT_END, stage);
    cmsWriteTag(profile, cmsSigAToB0Tag, pipeline);
    cmsPipelineFree(pipeline);
    return bytesOf(profile);
}

std::string packed(const std::string& profile) {
    std::vector<Bytef> bytes(compressBound(profile.size()));
    uLongf count = bytes.size();
    compress(bytes.data(), &count, reinterpret_cast<const Bytef*>(profile.data()), profile.size());
    return std::string("p\0\0", 3) + std::string(bytes.begin(), bytes.begin() + static_cast<long>(count));
}

void take(const std::string& path, Picture& picture, bool scales = false, bool raw = false) {
    ReadRequest request = {};
    request.background = {255, 255, 255};
    request.keepTransparency = true;
    request.raw = raw;
    if (scales) request.willScale = [](uint32_t, uint32_t, void*) { return true; };
    request.mostPixels = 10000;
    request.stopped = [] { return false; };
    request.warn = [](const char*, const char*) { ++warnings; };
    std::string text;
    ASSERT_EQ(imageio::readPicture(path.c_str(), request, picture, text), kDone) << text;
}

Colour colourAt(const Picture& picture, uint32_t x) {
    const uint8_t* const row = picture.pixels;
    uint16_t deep[3];
    if (picture.bitsPerPixel == 8) return picture.palette[row[x]];
    if (picture.bitsPerPixel == 24) return {row[3 * x], row[3 * x + 1], row[3 * x + 2]};
    std::memcpy(deep, row + 6 * x, sizeof deep);
    const auto level = [&](int i) { return static_cast<uint8_t>((deep[i] + 128) / 257); };
    return {level(0), level(1), level(2)};
}

void expectNear(Colour seen, Colour wanted, const char* what) {
    EXPECT_NEAR(seen.red, wanted.red, 1) << what;
    EXPECT_NEAR(seen.green, wanted.green, 1) << what;
    EXPECT_NEAR(seen.blue, wanted.blue, 1) << what;
}

}  // namespace

class Profiles : public Pictures {
  protected:
    static constexpr Colour kAny = {200, 100, 55};
    static constexpr Colour kExchanged = {55, 200, 100};

    // One colour, as a PNG of that kind.
    Colour seenIn(int kind, int bits, const Chunks& chunks, bool adam7 = false, bool scales = false, bool raw = false) {
        PictureOrder png{.width = 3, .height = 3, .bits = bits, .kind = kind, .interlaced = adam7};
        png.chunks = chunks;
        if (kind == 3) png.palette = {kAny};
        std::vector<uint8_t> pixel = {kAny.blue, 255};
        if (kind == 3) pixel = {0};
        if (kind == 2 || kind == 6) pixel = {kAny.red, kAny.green, kAny.blue, 255};
        pixel.resize(kind == 2 ? 3 : kind == 6 ? 4 : kind == 4 ? 2 : 1);
        for (size_t i = 0; i < 9 * pixel.size(); ++i) {
            png.samples.insert(png.samples.end(), static_cast<size_t>(bits / 8), pixel[i % pixel.size()]);
        }
        makePng(path("a.png"), png);
        Picture picture;
        warnings = 0;
        take(path("a.png"), picture, scales, raw);
        return colourAt(picture, 2);
    }
};

TEST_F(Profiles, ConvertEveryKindOfPng) {
    const Chunks chunks = {{"iCCP", packed(exchangingProfile())}};
    const Chunks linear = {{"gAMA", std::string("\0\1\x86\xA0", 4)}};
    for (const auto& [kind, bits] : {std::pair{2, 8}, {2, 16}, {6, 8}, {6, 16}, {3, 8}, {0, 8}, {0, 16}, {4, 16}}) {
        for (const int way : {0, 1, 2, 3}) {
            const std::string what = std::to_string(kind) + " of " + std::to_string(bits);
            const bool grey = kind == 0 || kind == 4;
            const Colour wanted = grey ? Colour{128, 128, 128} : kExchanged;
            const Chunks& given = grey ? linear : chunks;
            expectNear(seenIn(kind, bits, given, way % 2 > 0, way > 1), wanted, what.c_str());
            expectNear(seenIn(kind, bits, given, false, false, true), grey ? Colour{55, 55, 55} : kAny, "raw");
        }
    }
}

TEST_F(Profiles, CountInTheirOrderAndOnlyWhereTheyMakeSense) {
    const std::string exchanging = exchangingProfile();
    const std::string linear("\0\1\x86\xA0", 4);
    const struct {
        const char* what;
        Chunks chunks;
        Colour wanted;
        int warnings;
    } kCases[] = {{"sRGB before gamma", {{"sRGB", std::string(1, 0)}, {"gAMA", linear}}, kAny, 0},
                  {"a profile before all", {{"iCCP", packed(exchanging)}, {"gAMA", linear}}, kExchanged, 0},
                  {"red stays", {{"iCCP", packed(exchangingProfile(true))}}, {200, 55, 100}, 0},
                  {"gamma alone", {{"gAMA", linear}}, {229, 168, 128}, 0},
                  {"sRGB's gamma, nearly", {{"gAMA", std::string("\0\0\xB5\0", 4)}}, kAny, 0},
                  {"sRGB's profile", {{"iCCP", packed(bytesOf(cmsCreate_sRGBProfile()))}}, kAny, 0},
                  {"no gamma", {{"gAMA", std::string(4, 0)}}, kAny, 1},
                  {"primaries on one line", {{"cHRM", std::string(32, 1)}}, kAny, 1},
                  {"another colour space", {{"iCCP", packed(printProfile())}}, kAny, 1},
                  {"cut off", {{"iCCP", packed(exchanging.substr(0, 300))}}, kAny, 1},
                  {"cut off while packed", {{"iCCP", packed(exchanging).substr(0, 90)}}, kAny, 1},
                  {"unpacking to any size", {{"iCCP", packed(std::string(5 << 20, '\0'))}}, kAny, 1}};
    for (const auto& c : kCases) {
        expectNear(seenIn(2, 8, c.chunks), c.wanted, c.what);
        EXPECT_EQ(warnings, c.warnings) << c.what;
    }
}

TEST_F(Profiles, ConvertJpeg) {
    const auto seen = [&](int channels, const std::string& profile) {
        PictureOrder jpeg{.width = 16, .height = 16, .channels = channels, .profile = profile};
        const uint8_t pixel[] = {kAny.red, kAny.green, kAny.blue, 255};
        for (int i = 0; i < 256; ++i) jpeg.samples.insert(jpeg.samples.end(), pixel, pixel + channels);
        makeJpeg(path("a.jpg"), jpeg);
        Picture picture;
        warnings = 0;
        take(path("a.jpg"), picture);
        return colourAt(picture, 5);
    };
    EXPECT_GT(seen(3, exchangingProfile()).green, 195);
    // With the writer's marker, 255 is no ink.
    expectNear(seen(4, printProfile()), {0, 0, 0}, "no black ink, so black");
    EXPECT_EQ(warnings, 0);
    expectNear(seen(1, exchangingProfile()), {200, 200, 200}, "of other colours");
    EXPECT_EQ(warnings, 1);
}
