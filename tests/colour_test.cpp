// True colour: tables, matched pixels and dithered bitmaps.
#include "support.h"

namespace {

// A 24-bit bitmap of one of several kinds: noise, few colours, greys and near-greys, a tight cluster, flat areas.
Bytes bitmap(std::mt19937& random, int width, int height, int kind) {
    const int row = rlBytesPerLine(width, 24);
    Bytes bytes(row * height, 0xEE);
    const uint32_t colours = 1 + upTo(random, 300);
    for (int i = 0; i < 3 * width * height; i += 3) {
        const int x = i / 3 % width;
        const uint32_t v = random();
        const uint32_t few = v % colours * 2654435761u;
        for (int k = 0; k < 3; ++k) {
            const int choices[] = {static_cast<uint8_t>(v >> 8 * k), static_cast<uint8_t>(few >> (8 * k + 3)),
                                   static_cast<uint8_t>(v) + upTo(random, 8) - 4,
                                   100 + static_cast<int>(v >> 8 * k & 15), static_cast<uint8_t>(x / 9 * 20 + k)};
            bytes[row * (i / 3 / width) + 3 * x + k] = std::clamp(choices[kind % 5], 0, 255);
        }
    }
    return bytes;
}

Bytes reducedTable(const Bytes& bits, int width, int height, uint16_t& count) {
    const TolvaHandle h = handleOf(bits);
    const Bytes table = taken(rlReduceColorTable(h, width, height, &count));
    GlobalFree(h);
    return table;
}

}  // namespace

TEST(TrueColour, TablesAreThoseOfMedianCut) {
    std::mt19937 random(21);
    std::string sums;
    uint16_t count = 0;
    for (int round = 0; round < 100; ++round) {
        const int width = 1 + upTo(random, 90), height = 1 + upTo(random, 60);
        const int most = 1 + upTo(random, round % 3 == 0 ? 12 : 300);
        count = most;
        const Bytes table = reducedTable(bitmap(random, width, height, round), width, height, count);
        ASSERT_EQ(table.size(), 3u * most);
        sums += digitsOf(sumOf(table) + count);
    }
    expectRounds(
        sums,  // what a plain median cut, entry by entry, came to as well
        "8d344bbd7f14ba107819f4e736d48a48345ba37a6f18a7df4cde2d6f6da36f3427e219c147759b62a3d70790b92529a0b978"
        "739de5c8d5702b860927d25fb9850e3d53e92c80f5c2344bf1cd19cb03b15526102f3c46b64fcfa5ada7c458116c6119699c");
    const Bytes flat(400 * 400 * 3, 200);  // more pixels of a colour than are counted
    EXPECT_EQ(reducedTable(flat, 400, 400, count = 1), Bytes(3, 207));
    EXPECT_EQ(reducedTable(flat, 400, 400, count = 0).size(), 0u);
    // A table, without row padding.
    EXPECT_EQ(reducedTable({0, 0, 0, 80, 90, 99, 0, 0, 0, 8, 0, 0, 255, 1, 1}, 5, 1, count = 9)[3], 15);
    EXPECT_EQ(count, 4);
    const TolvaHandle h = handleOf(flat);
    for (const auto& [width, height] : {std::pair{-1, 1}, {-2, 1}, {0, INT32_MAX}})
        EXPECT_EQ(taken(rlConvertBitmapDepth(h, width, height, 24, 24, 0, 0, 0)).size(), 0u);
    GlobalFree(h);
    count = 9;
    EXPECT_EQ(taken(rlReduceColorTable(0, 4, 4, &count)), Bytes(27));
}

TEST(TrueColour, EveryPixelGetsTheEntryOfTheDefinition) {
    std::mt19937 random(22);
    for (int round = 0; round < 120; ++round) {
        const int width = 1 + upTo(random, 150), height = 1 + upTo(random, 40), entries = 1 + upTo(random, 255);
        const int16_t srcBits = round % 4 == 3 ? 32 : 24, dstBits = round % 6 == 5 ? 4 : 8;
        const Bytes bits =
            srcBits == 24 ? bitmap(random, width, height, round) : bitmap(random, width * 4 / 3 + 4, height, 0);
        Bytes table = bitmap(random, entries, 1, round % 7);
        for (int i = 0; i < entries; i += 3) table[3 * i + 1] = table[3 * i];  // nearly greys
        const TolvaHandle source = handleOf(bits), hTable = handleOf(table);
        const Bytes got = taken(rlConvertBitmapDepth(source, width, height, srcBits, dstBits, 0, hTable, entries));
        for (int i = 0; i < width * height; ++i) {
            const uint8_t* const p = &bits[rlBytesPerLine(width, srcBits) * (i / width) + i % width * srcBits / 8];
            const uint32_t expected = rlNearestRGBIndex(p[0], p[1], p[2], table.data(), entries);
            ASSERT_EQ(rlGetPixel(got.data(), rlBytesPerLine(width, dstBits), i % width, i / width, dstBits),
                      dstBits == 8 ? expected : expected & 15)
                << round;
        }
        for (const TolvaHandle h : {source, hTable}) GlobalFree(h);
    }
}

TEST(TrueColour, ErrorsAreDiffusedAsDescribed) {
    std::mt19937 random(23);
    std::string sums;
    for (int round = 0; round < 60; ++round) {
        const int width = 1 + upTo(random, 40), height = 1 + upTo(random, 20);
        const int16_t dstBits = 1 + round % 4;
        const int16_t bits = round % 5 == 4 ? 8 : 24;
        const TolvaHandle own = handleOf(bitmap(random, 20, 1, 0)), palette = handleOf(testPalette());
        const TolvaHandle source =
            handleOf(bits == 24 ? bitmap(random, width, height, round) : noise(width + 3, height, 256, round).pixels);
        TolvaHandle table = round % 3 == 0 ? own : 0, chosen = own, mono = 0;
        uint16_t chosenCount = 0, monoCount = 0;
        rlDitherGetCT(source, width, height, bits, dstBits, palette, &chosen, &chosenCount);
        rlDitherGetCT(source, width, height, bits, 1, palette, &mono, &monoCount);
        // The caller's table is taken for few colours alone, or else by rlDitherBitmap.
        EXPECT_EQ(chosen == own, dstBits < 3);
        EXPECT_EQ(std::pair(chosenCount, monoCount), std::pair(uint16_t(1 << dstBits), uint16_t{8}));
        const TolvaHandle result =  // with a given table of fewer colours than there are
            round % 3 == 1   ? rlDitherGivenCT(source, width, height, bits, dstBits, palette, table = own, 5)
            : round % 3 == 2 ? rlChangeColorResolution(source, width, height, bits, dstBits, &(table = palette))
                             : rlDitherBitmap(source, width, height, bits, dstBits, palette, &table);
        uint64_t sum = 0;
        for (const TolvaHandle h : {result, table, chosen, mono}) sum = sum * 31 + sumOf(contents(h));
        sums += digitsOf(sum);
        for (const TolvaHandle h :
             {source, own, palette, result, table == own ? 0 : table, chosen == own ? 0 : chosen, mono})
            GlobalFree(h);
    }
    expectRounds(sums,  // what a plain diffusion came to as well
                 "6e8c7635586db7704cc5728a169fc6a1c35f58f6c491f361e3b53eba0d429f8144b20e7c53d463a5c9c58b1fb2c45d36a76e"
                 "ba38b79b67ab6d701dc0");
}

TEST(TrueColour, OtherModelsAndDepthsEndInTheSameFile) {
    std::mt19937 random(24);
    const int width = 33, height = 21;
    Bytes bits = bitmap(random, width, height, 0), four = noise(4 * width, height, 256, 24).pixels;
    std::fill_n(bits.begin(), 3, 0);
    for (int i = 0; i < 4 * width * height; ++i)
        if (i % 4 != 3) four[i] = bits[rlBytesPerLine(width, 24) * (i / 4 / width) + i / 4 % width * 3 + i % 4];
    const TolvaHandle inks = handleOf(four);
    for (const int rows : {height, 0}) rlRGB4toCMYK(inks, width, rows);
    Bytes cmyk = taken(inks);
    EXPECT_EQ(Bytes(cmyk.begin(), cmyk.begin() + 4), (Bytes{255, 255, 255, 0}));
    put(cmyk, 0, std::array<uint8_t, 4>{0, 0, 0, 255});  // the same by its black alone
    const auto written = [&](const Bytes& pixels, int16_t depth, int16_t model) {
        Device device;
        openBody(width - 1, height - 1);
        const TolvaHandle h = handleOf(pixels);
        RasterWriteCellData(h, width, height, 64, depth, model);
        GlobalFree(h);
        closeBody();
        return device.written();
    };
    const Bytes file = written(bits, 24, 1);
    EXPECT_GT(file.size(), 900u);
    EXPECT_TRUE(same(written(four, 32, 0), file));
    EXPECT_TRUE(same(written(four, 32, 3), file));
    EXPECT_TRUE(same(written(cmyk, 32, 2), file));
}
