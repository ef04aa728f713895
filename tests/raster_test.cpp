// Pixels, colours and scaling, each fast row loop against what the definition gives in single pixels.
#include "support.h"

namespace {

TolvaHandle randomBitmap(std::mt19937& random, int width, int height, int16_t bits) {
    Bytes data(rlCalcNewSize(width, height, bits));
    for (uint8_t& b : data) b = random();
    return handleOf(data);
}

// What a call prints at a debug level: to standard output, a bar, and to standard error.
std::string printed(int16_t level, const std::function<void()>& call) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    _debug_color_res = level;
    call();
    _debug_color_res = 0;
    const std::string out = testing::internal::GetCapturedStdout();
    return out + "|" + testing::internal::GetCapturedStderr();
}

}  // namespace

TEST(Bitmaps, PixelsComeBackAtEveryDepthAndLeaveTheirNeighbours) {
    for (const auto& [bits, x, value, at, bytes, read] : {std::tuple{1, 2, 0xFEu, 8, Bytes{0x85}, 0u},
                                                          {1, 9, 0xFFu, 9, {0xE5}, 1u},
                                                          {4, 2, 0xF9u, 9, {0x95}, 9u},
                                                          {4, 3, 0xF9u, 9, {0xA9}, 9u},
                                                          {8, 2, 0x1F9u, 10, {0xF9}, 0xF9u},
                                                          {24, 2, 0x11223344u, 14, {0x11, 0x22, 0x33}, 0x11223300u},
                                                          {32, 1, 0xF9u, 12, {0, 0, 0, 0xF9}, 0xF9u}}) {
        Bytes row(24, 0xA5), expected = row;
        std::copy(bytes.begin(), bytes.end(), expected.begin() + at);
        EXPECT_EQ(rlSetPixel(row.data(), 8, x, 1, bits, value, nullptr, nullptr, 0), 0);
        EXPECT_EQ(row, expected) << bits;
        EXPECT_EQ(rlGetPixel(row.data(), 8, x, 1, bits), read) << bits;
    }
    Bytes data(8, 0xA5);
    rlSetPixel(data.data(), 4, 0, 0, 16, 1, nullptr, nullptr, 0);
    EXPECT_EQ(data[0], 0xA5);
    for (const int16_t none : {2, 33}) EXPECT_EQ(rlGetPixel(data.data(), 4, 0, 0, none), 0u);
    const int32_t bytesOf[] = {-8, -8, -5, -4, -4, -4, -3, 0, 0, 0, 3, 4, 4, 4, 33, 36};
    for (size_t i = 0; i < std::size(bytesOf); i += 2) EXPECT_EQ(rlBytesPerLine(bytesOf[i], 8), bytesOf[i + 1]);
    EXPECT_EQ(rlBytesPerLine(33, 1), 8);
    for (const auto& [table, bytes, expected] : {std::tuple{ZUNLColorTable, 768, 15883415245347343355u},
                                                 {MonoTable, 24, 13155583568706959502u},
                                                 {must_have_colors, 24, 16652986344640693523u},
                                                 {BOUNDARY_CHK, 512, 18069859740205455269u}}) {
        EXPECT_EQ(sumOf(Bytes(table, table + bytes)), expected) << bytes;
    }
}

TEST(Bitmaps, DebugLevelsPrintWhatTheyName) {
    const TolvaHandle dark = handleOf({0, 1, 0, 0}), table = handleOf({9, 8, 7, 255, 255, 255});
    const auto all = [&] {
        TolvaHandle chosen = table;
        GlobalFree(rlDitherBitmap(dark, 2, 1, 8, 1, table, &chosen));
        uint16_t most = 5;
        GlobalFree(rlReduceColorTable(table, 2, 1, &most));
        // Scaling: a row at a time is its row 0; the last source row is drawn before the last row is.
        Bytes from(64), to(64);
        Shrink(from.data(), to.data(), 2, 3, 3, 1, 1);
        Stretch(from.data(), to.data(), 8, 1, 2, 2, 4);
        ShrinkX(from.data(), to.data(), 4, 3, 2, 2);
        StretchX(from.data(), to.data(), 16, 1, 2, 2);
    };
    EXPECT_EQ(printed(0, all), "|");
    for (const int16_t level : {1, 2, 3, 4}) {
        std::string out = "Dithering to the following colortable:\ncolor 0: [9, 8, 7]\ncolor 1: [255, 255, 255]\n", err;
        if (level < 3) out += "Dithering...each(.) represents one scan line\n.\n";
        for (const char* const bytes : {"8", "4"}) {
            err += std::string("Allocated ") + bytes + " bytes of new memory for the destination bitmap\n";
            if (level < 3) err += "Converted bits. Each (.) represents one scan line\n.";
            if (level == 4) err += "(0,0): (1,0): ";
            err += "\nColor resolution conversion complete\n";
        }
        err +=
            "Color Reduction in Process...24bit -> 5 colors\n  -new color table size: 2\n"
            "   color 0: [15, 15, 0]\n   color 1: [255, 255, 255]\n";
        if (level == 4)
            err += "(0,0): (0,0): (1,0): (0,0): (1,0): (0,0): (0,0): (1,0): (0,1): (1,1): (1,0): (0,0): (1,1): (0,1): ";
        EXPECT_EQ(printed(level, all), out + "|" + err);
    }
    for (const TolvaHandle h : {dark, table}) GlobalFree(h);
}

TEST(Colours, GreysMatchGreysAndTheFirstOfEqualsWins) {
    const uint8_t table[] = {255, 0, 0, 10, 10, 10, 0, 0, 255, 14, 14, 14, 255, 0, 0, 100, 0, 0, 104, 0, 0};
    for (const auto& [red, green, blue, index] :
         {std::tuple{10, 12, 14, 1}, {254, 0, 0, 0}, {12, 12, 12, 1}, {102, 0, 0, 5}, {10, 12, 15, 5}}) {
        EXPECT_EQ(rlNearestRGBIndex(red, green, blue, table, 7), index);
    }
    EXPECT_EQ(rlNearestRGBIndex(10, 20, 30, table + 3, 1), 0);
    const Bytes palette = testPalette();
    EXPECT_EQ(get_nearest_rgb_index(9, 240, 80, palette.data(), 2),
              get_nearest_rgb_index(9, 240, 80, palette.data(), 16));
}

TEST(Colours, ConversionModesTouchWhatTheyName) {
    for (const auto& [mode, expected] : {std::pair{0, Bytes{100, 110, 105, 10, 200, 30}},
                                         {1, {155, 145, 150, 245, 55, 225}},
                                         {2, {155, 145, 150, 10, 200, 30}},
                                         {3, {106, 106, 106, 126, 126, 126}},
                                         {4, {149, 149, 149, 129, 129, 129}},
                                         {5, {100, 110, 105, 10, 200, 30}}}) {
        Bytes row = {100, 110, 105, 10, 200, 30};
        rev_rgb(2, row.data(), mode);
        EXPECT_EQ(row, expected) << mode;
    }
}

TEST(Depths, NarrowPicturesWidenThroughTheNearestEntriesOfTheirOwnTable) {
    std::mt19937 random(11);
    for (const auto& [bits, entries] : {std::pair{1, 256}, {4, 256}, {8, 256}, {1, 1}, {4, 5}, {8, 70}, {8, 0}}) {
        const int width = 37, height = 5;
        const TolvaHandle source = randomBitmap(random, width, height, bits);
        Bytes colours = noise(3 * entries, 1, 256, entries).pixels;
        std::fill_n(colours.begin(), std::min(entries, 4) * 3, 77);  // equal entries: the first stands for all
        std::fill_n(colours.rbegin(), std::min(entries, 1) * 3, 3);  // nearest to black
        TolvaHandle table = handleOf(colours);
        const TolvaHandle given = table;
        const Bytes to = taken(rlChangeColorResolution(source, width, height, bits, 8, &table));
        EXPECT_EQ(table, 0u);
        const Bytes from = taken(source);
        for (int i = 0; i < width * height; ++i) {
            const int index = rlGetPixel(from.data(), rlBytesPerLine(width, bits), i % width, i / width, bits);
            const Bytes black(3);  // what is missing
            const uint8_t* const c = index < entries ? &colours[3 * index] : black.data();
            ASSERT_EQ(to[rlBytesPerLine(width, 8) * (i / width) + i % width],
                      rlNearestRGBIndex(c[0], c[1], c[2], colours.data(), std::min(1 << bits, entries)));
        }
        GlobalFree(given);
    }
}

TEST(Depths, ATableOfItsOwnNeverLeadsOutsideIt) {
    std::mt19937 random(12);
    const TolvaHandle source = randomBitmap(random, 5, 3, 8);
    const TolvaHandle colours = randomBitmap(random, 256, 1, 24);
    const TolvaHandle table = randomBitmap(random, 4, 1, 24);
    for (const uint8_t b : taken(rlConvertBitmapDepth(source, 5, 3, 8, 24, colours, table, 4))) EXPECT_EQ(b, 0);
    const Bytes to32 = taken(rlConvertBitmapDepth(source, 5, 3, 8, 32, colours, table, 4));
    const Bytes all = taken(colours), few = taken(table);
    const uint8_t* const c = &all[3 * taken(source)[0]];
    EXPECT_EQ(to32[0], few[3 * rlNearestRGBIndex(c[0], c[1], c[2], few.data(), 4)]);
    EXPECT_EQ(to32[3], 0);
    for (const int16_t bits : {16, 23, 25, 31, 40}) {  // no pixels to read: index 0, or black above 32
        const TolvaHandle wide = randomBitmap(random, 2, 1, bits), tinted = handleOf({200, 200, 200, 1, 1, 1});
        EXPECT_EQ(taken(rlConvertBitmapDepth(wide, 2, 1, bits, 8, 0, tinted, 2)),
                  (bits < 32 ? Bytes(4) : Bytes{1, 1, 0, 0}))
            << bits;
        for (const TolvaHandle h : {wide, tinted}) GlobalFree(h);
    }
}

TEST(Scaling, EqualsTheDefinitionAtEveryDepthAndDirection) {
    std::mt19937 random(5);
    std::string sums;
    for (int round = 0; round < 150; ++round) {
        const int16_t bits = std::vector{1, 4, 8, 24, 32}[round % 5];
        const int sw = 1 + upTo(random, 60), sh = 1 + upTo(random, 40);
        const int dw = round % 7 == 0 ? sw : 1 + upTo(random, 90), dh = round % 11 == 0 ? sh : 1 + upTo(random, 60);
        const TolvaHandle source = randomBitmap(random, sw, sh, bits);
        const auto scale = round % 2 == 0 ? rlShrinkBitmap : rlStretchBitmap;
        printed(round % 8 == 0 ? 4 : 0, [&] { sums += digitsOf(sumOf(taken(scale(source, bits, sw, sh, dw, dh)))); });
        GlobalFree(source);
    }
    expectRounds(
        sums,  // what a plain scaling, pixel by pixel, came to as well
        "8f68c3622e32130a7ee6804eda29716ebce712aae930b3082596529407928f9788c5c10d81dd3d2907158da8da648cddd686"
        "9a690dd956051f5415c05e0b98943390f1d6130910643c3737b2b6e4d946268469a1d604d90df4def59e8af8b2536e3bb88d"
        "027de926a464b540c906d86c1d8987f75160559f389b39f9a824dd82dda2542a69e3df7161c660100f30c8cbab699a7de6f5");
}

TEST(Scaling, AbsurdSizesDrawNothing) {
    std::mt19937 random(6);
    const TolvaHandle small = randomBitmap(random, 4, 4, 8);
    EXPECT_EQ(rlShrinkBitmap(small, 8, 4, 4, 70000, 70000), 0u);
    const uint32_t sizes[][4] = {{4, 4, 0, 4},     {4, 4, 4, 0},         {0, 4, 4, 4},
                                 {400, 400, 2, 2}, {40000, 1, 50000, 1}, {UINT32_MAX, UINT32_MAX, 1, 1}};
    for (const auto& [sw, sh, dw, dh] : sizes) {
        for (const uint8_t b : taken(rlStretchBitmap(small, 8, sw, sh, dw, dh))) ASSERT_EQ(b, 0);
    }
    GlobalFree(small);
    const TolvaHandle tall = randomBitmap(random, 1, 70000, 8);
    const TolvaHandle two = rlShrinkBitmap(tall, 8, 1, 70000, 1, 2);  // the step between the rows turns negative
    EXPECT_EQ(taken(two)[4], taken(tall)[4 * 69999]);
    // Counters of 16 bits: which part of a row is drawn.
    const int rows[] = {3,     90000, 90000, 2,     70000, 0, 4,     131000, 131000,
                        32768, 40000, 40000, 32769, 40000, 0, 65538, 65540,  4};
    for (size_t i = 0; i < std::size(rows); i += 3) {
        const Bytes source(rows[i], 1);
        Bytes row(rows[i + 1]);
        EXPECT_EQ(StretchX(source.data(), row.data(), 8, rows[i], 1, rows[i + 1]), 0);
        EXPECT_EQ(std::count(row.begin(), row.end(), 1), rows[i + 2]) << i;
        EXPECT_EQ(row.back(), rows[i + 2] != 0) << i;
    }
}

TEST(Flipping, PairsPixelsAsHostsKnowIt) {
    const auto flipped = [](Bytes data, int width, int16_t bits, int16_t horizontal, int16_t vertical) {
        const TolvaHandle h = handleOf(data);
        const int height = static_cast<int>(data.size()) / rlBytesPerLine(width, bits);
        EXPECT_EQ(rlFlipBitmap(h, bits, width, height, horizontal, vertical), h);
        return taken(h);
    };
    EXPECT_EQ(flipped({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, 4, 8, 0, 1),
              (Bytes{9, 10, 11, 12, 5, 6, 7, 8, 1, 2, 3, 4}));
    EXPECT_EQ(flipped({1, 2, 3, 99}, 3, 8, 1, 0), (Bytes{99, 2, 3, 1}));
    EXPECT_EQ(flipped({1, 2, 3, 4}, 4, 8, 1, 0), (Bytes{0, 4, 3, 2}));  // past the end reads as 0
    EXPECT_EQ(flipped({0x80, 0x00, 0, 0}, 8, 1, 1, 0), (Bytes{0x00, 0x80, 0, 0}));
    EXPECT_EQ(flipped({1, 2, 3, 4, 5, 6, 7, 8}, 4, 2, 1, 1), (Bytes{5, 6, 7, 8, 1, 2, 3, 4}));  // rows go whole
}
