// Pixels, colours and scaling, each fast row loop against the definition in single pixels.
#include <cstring>

#include "support.h"

namespace {

constexpr int16_t kDepths[] = {1, 4, 8, 24, 32};

Handle randomBitmap(std::mt19937& random, int width, int height, int16_t bits) {
    const Handle h = GlobalAlloc(kMoveableZeroed, rlCalcNewSize(width, height, bits));
    uint8_t* const data = static_cast<uint8_t*>(GlobalLock(h));
    for (uint32_t i = 0; i < GlobalSize(h); ++i) data[i] = static_cast<uint8_t>(random());
    return h;
}

Bytes contents(Handle h) {
    const uint8_t* const data = static_cast<const uint8_t*>(GlobalLock(h));
    return Bytes(data, data + GlobalSize(h));
}

struct Plain {
    const uint8_t* src;
    uint8_t* dst;
    int16_t bits;
    int sw, sh, dw, dh;

    void copy(int sx, int sy, int dx, int dy) const {
        const uint32_t v = rlGetPixel(src, rlBytesPerLine(sw, bits), sx, sy, bits);
        rlSetPixel(dst, rlBytesPerLine(dw, bits), dx, dy, bits, v, nullptr, nullptr, 0);
    }
    void row(int sy, int dy) const {
        uint32_t previous = 0;
        if (dw <= sw) {
            const double ratio = static_cast<double>(sw) / dw;
            for (int i = 1, sx = 0; i <= dw; ++i) {
                const uint32_t at = static_cast<uint32_t>(i * ratio);
                copy(i == dw ? sw - 1 : sx, sy, i - 1, dy);
                sx += static_cast<int>(at - previous);
                previous = at;
            }
            return;
        }
        const double ratio = static_cast<double>(dw) / sw;
        for (int sx = sw - 1, dx = dw - 1; sx >= 0; --sx) {
            const uint32_t at = static_cast<uint32_t>((sw - sx) * ratio);
            for (uint32_t n = at - previous; n > 0; --n) copy(sx, sy, dx--, dy);
            previous = at;
        }
    }
    void picture() const {
        int previous = 0;
        if (dh <= sh) {
            const double ratio = static_cast<double>(sh) / dh;
            for (int i = 1, sy = 0; i <= dh; ++i) {
                row(sy, i - 1);
                sy += static_cast<int>(i * ratio) - previous;
                previous = static_cast<int>(i * ratio);
            }
            return;
        }
        const double ratio = static_cast<double>(dh) / sh;
        for (int sy = sh - 1, dy = dh - 1; sy >= 0; --sy) {
            const int at = static_cast<int>((sh - sy) * ratio);
            for (int n = at - previous; n > 0; --n) row(sy, dy--);
            previous = at;
        }
    }
};

}  // namespace

TEST(Bitmaps, PixelsComeBackAtEveryDepthAndLeaveTheirNeighbours) {
    std::mt19937 random = seeded(3);
    for (const int16_t bits : kDepths) {
        Bytes data(64, 0xA5);
        const int32_t row = rlBytesPerLine(9, bits);
        for (int x = 0; x < 9 && bits < 24; ++x) {
            const uint32_t left = x > 0 ? rlGetPixel(data.data(), row, x - 1, 1, bits) : 0;
            const uint32_t value = random() & ((1u << bits) - 1);
            EXPECT_EQ(rlSetPixel(data.data(), row, x, 1, bits, value, nullptr, nullptr, 0), 0);
            EXPECT_EQ(rlGetPixel(data.data(), row, x, 1, bits), value);
            if (x > 0) {
                EXPECT_EQ(rlGetPixel(data.data(), row, x - 1, 1, bits), left);
            }
        }
        rlSetPixel(data.data(), row, 2, 0, bits, 0x11223344, nullptr, nullptr, 0);
        if (bits >= 24) {
            EXPECT_EQ(rlGetPixel(data.data(), row, 2, 0, bits), bits == 32 ? 0x11223344u : 0x11223300u);
        }
    }
    Bytes data(8, 0xA5);
    rlSetPixel(data.data(), 4, 0, 0, 16, 1, nullptr, nullptr, 0);
    EXPECT_EQ(data[0], 0xA5);
    EXPECT_EQ(rlGetPixel(data.data(), 4, 0, 0, 2), 0u);
    EXPECT_EQ(rlGetPixel(data.data(), 4, 0, 0, 33), 0u);
}

TEST(Colours, GreysMatchGreysAndTheFirstOfEqualsWins) {
    const uint8_t table[] = {255, 0, 0, 10, 10, 10, 0, 0, 255, 14, 14, 14, 255, 0, 0, 100, 0, 0, 104, 0, 0};
    EXPECT_EQ(rlNearestRGBIndex(10, 12, 14, table, 7), 1);
    EXPECT_EQ(rlNearestRGBIndex(254, 0, 0, table, 7), 0);
    EXPECT_EQ(rlNearestRGBIndex(12, 12, 12, table, 7), 1);
    EXPECT_EQ(rlNearestRGBIndex(102, 0, 0, table, 7), 5);
    EXPECT_EQ(rlNearestRGBIndex(10, 12, 15, table, 7), 5);
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
    std::mt19937 random = seeded(11);
    for (const int16_t bits : {int16_t{1}, int16_t{4}, int16_t{8}}) {
        const int width = 37;
        const int height = 5;
        const Handle source = randomBitmap(random, width, height, bits);
        Handle table = randomBitmap(random, 64, 4, 24);
        std::memset(GlobalLock(table), 77, 12);  // equal entries: the first stands for all
        const Handle given = table;
        const Handle result = rlChangeColorResolution(source, width, height, bits, 8, &table);
        EXPECT_EQ(table, 0u);
        const uint8_t* const colours = static_cast<const uint8_t*>(GlobalLock(given));
        const uint8_t* const from = static_cast<const uint8_t*>(GlobalLock(source));
        const uint8_t* const to = static_cast<const uint8_t*>(GlobalLock(result));
        for (int i = 0; i < width * height; ++i) {
            const uint32_t v = rlGetPixel(from, rlBytesPerLine(width, bits), i % width, i / width, bits);
            const uint8_t* const c = colours + 3 * v;
            ASSERT_EQ(
                rlGetPixel(to, rlBytesPerLine(width, 8), i % width, i / width, 8),
                static_cast<uint32_t>(rlNearestRGBIndex(c[0], c[1], c[2], colours, static_cast<uint16_t>(1 << bits))));
        }
        for (const Handle h : {source, given, result}) GlobalFree(h);
    }
}

TEST(Depths, ATableOfItsOwnNeverLeadsOutsideIt) {
    std::mt19937 random = seeded(12);
    const Handle source = randomBitmap(random, 5, 3, 8);
    const Handle colours = randomBitmap(random, 256, 1, 24);
    const Handle table = randomBitmap(random, 4, 1, 24);
    const Handle to24 = rlConvertBitmapDepth(source, 5, 3, 8, 24, colours, table, 4);
    for (const uint8_t b : contents(to24)) EXPECT_EQ(b, 0);
    const Handle to32 = rlConvertBitmapDepth(source, 5, 3, 8, 32, colours, table, 4);
    const uint8_t* const c = static_cast<const uint8_t*>(GlobalLock(colours)) + 3 * contents(source)[0];
    const uint8_t* const t = static_cast<const uint8_t*>(GlobalLock(table));
    const uint8_t* const nearest = t + 3 * rlNearestRGBIndex(c[0], c[1], c[2], t, 4);
    EXPECT_EQ(contents(to32)[0], nearest[0]);
    EXPECT_EQ(contents(to32)[3], 0);
    for (const Handle h : {source, colours, table, to24, to32}) GlobalFree(h);
}

TEST(Scaling, EqualsTheDefinitionAtEveryDepthAndDirection) {
    std::mt19937 random = seeded(5);
    for (int round = 0; round < 400; ++round) {
        const int16_t bits = kDepths[round % 5];
        const int sw = 1 + upTo(random, 60), sh = 1 + upTo(random, 40);
        const int dw = round % 7 == 0 ? sw : 1 + upTo(random, 90), dh = round % 11 == 0 ? sh : 1 + upTo(random, 60);
        const Handle source = randomBitmap(random, sw, sh, bits);
        const Handle scaled = (round % 2 == 0 ? rlShrinkBitmap : rlStretchBitmap)(
            source, bits, static_cast<uint32_t>(sw), static_cast<uint32_t>(sh), static_cast<uint32_t>(dw),
            static_cast<uint32_t>(dh));
        Bytes expected(rlCalcNewSize(dw, dh, bits));
        Plain{static_cast<const uint8_t*>(GlobalLock(source)), expected.data(), bits, sw, sh, dw, dh}.picture();
        ASSERT_EQ(contents(scaled), expected) << bits << ": " << sw << 'x' << sh << " to " << dw << 'x' << dh;
        GlobalFree(source);
        GlobalFree(scaled);
    }
}

TEST(Scaling, AbsurdSizesDrawNothing) {
    std::mt19937 random = seeded(6);
    const Handle small = randomBitmap(random, 4, 4, 8);
    EXPECT_EQ(rlShrinkBitmap(small, 8, 4, 4, 70000, 70000), 0u);
    for (const auto& [sw, sh, dw, dh] : {std::tuple{4u, 4u, 0u, 4u},
                                         {4u, 4u, 4u, 0u},
                                         {0u, 4u, 4u, 4u},
                                         {400u, 400u, 2u, 2u},
                                         {40000u, 1u, 50000u, 1u},
                                         {UINT32_MAX, UINT32_MAX, 1u, 1u}}) {
        const Handle h = rlStretchBitmap(small, 8, sw, sh, dw, dh);
        for (const uint8_t b : contents(h)) ASSERT_EQ(b, 0);
        GlobalFree(h);
    }
    GlobalFree(small);
    const Handle tall = randomBitmap(random, 1, 70000, 8);
    const Handle two = rlShrinkBitmap(tall, 8, 1, 70000, 1, 2);  // the step between the rows turns negative
    EXPECT_EQ(contents(two)[4], contents(tall)[4 * 69999]);
    GlobalFree(tall);
    GlobalFree(two);
}

TEST(Flipping, PairsPixelsAsHostsKnowIt) {
    const auto flipped = [](Bytes data, int width, int16_t bits, int16_t horizontal, int16_t vertical) {
        const Handle h = GlobalAlloc(kMoveableZeroed, static_cast<uint32_t>(data.size()));
        std::memcpy(GlobalLock(h), data.data(), data.size());
        const int height = static_cast<int>(data.size()) / rlBytesPerLine(width, bits);
        EXPECT_EQ(rlFlipBitmap(h, bits, width, height, horizontal, vertical), h);
        const Bytes result = contents(h);
        GlobalFree(h);
        return result;
    };
    EXPECT_EQ(flipped({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, 4, 8, 0, 1),
              (Bytes{9, 10, 11, 12, 5, 6, 7, 8, 1, 2, 3, 4}));
    EXPECT_EQ(flipped({1, 2, 3, 99}, 3, 8, 1, 0), (Bytes{99, 2, 3, 1}));
    EXPECT_EQ(flipped({1, 2, 3, 4}, 4, 8, 1, 0), (Bytes{0, 4, 3, 2}));  // past the end reads as 0
    EXPECT_EQ(flipped({0x80, 0x00, 0, 0}, 8, 1, 1, 0), (Bytes{0x00, 0x80, 0, 0}));
}
