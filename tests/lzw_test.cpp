// The encoder's bytes against the definition: a linear search, one code after the other.
#include <cstring>

#include "support.h"

namespace {

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
    ASSERT_EQ(file.close(), expected);
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

TEST(Lzw, EverySegmentLengthEndsAsTheDefinitionDoes) {
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
}

TEST(Lzw, SegmentsAreJoinedThroughTheParkedByte) {
    std::mt19937 random(2);
    for (int round = 0; round < 150; ++round) {
        std::vector<Bytes> segments;
        for (int n = 1 + upTo(random, 5); n > 0; --n) {
            segments.push_back(pixels(random, upTo(random, round % 3 == 0 ? 4 : 900), 256, round % 4));
        }
        compare(segments, round % 5 != 0);
        compare(segments, true, 0xFF);  // kept: leftovers in the work buffer show in segments under 4 pixels
    }
}

TEST(Lzw, LosesNoSegmentSilentlyAtItsEnd) {
    const Bytes some(100, 3);
    Bytes work(300);
    uint32_t carry = 0;
    EXPECT_EQ(CompressAndWrite(0, some.data(), work.data(), 100, 1, 1, &carry), kTolvaStreamFailed);
    EXPECT_EQ(CompressAndWrite(0, some.data(), work.data(), 0, 1, 0, &carry), kTolvaStreamFailed);  // parks two bits
    EXPECT_EQ(LZWWriteSubBlocks(0, some.data(), 3), kTolvaStreamFailed);
    EXPECT_EQ(LZWWriteSubBlocks(0, some.data(), 0), 0);
    carry = 4000000000u;
    LZWCompression(0, some.data(), work.data(), -5, 1, 0, &carry);
    EXPECT_LT(carry, 8u);
}
