// The writer's files and the encoder's segments, byte for byte against the plain definition.
#include "support.h"

namespace {

Bytes write(const Picture& picture, Bytes palette, int bandRows) {
    MemoryFile file;
    EXPECT_EQ(writeInBands(file.stream, picture, palette, bandRows), 0);
    return file.close();
}

// Runs segments through the library and the definition alike, with the same work buffer contents.
void compare(const std::vector<Bytes>& segments, bool endsWithLast = true, uint8_t workFill = 0) {
    MemoryFile file;
    Bytes expected;
    Bytes work(70000, workFill), plainWork = work;
    uint32_t carry = 0, plainCarry = 0;
    for (size_t i = 0; i < segments.size(); ++i) {
        const bool last = endsWithLast && i + 1 == segments.size();
        const int count = static_cast<int>(segments[i].size());
        plainSegment(expected, plainWork, segments[i].data(), count, i == 0, last, plainCarry);
        EXPECT_EQ(CompressAndWrite(file.stream, segments[i].data(), work.data(), count, i == 0, last, &carry), 0);
        ASSERT_EQ(carry, plainCarry) << "segment " << i;
        // What a short segment after this one would show.
        ASSERT_EQ(std::memcmp(work.data(), plainWork.data(), 8), 0) << "segment " << i;
    }
    ASSERT_TRUE(same(file.close(), expected));
}

Bytes pixels(std::mt19937& random, int count, int colours, int runs) {
    Bytes bytes;
    while (static_cast<int>(bytes.size()) < count) {
        const int p = upTo(random, colours - 1);
        bytes.insert(bytes.end(), 1 + upTo(random, runs), p);
    }
    bytes.resize(count);
    return bytes;
}

}  // namespace

TEST(Lzw, SegmentsOfEveryLengthEndAndAreJoinedAsTheDefinitionSays) {
    std::mt19937 random(1);
    // Lengths that end on every bit position; noise reaches 513, 1025, 2049 and the reset at 4090 one string a pixel.
    for (int count = 0; count < 70; ++count) compare({pixels(random, count, 256, 1)});
    for (const int around : {255, 256, 767, 768, 1791, 1792, 3832, 3833}) {
        for (int count = around - 12; count < around + 24; ++count) compare({pixels(random, count, 256, 0)});
    }
    for (int round = 0; round < 60; ++round) {
        compare({pixels(random, 1 + upTo(random, 20000), 1 + upTo(random, 255), upTo(random, 9))});
    }
    compare({Bytes(60000, 7)});
    // Strings that are short, long, of a pixel and short again: the way in which they are sought changes, in mid-table
    // too.
    Bytes changing;
    for (const auto& [colours, runs] : {std::pair(60, 2), {9, 300}, {256, 0}, {20, 1}}) {
        const Bytes part = pixels(random, 25000, colours, runs);
        changing.insert(changing.end(), part.begin(), part.end());
    }
    changing.shrink_to_fit();  // sanitizers see what lies behind it
    compare({changing});
    // Joined through the parked byte.
    for (int round = 0; round < 150; ++round) {
        std::vector<Bytes> segments;
        for (int n = 1 + upTo(random, 5); n > 0; --n) {
            segments.push_back(pixels(random, upTo(random, round % 3 == 0 ? 4 : 900), 256, round % 4));
        }
        compare(segments, round % 5 != 0);
        compare(segments, true, 0xFF);  // kept: leftovers in the work buffer show in segments under 4 pixels
    }
}

TEST(Lzw, ForgetsItsTableHoweverOftenItIsFull) {
    // No two neighbours come twice in 3832 pixels: every pixel is a code, every table as the one before, and the bits
    // of one, 43183, are also the bytes of eight.
    Bytes pixels(3832 * 4200);
    for (size_t i = 0; i < pixels.size(); ++i) {
        const size_t pair = i % 3832 / 2;
        pixels[i] = static_cast<uint8_t>(i % 2 == 0 ? pair % 128 : 128 + (pair + pair / 128 * 5) % 128);
    }
    MemoryFile file;
    Bytes work(300), codes;
    uint32_t carry = 0;
    CompressAndWrite(file.stream, pixels.data(), work.data(), static_cast<int>(pixels.size()), 1, 1, &carry);
    const Bytes bytes = file.close();
    for (size_t i = 0; i < bytes.size() - 300; ++i) i % 255 != 0 ? codes.push_back(bytes[i]) : void();
    EXPECT_EQ(codes.size() / 43183, 524u);
    EXPECT_TRUE(std::equal(codes.begin() + 43185, codes.end(), codes.begin() + 2));  // behind the first clear code
}

TEST(Lzw, LosesNoSegmentSilentlyAtItsEnd) {
    const Bytes some(100, 3);
    Bytes work(300);
    uint32_t carry = 0;
    EXPECT_EQ(CompressAndWrite(0, some.data(), work.data(), 100, 1, 1, &carry), 303);
    EXPECT_EQ(CompressAndWrite(0, some.data(), work.data(), 0, 1, 0, &carry), 303);  // parks two bits
    EXPECT_EQ(LZWWriteSubBlocks(0, some.data(), 3), 303);
    EXPECT_EQ(LZWWriteSubBlocks(0, some.data(), 0), 0);
    carry = 4000000000u;
    LZWCompression(0, some.data(), work.data(), -5, 1, 0, &carry);
    EXPECT_LT(carry, 8u);
}

TEST(GifWriter, WholeOrInBandsPicturesAreTheFilesTheyShouldBe) {
    Device device;
    const Bytes palette = testPalette();
    // The last spools 349999 pixels in memory, the one before it one more in a file.
    const std::pair<int, int> extents[] = {{1, 1},   {1, 2},      {2, 1},     {3, 3},     {300, 5},
                                           {263, 9}, {31818, 11}, {500, 700}, {7, 50000}, {349999 / 7, 7}};
    for (const auto& [width, height] : extents) {
        const Picture picture = noise(width, height, 256, 9);
        for (const int bands : {1, 3}) {
            if (height < 5 && bands > 1) continue;
            const int rows = (height + bands - 1) / bands;
            for (const bool interlaced : {false, true}) {
                device.host.settings()->interlaceChoice = interlaced ? 715 : 0;
                GifOptions options = {.interlaced = interlaced, .segments = bandSegments(picture, rows)};
                if (interlaced && bands > 1) options.segments = spoolSegments(picture);
                const Bytes file = write(picture, palette, rows);
                ASSERT_TRUE(same(file, plainGif(picture, palette, options))) << width << 'x' << height << '/' << bands;
                EXPECT_TRUE(width * height == 1 || same(decoded(file, picture.pixels), picture.pixels));
            }
        }
    }
    const Picture low = noise(8, 3, 256, 2);  // kept: ends after its first pass, without an end code
    const Bytes file = write(low, palette, 1);
    Bytes expected = plainGif(low, palette, {.interlaced = true, .segments = {8, 16}});
    expected.resize(13 + 768 + 18 + 1 + 12);
    expected.insert(expected.end(), {2, 0x3B});  // the last two bits of the first segment's clear code, and the end
    EXPECT_TRUE(same(file, expected));
}

TEST(GifWriter, WhatIsMissingIsAnsweredAndTouchesNothing) {
    Bytes palette = testPalette();
    MemoryFile file;
    TolvaHandle state = 7;
    EXPECT_EQ(BeginCellBitmap(file.stream, 4, 4, 8, palette.data(), &state), -1);  // no settings
    EXPECT_EQ(state, 0u);
    Device device;
    EXPECT_EQ(BeginCellBitmap(file.stream, 4, 4, 16, palette.data(), &state), -1);
    EXPECT_EQ(WriteCellBits(file.stream, 0, 4, 4, 8, 0, state), 300);
    EXPECT_EQ(EndCellBitmap(file.stream, state), 303);
    EXPECT_EQ(file.close().size(), 0u);

    MemoryFile second;
    BeginCellBitmap(second.stream, 300, 4, 8, palette.data(), &state);
    EXPECT_EQ(WriteCellBits(second.stream, 0, 300, 1, 8, 0, state), 300);
    EXPECT_EQ(WriteCellBits(second.stream, 0, INT32_MAX, INT32_MAX, 8, 0, state), 300);
    Bytes foreign(900, 9);  // rows of a host's, and fewer than the call claims
    const TolvaHandle band = GlobalPointerToHandle(foreign.data(), 900);
    EXPECT_EQ(WriteCellBits(second.stream, band, 300, 4, 8, 0, state), 0);
    EXPECT_EQ(foreign, Bytes(900, 9));
    GlobalFree(band);
    EXPECT_EQ(EndCellBitmap(second.stream, state), 0);
    second.close();
}
