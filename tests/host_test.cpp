// Memory handles, byte strings, numbers.
#include <cmath>

#include "host/numbers.h"
#include "support.h"

TEST(Memory, BlocksAreZeroedAlignedAndFoundAgainByTheirAddress) {
    for (const uint32_t size : {0u, 1u, 7u, 8u, 1000u}) {
        const TolvaHandle h = GlobalAlloc(0, size);
        uint8_t* const data = static_cast<uint8_t*>(GlobalLock(h));
        EXPECT_EQ(reinterpret_cast<uintptr_t>(data) % 8, 0u);
        EXPECT_EQ(GlobalHandle(data), h);
        EXPECT_EQ(GlobalSize(h), size);
        for (uint32_t i = 0; i < size; ++i) ASSERT_EQ(data[i], 0);
        EXPECT_EQ(GlobalUnlock(h), 0);
        EXPECT_EQ(GlobalFree(h), 0u);
    }
    EXPECT_EQ(GlobalCompact(0), 65536u);
    EXPECT_EQ(GlobalCompact(1000), 1000u);
    TolvaHandle h = GlobalAlloc(66, 4);
    std::memcpy(GlobalLock(h), "abcd", 4);
    h = GlobalReAlloc(h, 6, 66);
    EXPECT_EQ(contents(h), (Bytes{'a', 'b', 'c', 'd', 0, 0}));
    EXPECT_EQ(taken(GlobalReAlloc(h, 2, 66)), (Bytes{'a', 'b'}));
    char mine[3] = "hi";  // a foreign block is described, not owned
    h = GlobalPointerToHandle(mine, sizeof mine);
    EXPECT_EQ(GlobalLock(h), mine);
    EXPECT_EQ(GlobalSize(h), 3u);
    GlobalFree(h);
    EXPECT_STREQ(mine, "hi");
}

TEST(Text, ComparisonsAreReversedAndBlindToCase) {
    for (const auto& [a, b, result] : {std::tuple{"abc", "ABD", 1}, {"Same", "sAME", 0}, {"abc", "ab", -'C'}}) {
        EXPECT_EQ(stricmp(a, b), result);
    }
    EXPECT_EQ(strnicmp("abX", "abY", 2), 0);
    EXPECT_EQ(strnicmp("abX", "abY", 3), 1);
    EXPECT_EQ(strnicmp("a", "b", 0), 0);
    for (const auto& [map, mapped] : {std::pair{&strlower, "az[09]"}, {&strlwr, "az[09]"}, {&strupr, "AZ[09]"}}) {
        char text[] = "aZ[09]";
        EXPECT_EQ(map(text), text);
        EXPECT_STREQ(text, mapped);
    }
    for (const auto& [path, folder, name] :
         {std::tuple{"/a/b/c.gif", "/a/b/", "c"}, {"C:name.ext", "", "name"}, {"d\\e/f.g.h", "d\\", "e/f.g"}}) {
        char text[20];
        EXPECT_EQ(s_getpath(text, path), text);
        EXPECT_STREQ(text, folder);
        EXPECT_STREQ(s_getname(text, path), name);
    }
}

TEST(Numbers, ToleranceIsInclusiveAndRoundingSaturates) {
    EXPECT_EQ(feqi(10, 13, 3), 1);
    EXPECT_EQ(feqi(14, 10, 3), 0);
    EXPECT_EQ(feqi(INT32_MIN, INT32_MAX, 1), 1);
    for (const auto& [x, rounded] :
         {std::pair{2.5, 3}, {-2.5, -3}, {-0.5, -1}, {0.49, 0}, {1e300, INT32_MAX}, {std::nan(""), 0}}) {
        EXPECT_EQ(roundd(x), rounded);
    }
    EXPECT_TRUE(std::signbit(dabs(0.0)));
    EXPECT_FALSE(std::signbit(dabs(-0.0)));
    EXPECT_EQ(tolva::truncated<uint64_t>(-3.0), 0u);
    EXPECT_EQ(tolva::truncated<uint64_t>(1e30), UINT64_MAX);
}
