// png_test.cpp: indexed and grey PNG pictures keep palette, indices and transparency.

#include <png.h>

#include <algorithm>

#include "gif_oracle.h"
#include "support.h"

using cli::Colour;

namespace {

struct PngOrder {
    int width = 0;
    int height = 0;
    int bits = 8;
    int kind = 3;  // a PNG colour type
    bool adam7 = false;
    std::vector<Colour> palette = {};
    std::vector<uint8_t> alpha = {};  // of palette entries
    int greyKey = -1;
    std::vector<uint8_t> samples = {};  // one byte each, top row first; of more bytes a pixel for other kinds
};

// libpng's packing takes one sample a byte.
void makePng(const std::string& path, const PngOrder& order) {
    FILE* const file = fopen(path.c_str(), "wb");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_IHDR(png, info, static_cast<png_uint_32>(order.width), static_cast<png_uint_32>(order.height), order.bits,
                 order.kind, order.adam7 ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, 0, 0);
    std::vector<png_color> palette;
    for (const Colour& c : order.palette) palette.push_back({c.red, c.green, c.blue});
    if (!palette.empty()) png_set_PLTE(png, info, palette.data(), static_cast<int>(palette.size()));
    if (!order.alpha.empty())
        png_set_tRNS(png, info, order.alpha.data(), static_cast<int>(order.alpha.size()), nullptr);
    png_color_16 key = {};
    key.gray = static_cast<png_uint_16>(order.greyKey);
    if (order.greyKey >= 0) png_set_tRNS(png, info, nullptr, 0, &key);
    png_write_info(png, info);
    png_set_packing(png);
    png_set_interlace_handling(png);
    const size_t rowBytes = order.samples.size() / static_cast<size_t>(order.height);
    for (int pass = 0; pass < (order.adam7 ? 7 : 1); ++pass) {
        for (size_t at = 0; at < order.samples.size(); at += rowBytes) png_write_row(png, order.samples.data() + at);
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    fclose(file);
}

}  // namespace

class Png : public Program {
  protected:
    // Samples that run through all `count` values.
    static PngOrder order(int width, int height, int bits, int kind, int count) {
        PngOrder made{.width = width, .height = height, .bits = bits, .kind = kind};
        for (int i = 0; i < width * height; ++i) made.samples.push_back(static_cast<uint8_t>(i * 5 / 3 % count));
        return made;
    }
    static PngOrder indexed(std::vector<Colour> palette, std::vector<uint8_t> alpha = {}) {
        PngOrder made = order(13, 11, 8, 3, static_cast<int>(palette.size()));
        made.palette = std::move(palette);
        made.alpha = std::move(alpha);
        return made;
    }
    SeenGif convert(const PngOrder& png, const std::string& words = "") {
        makePng(path("a.png"), png);
        const RunResult result = run("-f a.png -o a.gif " + words);
        EXPECT_EQ(result.status, 0) << result.said;
        return decodeGif(path("a.gif"));
    }
    static std::vector<int> samplesOf(const PngOrder& png) { return {png.samples.begin(), png.samples.end()}; }
};

TEST_F(Png, PaletteAndIndicesComeThroughUnchanged) {
    for (const int bits : {1, 2, 4, 8}) {
        for (const bool adam7 : {false, true}) {
            for (const int width : {1, 7, 33}) {
                const int count = (1 << bits) - (bits > 1 ? 1 : 0);
                PngOrder png = order(width, 19, bits, 3, count);
                png.adam7 = adam7;
                for (int i = 0; i < count; ++i) {
                    // Equal entries stay apart: indices are what counts.
                    png.palette.push_back({static_cast<uint8_t>(i / 2 * 9), static_cast<uint8_t>(200 - i / 2), 3});
                }
                const SeenGif seen = convert(png);
                EXPECT_EQ(seen.pixels, samplesOf(png)) << bits << " bits, width " << width;
                EXPECT_TRUE(std::equal(png.palette.begin(), png.palette.end(), seen.palette.begin()));
                EXPECT_EQ(seen.transparent, -1);
            }
        }
    }
}

TEST_F(Png, GreysAreExactAndMayHaveATransparentLevel) {
    for (const int bits : {1, 2, 4, 8}) {
        PngOrder png = order(29, 10, bits, 0, 1 << bits);
        png.greyKey = (1 << bits) / 2;
        const SeenGif seen = convert(png);
        EXPECT_EQ(seen.pixels, samplesOf(png));
        EXPECT_EQ(seen.transparent, png.greyKey);
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
        const PngOrder png = indexed(palette, {255, 255, 0});
        const SeenGif seen = convert(png);
        EXPECT_EQ(seen.transparent, 2);
        EXPECT_EQ(seen.pixels, samplesOf(png));
        EXPECT_EQ(seen.palette[0], palette[0]);
        EXPECT_EQ(seen.palette[1], palette[1]);
    }
}

TEST_F(Png, SeveralTransparentEntriesBecomeOneAndHalfTransparentOnesOpaque) {
    const PngOrder png = indexed({{0, 0, 0}, {200, 10, 10}, {9, 99, 9}, {0, 255, 100}}, {255, 0, 0, 102});
    const SeenGif seen = convert(png, "--background FF0000");
    EXPECT_EQ(seen.transparent, 1);
    EXPECT_EQ(seen.palette[3], (Colour{153, 102, 40}));
    std::vector<int> wanted = samplesOf(png);
    std::replace(wanted.begin(), wanted.end(), 2, 1);
    EXPECT_EQ(seen.pixels, wanted);
    EXPECT_EQ(convert(png).palette[3], (Colour{153, 255, 193}));
    // The user's choice leaves no other transparency.
    const SeenGif chosen = convert(png, "--transparent 99FFC1");
    EXPECT_EQ(chosen.transparent, 3);
    EXPECT_EQ(chosen.palette[1], (Colour{255, 255, 255}));
}

TEST_F(Png, RefusesWhatItCannotTakeWithStatus3) {
    PngOrder png = order(8, 8, 8, 2, 256);
    png.samples.resize(8 * 8 * 3);
    makePng(path("rgb.png"), png);
    png.bits = 16;
    png.kind = 0;
    png.samples.resize(8 * 8 * 2);
    makePng(path("grey16.png"), png);
    EXPECT_NE(run("rgb.png -o a.gif").said.find("true-colour"), std::string::npos);
    EXPECT_NE(run("grey16.png -o a.gif").said.find("16 bits"), std::string::npos);

    makePng(path("good.png"), order(40, 40, 8, 0, 256));
    const std::string good = read("good.png");
    for (size_t length = 8; length < good.size(); length += 1 + length / 12) {
        write("cut.png", good.substr(0, length));
        EXPECT_EQ(run("cut.png -o a.gif").status, 3) << length;
        std::string bent = good;
        bent[length] = static_cast<char>(bent[length] ^ 0x55);
        write("bent.png", bent);
        EXPECT_EQ(run("bent.png -o a.gif").status, 3) << length;
    }
    std::string huge = good;
    huge[17] = 1;
    write("huge.png", huge);
    EXPECT_NE(run("huge.png -o a.gif").said.find("65535"), std::string::npos);
    EXPECT_FALSE(exists("a.gif"));
}
