// true_colour_test.cpp: pictures of more than a palette: alpha, tones, dithering. The colours of exact comparisons are
// those that the reduction's 5 bits leave as they are.

#include "pictures.h"

using imageio::Colour;

class TrueColour : public Pictures {
  protected:
    static constexpr int kWidth = 13;
    static constexpr int kHeight = 11;

    static uint8_t levelAt(int i) { return static_cast<uint8_t>(i % 32 == 0 ? 0 : i % 32 * 8 + 7); }
    // A few dozen colours, greys among them.
    static Colour colourAt(int x, int y) {
        if (x % 5 == 0) return {levelAt(y), levelAt(y), levelAt(y)};
        return {levelAt(x + 1), levelAt(31 - y), levelAt(x * y % 3)};
    }
    static bool isHole(int x, int y) { return (x + 2 * y) % 4 == 0; }
    // Holes, where wanted, have alpha 127 and a colour of their own.
    static PictureOrder picture(bool holes, int bits = 8, bool adam7 = false) {
        PictureOrder png{.width = kWidth, .height = kHeight, .bits = bits, .kind = holes ? 6 : 2, .interlaced = adam7};
        for (int i = 0; i < kWidth * kHeight; ++i) {
            const bool hole = holes && isHole(i % kWidth, i / kWidth);
            const Colour c = hole ? Colour{1, 2, 3} : colourAt(i % kWidth, i / kWidth);
            std::vector<uint8_t> pixel = {c.red, c.green, c.blue};
            if (holes) pixel.push_back(hole ? 127 : 255);
            for (const uint8_t s : pixel) png.samples.insert(png.samples.end(), static_cast<size_t>(bits / 8), s);
        }
        return png;
    }
    static void expectPicture(const SeenGif& seen, bool holes, bool colours = true) {
        for (int i = 0; i < kWidth * kHeight; ++i) {
            const int x = i % kWidth;
            const int y = i / kWidth;
            const bool hole = holes && isHole(x, y);
            ASSERT_EQ(seen.pixelAt(x, y) == seen.transparent, hole) << x << ", " << y;
            ASSERT_TRUE(hole || !colours || seen.colourAt(x, y) == colourAt(x, y)) << x << ", " << y;
        }
    }
};

TEST_F(TrueColour, PngOfEveryKindIsRead) {
    for (const int bits : {8, 16}) {
        for (const bool adam7 : {false, true}) {
            expectPicture(convertPng(picture(false, bits, adam7)), false);
            expectPicture(convertPng(picture(true, bits, adam7)), true);
        }
    }
    makePng(path("a.png"), picture(true));
    EXPECT_NE(run("-v --fit 9x9 a.png -f -o a.gif").said.find("pixels, 94 colours\n"), std::string::npos);
    const RunResult raw = run("-v --raw a.png -f -o a.gif");
    EXPECT_NE(raw.said.find("\ntolva: reduced to 93 colours\n"), std::string::npos) << raw.said;
    expectPicture(seenIn(path("a.gif")), true);
    PictureOrder opaque = picture(true);
    for (size_t i = 3; i < opaque.samples.size(); i += 4) opaque.samples[i] = 255;
    EXPECT_EQ(convertPng(opaque).transparent, -1);
    // Only the exact 16 bits of a transparent colour count.
    PictureOrder keyed = picture(false, 16);
    keyed.key = {0, 0, 0};
    keyed.samples[kWidth * 6 + 1] = 1;
    keyed.samples[1] = keyed.samples[3] = keyed.samples[5] = 0;
    const SeenGif seen = convertPng(keyed);
    EXPECT_EQ(seen.pixelAt(0, 0), seen.transparent);
    EXPECT_NE(seen.pixelAt(0, 1), seen.transparent);
}

TEST_F(TrueColour, TransparentIsTheVeryColourAlone) {
    write("near.ppm", "P6 4 1 255\n\x10\x20\x30\x10\x20\x31\x64\x66\x65\x10\x20\x30");
    const std::tuple<const char*, std::vector<uint8_t>, const char*> cases[] = {
        {"102030", {1, 0, 0, 1}, "exact"},
        {"646665", {0, 0, 1, 0}, "exact"},
        {"102032", {0, 0, 0, 0}, "no pixel"},
        {"EFDFCF --tone invert", {1, 0, 0, 1}, "3 colours, exact"},
        {"102031 --colours 2 --dither none", {0, 1, 0, 0}, "reduced to 2\n"},
        {"102031 --colours 2", {0, 1, 0, 0}, "reduced to 2, dithered"}};
    for (const auto& [words, holes, told] : cases) {
        const RunResult result = run(std::string("-v -f -o a.gif near.ppm --transparent ") + words);
        EXPECT_NE(result.said.find(told), std::string::npos) << result.said;
        const SeenGif seen = seenIn(path("a.gif"));
        for (int x = 0; x < 4; ++x) EXPECT_EQ(seen.pixelAt(x, 0) == seen.transparent, holes[x] != 0) << words << x;
    }
}

TEST_F(TrueColour, GreysWithAlphaKeepAllLevelsTheyCan) {
    PictureOrder png{.width = 257, .height = 2, .kind = 4, .samples = std::vector<uint8_t>(2 * 514, 255)};
    for (size_t i = 0; i < 514; ++i) png.samples[2 * i] = static_cast<uint8_t>(i);
    png.samples[1] = png.samples[2 * 256 + 1] = 0;  // of three blacks two
    const SeenGif seen = convertPng(png, "--raw");
    int moved = 0;
    for (int i = 0; i < 514; ++i) moved += seen.colourAt(i % 257, i / 257).red != i % 256 ? 1 : 0;
    EXPECT_EQ(moved, 3) << "the transparent ones; and for their index the rarest level gives way";
    EXPECT_EQ(std::count(seen.pixels.begin(), seen.pixels.end(), seen.transparent), 2);
}

// Below half, transparent; else over the background.
TEST_F(TrueColour, AlphaOfEntriesAndOfPixelsHasOneRule) {
    PictureOrder entries{.width = 6, .height = 1, .alpha = {0, 1, 127, 128, 200, 255}, .samples = {0, 1, 2, 3, 4, 5}};
    PictureOrder pixels{.width = 6, .height = 1, .kind = 6};
    for (const uint8_t alpha : entries.alpha) {
        entries.palette.push_back({alpha, 90, 10});
        pixels.samples.insert(pixels.samples.end(), {alpha, 90, 10, alpha});
    }
    for (const std::string words : {"", "--background FF0000", "--fit 5x1"}) {
        const SeenGif a = convertPng(entries, words), b = convertPng(pixels, words);
        for (int x = 0; x < a.width; ++x) {
            const bool hole = a.pixelAt(x, 0) == a.transparent;
            EXPECT_TRUE(hole == (x < 3) || a.width < 6) << words << x;
            EXPECT_EQ(b.pixelAt(x, 0) == b.transparent, hole) << words << x;
            EXPECT_TRUE(hole || a.colourAt(x, 0) == b.colourAt(x, 0)) << words << x;
        }
    }
}

TEST_F(TrueColour, NothingShinesThroughButAChosenColour) {
    PictureOrder png{.width = 3, .height = 1, .kind = 6, .samples = {0, 0, 0, 255, 0, 255, 0, 128, 9, 9, 9, 127}};
    const SeenGif seen = convertPng(png, "--transparent 000000");
    EXPECT_EQ(seen.pixelAt(0, 0), seen.transparent);
    EXPECT_EQ(seen.colourAt(2, 0), (Colour{132, 132, 132}));
    for (size_t i = 3; i < png.samples.size(); i += 4) png.samples[i] = 0;
    const SeenGif empty = convertPng(png, "--colours 2");
    EXPECT_EQ(empty.pixels, std::vector<uint8_t>(3, empty.transparent)) << "no opaque pixel";
}

TEST_F(TrueColour, TonesConvertColoursAndLeaveTransparencyAlone) {
    PictureOrder indexed{.width = 4, .height = 1, .samples = {0, 1, 2, 3}};
    indexed.palette = {{215, 40, 7}, {100, 100, 100}, {7, 215, 40}, {255, 255, 255}};
    indexed.alpha = {255, 255, 255, 0};
    const std::tuple<const char*, Colour, Colour> tones[] = {{"normal", {215, 40, 7}, {100, 100, 100}},
                                                             {"invert", {40, 215, 248}, {155, 155, 155}},
                                                             {"invert-greys", {215, 40, 7}, {155, 155, 155}},
                                                             {"grey", {89, 89, 89}, {100, 100, 100}},
                                                             {"invert-grey", {166, 166, 166}, {155, 155, 155}}};
    write("two.ppm", "P6 2 1 255\n\xD7\x27\x07\x67\x67\x67");
    for (const auto& [word, colour, grey] : tones) {
        const std::string words = std::string("--tone ") + word;
        const SeenGif few = convertPng(indexed, words);
        EXPECT_TRUE(same(few.pixels, indexed.samples)) << word;
        EXPECT_EQ(few.transparent, 3) << word;
        EXPECT_EQ(few.palette[0], colour) << word;
        EXPECT_EQ(few.palette[1], grey) << word;
        EXPECT_NEAR(convert("two.ppm " + words).colourAt(0, 0).red, colour.red, 8) << word;
        EXPECT_NEAR(convert("two.ppm " + words).colourAt(1, 0).red, grey.red, 8) << word;
        expectPicture(convertPng(picture(true), words), true, false);
        expectPicture(convertPng(picture(true), words + " --raw --dither 2"), true, false);
    }
}
