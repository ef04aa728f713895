// Typed and structured transfers, in either byte order.
#include <cmath>

#include "support.h"

namespace {

// What `write`, which answers `result`, makes of a stream of these formats.
Bytes written(uint16_t dataFormat, uint16_t floatFormat, const std::function<int32_t(TolvaHandle)>& write,
              int32_t result) {
    MemoryFile file;
    zunSetDataFormat(file.stream, dataFormat, floatFormat);
    EXPECT_EQ(write(file.stream), result);
    return file.close();
}

// A stream to read from.
struct Source : MemoryFile {
    explicit Source(const Bytes& bytes, uint16_t dataFormat = 0, uint16_t floatFormat = 0) {
        zunWrite(stream, bytes.data(), static_cast<int32_t>(bytes.size()));
        zunSeek(stream, 0, fromStart);
        zunSetDataFormat(stream, dataFormat, floatFormat);
    }
    ~Source() { close(); }
};

}  // namespace

TEST(Typed, IntegersFollowTheByteOrder) {
    const uint16_t shorts[] = {0x1234, 0x5678};
    const auto write = [&](TolvaHandle s) { return zunWriteShort(s, shorts, 2); };
    EXPECT_EQ(written(littleEndian, 0, write, 2), (Bytes{0x34, 0x12, 0x78, 0x56}));
    EXPECT_EQ(written(bigEndian, 0, write, 2), (Bytes{0x12, 0x34, 0x56, 0x78}));
    for (const uint16_t format : {littleEndian, bigEndian}) {
        Source source({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, format);
        uint32_t longs[3] = {};
        EXPECT_EQ(zunReadLong(source.stream, longs, 2), 2);
        EXPECT_EQ(longs[1], format == bigEndian ? 0x05060708u : 0x08070605u);
        EXPECT_EQ(zunReadLong(source.stream, longs, 1), 0);
        EXPECT_EQ(zunReadLong(source.stream, longs, INT32_MAX), 0);
        EXPECT_EQ(zunReadDouble(source.stream, longs, -268435457), 0);
        EXPECT_EQ(zunWriteShort(source.stream, longs, -5), 0);
    }
}

TEST(Typed, FloatsAndDoublesKeepTheirLopsidedWriters) {
    const uint8_t bits[] = {0x3F, 0xF0, 0, 0, 0, 0, 0, 1};
    uint64_t word = 0;
    for (const uint8_t b : bits) word = word << 8 | b;
    const auto write = [&](TolvaHandle s) { return zunWriteDouble(s, &word, 1); };
    EXPECT_EQ(written(bigEndian, 0, write, 1), (Bytes{0, 0, 0, 1, 0, 0, 0xF0, 0x3F}));
    EXPECT_EQ(written(littleEndian, 0, write, 1), (Bytes{1, 0, 0, 0, 0, 0, 0xF0, 0x3F}));
    for (const auto& [value, bytes] : {std::pair{1.5f, Bytes{0x80, 0, 0, 1}},
                                       {-1.5f, Bytes{0x80, 0, 0xFF, 0xFF}},
                                       {NAN, Bytes{0, 0, 0xFF, 0xFF}},
                                       {-NAN, Bytes{0, 0, 0, 0}}}) {
        const auto writeFixed = [f = value](TolvaHandle s) { return zunWriteFloat(s, &f, 1); };
        EXPECT_EQ(written(bigEndian, fixed16_16, writeFixed, 1), bytes) << value;
    }
    Source source({0, 0x80, 1, 0}, littleEndian, fixed16_16);
    float value = 0;
    EXPECT_EQ(zunReadFloat(source.stream, &value, 1), 1);
    EXPECT_EQ(value, 1.5f);
}

TEST(Structs, LayOutMemoryNaturallyAndFilesPacked) {
    struct Record {
        uint8_t a;
        uint16_t b;
        uint8_t c;
        alignas(8) double d;  // as formats have it, on every machine
        struct {
            uint8_t e;
            uint32_t f;
        } inner;
        uint8_t g;
    };
    Record records[2] = {{1, 2, 3, 0.0, {5, 6}, 7}, {11, 12, 13, 1.0, {15, 16}, 17}};
    const char* const format = "1CSc1D{C1L}C";
    const auto write = [&](TolvaHandle s) { return zunWriteStruct(s, format, records, 2); };
    const Bytes file = written(littleEndian, 0, write, 2);
    EXPECT_EQ(file, (Bytes{1,  2,  0, 3,  0, 0, 0, 0, 0, 0, 0,    0,    5,  6,  0, 0, 0, 7,
                           11, 12, 0, 13, 0, 0, 0, 0, 0, 0, 0xF0, 0x3F, 15, 16, 0, 0, 0, 17}));
    Source source(file);
    Record back[2];
    std::memset(back, 0xEE, sizeof back);
    EXPECT_EQ(zunReadStruct(source.stream, format, back, 2), 2);
    EXPECT_EQ(back[1].d, 1.0);
    EXPECT_EQ(back[1].inner.f, 16u);
    EXPECT_EQ(back[1].g, 17);
    EXPECT_EQ(reinterpret_cast<uint8_t*>(&back[0])[1], 0xEE);  // kept: a 16-bit item's pad byte is not touched
    EXPECT_EQ(reinterpret_cast<uint8_t*>(&back[0])[5], 0);
    EXPECT_EQ(zunReadStruct(source.stream, format, back, 1), 0);
}

TEST(Structs, SkipsUnionsErrorsAndAbsurdCounts) {
    uint8_t memory[64] = {9};
    Source source({1, 2, 0xAA, 0xBB, 0xCC, 0xDD});
    EXPECT_EQ(zunReadStruct(source.stream, "2C1L", memory, 1), 1);
    EXPECT_EQ(std::memcmp(memory, "\1\2\0\0", 4), 0);
    EXPECT_EQ(zunSeek(source.stream, 0, fromStart), 0);
    EXPECT_EQ(zunReadStruct(source.stream, "C(1L|1D|)[2C]C", memory, 1), 1);  // 1, union at 8, 2 skipped
    EXPECT_EQ(memory[18], 2);
    EXPECT_EQ(zunReadStruct(source.stream, "C?C", memory, 1), 0);
    EXPECT_EQ(zunSeek(source.stream, 0, fromCurrent), 4);
    for (const char* const absurd : {"99999999999999999999D", "[1000000000L]C"}) {
        EXPECT_EQ(zunReadStruct(source.stream, absurd, memory, 1), 0);
    }
    EXPECT_EQ(zunReadStruct(source.stream, "C12", memory, 1), 1);
    EXPECT_EQ(zunReadStruct(source.stream, "", memory, INT32_MAX), INT32_MAX);
    EXPECT_EQ(zunReadStruct(source.stream, "(L)[0S]", nullptr, INT32_MAX), INT32_MAX);  // nor a byte, nor a while
    EXPECT_EQ(zunReadStruct(source.stream, "[?", memory, INT32_MAX), 0);
    const uint8_t out[8] = {1, 0, 0, 0, 7, 0, 0, 7};
    const auto writeUnion = [&](TolvaHandle s) { return zunWriteStruct(s, "1C(1L|)", out, 1); };
    EXPECT_EQ(written(littleEndian, 0, writeUnion, 0).size(), 5u);
    for (const auto& [format, width] : {std::pair{"6C2S3C", 2}, {"1C{1D}", 8}, {"{1S}1D", 2}}) {
        EXPECT_EQ(GetPadWidth(format), width) << format;
    }
    const std::string deep(100000, '(');
    for (const auto& [format, size] :
         {std::pair{"(1L|2S)", 4}, {"(1S|1D)", 2}, {"(1S|C(1C|1D|)|)", 16}, {deep.c_str(), 0}}) {
        int32_t got = -1;
        GetUnionSize(format, &got);
        EXPECT_EQ(got, size) << format;
    }
}
