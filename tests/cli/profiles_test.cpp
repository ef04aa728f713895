// profiles_test.cpp: colour profiles and gamma as the readers obey them. Profiles are made here, with effects that
// cannot be mistaken.

#include <lcms2.h>
#include <zlib.h>

#include "pictures.h"

using imageio::Colour;

namespace {

using Chunks = std::vector<std::pair<std::string, std::string>>;

std::string bytesOf(cmsHPROFILE profile) {
    cmsUInt32Number count = 0;
    cmsSaveProfileToMem(profile, nullptr, &count);
    std::string bytes(count, '\0');
    cmsSaveProfileToMem(profile, bytes.data(), &count);
    cmsCloseProfile(profile);
    return bytes;
}

// sRGB's, but red stands for green, green for blue, blue for red.
std::string exchangingProfile() {
    cmsHPROFILE const profile = cmsCreate_sRGBProfile();
    cmsTagSignature tags[] = {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag};
    cmsCIEXYZ places[3];
    for (int i = 0; i < 3; ++i) places[i] = *static_cast<cmsCIEXYZ*>(cmsReadTag(profile, tags[i]));
    for (int i = 0; i < 3; ++i) cmsWriteTag(profile, tags[i], &places[(i + 1) % 3]);
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

}  // namespace

class Profiles : public Pictures {
  protected:
    static constexpr Colour kAny = {207, 103, 55};  // which 5 bits leave as it is
    static constexpr Colour kExchanged = {55, 207, 103};

    // One colour, as a PNG of that kind.
    void makeOf(int kind, int bits, const Chunks& chunks, bool adam7 = false) {
        PictureOrder png{.width = 3, .height = 3, .bits = bits, .kind = kind, .interlaced = adam7, .chunks = chunks};
        if (kind == 3) png.palette = {kAny};
        std::vector<uint8_t> pixel = {kAny.blue, 255};
        if (kind == 3) pixel = {0};
        if (kind == 2 || kind == 6) pixel = {kAny.red, kAny.green, kAny.blue, 255};
        pixel.resize(kind == 2 ? 3 : kind == 6 ? 4 : kind == 4 ? 2 : 1);
        for (size_t i = 0; i < 9 * pixel.size(); ++i) {
            png.samples.insert(png.samples.end(), static_cast<size_t>(bits / 8), pixel[i % pixel.size()]);
        }
        makePng(path("a.picture"), png);
    }
    void expectColour(const std::string& words, Colour wanted, const std::string& what, int warnings = 0) {
        const RunResult result = run("-f -o a.gif a.picture " + words);
        ASSERT_EQ(result.status, 0) << what << result.said;
        EXPECT_EQ(std::count(result.said.begin(), result.said.end(), '\n'), warnings) << what << result.said;
        const auto [red, green, blue] = seenIn(path("a.gif")).colourAt(1, 1);
        EXPECT_NEAR(red, wanted.red, 1) << what;
        EXPECT_NEAR(green, wanted.green, 1) << what;
        EXPECT_NEAR(blue, wanted.blue, 1) << what;
    }
};

TEST_F(Profiles, ConvertEveryKindOfPng) {
    const Chunks chunks = {{"iCCP", packed(exchangingProfile())}};
    const Chunks linear = {{"gAMA", std::string("\0\1\x86\xA0", 4)}};
    for (const auto& [kind, bits] : {std::pair{2, 8}, {2, 16}, {6, 8}, {6, 16}, {3, 8}, {0, 8}, {0, 16}, {4, 16}}) {
        const std::string what = std::to_string(kind) + " of " + std::to_string(bits);
        const bool grey = kind == 0 || kind == 4;
        for (const bool adam7 : {false, true}) {
            makeOf(kind, bits, grey ? linear : chunks, adam7);
            for (const char* const words : {"", "--fit 2x2"}) {
                expectColour(words, grey ? Colour{128, 128, 128} : kExchanged, what);
            }
            expectColour("--raw", grey ? Colour{55, 55, 55} : kAny, what);
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
                  {"gamma alone", {{"gAMA", linear}}, {233, 170, 128}, 0},
                  {"sRGB's gamma, nearly", {{"gAMA", std::string("\0\0\xB5\0", 4)}}, kAny, 0},
                  {"sRGB's profile", {{"iCCP", packed(bytesOf(cmsCreate_sRGBProfile()))}}, kAny, 0},
                  {"no gamma", {{"gAMA", std::string(4, 0)}}, kAny, 1},
                  {"primaries on one line", {{"cHRM", std::string(32, 1)}}, kAny, 1},
                  {"another colour space", {{"iCCP", packed(printProfile())}}, kAny, 1},
                  {"cut off", {{"iCCP", packed(exchanging.substr(0, 300))}}, kAny, 1},
                  {"cut off while packed", {{"iCCP", packed(exchanging).substr(0, 90)}}, kAny, 1},
                  {"unpacking to any size", {{"iCCP", packed(std::string(5 << 20, '\0'))}}, kAny, 1}};
    for (const auto& c : kCases) {
        makeOf(2, 8, c.chunks);
        expectColour("", c.wanted, c.what, c.warnings);
    }
}

TEST_F(Profiles, ConvertJpeg) {
    const auto make = [&](int channels, const std::string& profile) {
        PictureOrder jpeg{.width = 16, .height = 16, .channels = channels, .profile = profile};
        const uint8_t pixel[] = {kAny.red, kAny.green, kAny.blue, 255};
        for (int i = 0; i < 256; ++i) jpeg.samples.insert(jpeg.samples.end(), pixel, pixel + channels);
        makeJpeg(path("a.picture"), jpeg);
    };
    make(3, exchangingProfile());
    expectColour("", kExchanged, "three channels");
    make(4, printProfile());  // with the writer's marker, 255 is no ink
    expectColour("", {0, 0, 0}, "no black ink, so black");
    make(1, exchangingProfile());
    expectColour("", {207, 207, 207}, "of other colours", 1);
}
