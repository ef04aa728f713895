// png_test.cpp: indexed and grey PNG pictures keep palette, indices and transparency.

#include "pictures.h"

using imageio::Colour;

class Png : public Pictures {
  protected:
    // Samples that run through all `count` values.
    static PictureOrder order(int width, int height, int bits, int kind, int count) {
        PictureOrder made{.width = width, .height = height, .bits = bits, .kind = kind};
        for (int i = 0; i < width * height; ++i) made.samples.push_back(static_cast<uint8_t>(i * 5 / 3 % count));
        return made;
    }
    static PictureOrder indexed(std::vector<Colour> palette, std::vector<uint8_t> alpha = {}) {
        PictureOrder made = order(13, 11, 8, 3, static_cast<int>(palette.size()));
        made.palette = std::move(palette);
        made.alpha = std::move(alpha);
        return made;
    }
};

TEST_F(Png, PaletteAndIndicesComeThroughUnchanged) {
    for (const int bits : {1, 2, 4, 8}) {
        for (const bool adam7 : {false, true}) {
            for (const int width : {1, 7, 33}) {
                const int count = (1 << bits) - (bits > 1 ? 1 : 0);
                PictureOrder png = order(width, 19, bits, 3, count);
                png.interlaced = adam7;
                for (int i = 0; i < count; ++i) {
                    // Equal entries stay apart: indices are what counts.
                    png.palette.push_back({static_cast<uint8_t>(i / 2 * 9), static_cast<uint8_t>(200 - i / 2), 3});
                }
                const SeenGif seen = convertPng(png);
                EXPECT_TRUE(same(seen.pixels, png.samples)) << bits << " bits, width " << width;
                EXPECT_TRUE(std::equal(png.palette.begin(), png.palette.end(), seen.palette.begin()));
                EXPECT_EQ(seen.transparent, -1);
                const SeenGif inverted = convertPng(png, "--tone invert");
                EXPECT_EQ(std::count(inverted.palette.begin() + count, inverted.palette.end(), Colour{}), 256 - count);
            }
        }
    }
}

TEST_F(Png, GreysAreExactAndMayHaveATransparentLevel) {
    for (const int bits : {1, 2, 4, 8}) {
        PictureOrder png = order(29, 10, bits, 0, 1 << bits);
        const int key = (1 << bits) / 2;
        png.key = {key};
        const SeenGif seen = convertPng(png);
        EXPECT_TRUE(same(seen.pixels, png.samples));
        EXPECT_EQ(seen.transparent, key);
        for (int level = 0; level < 1 << bits; ++level) {
            EXPECT_EQ(seen.palette[static_cast<size_t>(level)].red, level * 255 / ((1 << bits) - 1));
        }
    }
}

TEST_F(Png, TransparentEntryIsFoundWhateverItsColour) {
    const std::vector<Colour> palettes[] = {
        {{9, 9, 9}, {200, 10, 10}, {10, 200, 10}},  // found as it is
        {{0, 0, 0}, {200, 10, 10}, {0, 0, 0}},      // stands earlier as an opaque colour
        {{10, 200, 10}, {200, 10, 10}, {10, 200, 10}},
        {{9, 9, 9}, {200, 10, 10}, {100, 102, 101}},  // near-grey: only exact greys would match
        {{101, 101, 101}, {100, 100, 100}, {100, 102, 101}},
    };
    for (const std::vector<Colour>& palette : palettes) {
        const PictureOrder png = indexed(palette, {255, 255, 0});
        const SeenGif seen = convertPng(png);
        EXPECT_EQ(seen.transparent, 2);
        EXPECT_TRUE(same(seen.pixels, png.samples));
        EXPECT_TRUE(std::equal(palette.begin(), palette.begin() + 2, seen.palette.begin()));
    }
}

TEST_F(Png, SeveralTransparentEntriesBecomeOneAndHalfTransparentOnesOpaque) {
    const PictureOrder png = indexed({{0, 0, 0}, {200, 10, 10}, {9, 99, 9}, {0, 255, 100}}, {255, 0, 0, 102});
    const SeenGif seen = convertPng(png, "--raw --background FF0000");
    EXPECT_EQ(seen.transparent, 1);
    EXPECT_EQ(seen.palette[3], (Colour{153, 102, 40}));
    std::vector<uint8_t> wanted = png.samples;
    std::replace(wanted.begin(), wanted.end(), 2, 1);
    EXPECT_TRUE(same(seen.pixels, wanted));
    EXPECT_EQ(convertPng(png, "--raw").palette[3], (Colour{153, 255, 193}));
    // The user's choice leaves no other transparency.
    const SeenGif chosen = convertPng(png, "--raw --transparent 99FFC1");
    EXPECT_EQ(chosen.transparent, 3);
    EXPECT_EQ(chosen.palette[1], (Colour{255, 255, 255}));
}

TEST_F(Png, RefusesWhatItCannotTakeWithStatus3) {
    makePng(path("good.png"), order(40, 40, 8, 0, 256));
    const std::string good = read("good.png");
    expectCutsRefused(good);
    // Said before memory is asked for; but a picture may be packed as well as can be.
    const std::string head("\0\0\0\rIHDR\0\0\xFF\xFF\0\0\xFF\xFF\b\2\0\0\0009gN\a", 25);
    write("huge.png", good.substr(0, 8) + head + good.substr(33));
    EXPECT_NE(run("huge.png -o a.gif --max-pixels 4294836224").said.find("--max-pixels"), std::string::npos);
    EXPECT_NE(run("huge.png -o a.gif --max-pixels 4294836225").said.find("ends before"), std::string::npos);
    EXPECT_FALSE(exists("a.gif"));
    convertPng({.width = 3000, .height = 2000, .kind = 0, .samples = std::vector<uint8_t>(6000000)});
}

TEST_F(Png, OfAnAnimationIsTheFirstPicture) {
    PictureOrder png = order(9, 9, 8, 0, 256);
    for (const char pictures : {1, 2}) {
        png.chunks = {{"acTL", {0, 0, 0, pictures, 0, 0, 0, 0}}};
        makePng(path("a.png"), png);
        EXPECT_EQ(run("a.png -f -o a.gif").said.find("first is taken") != std::string::npos, pictures == 2);
    }
}
