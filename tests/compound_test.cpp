// Sub-streams of compound documents; damaged ones are met by fuzz/streams.cpp.
#include <numeric>

#include "support.h"

namespace {

constexpr uint32_t kSector = 512;
constexpr uint32_t kMini = 64;
constexpr uint32_t kEndOfChain = 0xFFFFFFFE;
using Links = std::vector<uint32_t>;

// A sub-stream as its opener leaves it in the stream's record.
struct SubStream {
    Links sectors, minis;
    uint32_t miniStart, start, size;
};

TolvaHandle openSub(const std::string& path, const SubStream& sub) {
    const TolvaHandle stream = zunOpen(path.c_str(), nullptr, toRead);
    StreamRecord& record = *static_cast<StreamRecord*>(GlobalLock(stream));
    record.docMode = 1;
    record.docSectorTable = handleOf(sub.sectors);
    record.docMiniSectorTable = handleOf(sub.minis);
    record.docMiniStreamStart = sub.miniStart;
    record.docStartSector = sub.start;
    record.docSize = sub.size;
    return stream;
}

void closeSub(TolvaHandle stream) {
    StreamRecord& record = *static_cast<StreamRecord*>(GlobalLock(stream));
    GlobalFree(record.docSectorTable);
    GlobalFree(record.docMiniSectorTable);
    zunClose(stream);
}

// A file of sectors in any order, and a large sub-stream, or one in the minis of a container, spread over them.
SubStream construct(const std::string& path, const Bytes& contents, uint32_t seed) {
    std::mt19937 random(seed);
    const bool large = contents.size() >= 4096;
    const auto spread = [&random](Links& links, uint32_t unit, const Bytes& from, Bytes& to) {
        Links order((from.size() + unit - 1) / unit + 5);
        std::iota(order.begin(), order.end(), 0u);
        std::shuffle(order.begin(), order.end(), random);
        links.assign(order.size(), kEndOfChain);
        to.resize(order.size() * unit);
        for (size_t i = 0; i * unit < from.size(); ++i) {
            std::copy_n(from.begin() + i * unit, std::min<size_t>(unit, from.size() - i * unit),
                        to.begin() + order[i] * unit);
            if ((i + 1) * unit < from.size()) links[order[i]] = order[i + 1];
        }
        return order[0];
    };
    SubStream sub = {};
    sub.size = static_cast<uint32_t>(contents.size());
    Bytes container, file;
    if (!large) sub.start = spread(sub.minis, kMini, contents, container);
    const uint32_t first = spread(sub.sectors, kSector, large ? contents : container, file);
    (large ? sub.start : sub.miniStart) = first;
    file.insert(file.begin(), kSector, 0);
    save(path, file);
    return sub;
}

}  // namespace

TEST(Compound, SubStreamsReadBackFromEverySize) {
    const Temporary file;
    for (const int size : {1, 63, 64, 65, 512, 4095, 4096, 4097, 5120, 40000}) {
        const Bytes contents = noise(size, 1, 256, 5).pixels;
        const TolvaHandle stream = openSub(file.path, construct(file.path, contents, size));
        std::mt19937 random(7);
        Bytes whole(contents.size() + 10);
        ASSERT_EQ(zunRead(stream, whole.data(), size + 10), size);
        whole.resize(contents.size());
        ASSERT_TRUE(same(whole, contents));
        for (int i = 0; i < 60; ++i) {
            const int32_t at = upTo(random, size + 20) - 10;
            const int32_t place = std::clamp(at, 0, size);
            const int32_t count = upTo(random, 1500);
            ASSERT_EQ(i % 2 == 0 ? zunSeek(stream, at, fromStart) : zunSeek(stream, size - at, fromEnd), place);
            Bytes part(1500);
            const int32_t got = zunRead(stream, part.data(), count);
            ASSERT_EQ(got, std::min(count, size - place));
            ASSERT_TRUE(std::equal(part.begin(), part.begin() + got, contents.begin() + place));
            EXPECT_EQ(zunSeek(stream, 0, fromCurrent), place + got);
        }
        EXPECT_EQ(zunSeek(stream, 3, 7), -1);
        closeSub(stream);
    }
}

TEST(Compound, OnlyLinksInsideTheirTableLeadOn) {
    const Temporary file;
    save(file.path, Bytes(4 * kSector));  // sectors 0 to 2
    const Links ended(20, kEndOfChain), onward = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    for (const auto& [sub, from, got] : {std::tuple{SubStream{ended, {}, 0, 0, 5000}, 0, 512},
                                         {SubStream{{1, 2}, {}, 0, 0, 5000}, 0, 1024},
                                         {SubStream{onward, {}, 0, 0, 5000}, 0, 2048},  // what is not there counts
                                         {SubStream{{}, {}, 0, 0, 40}, 0, 40},          // a start is no link
                                         {SubStream{{}, {kEndOfChain}, 0, 0, 100}, 0, 64},
                                         {SubStream{ended, onward, 0, 0, 700}, 0, 512},
                                         {SubStream{Links(9), {}, 0, 0, INT32_MAX}, 1000000000, 0}}) {  // a circle
        const TolvaHandle stream = openSub(file.path, sub);
        Bytes buffer(5000);
        EXPECT_EQ(zunSeek(stream, from, fromStart), from);
        EXPECT_EQ(zunRead(stream, buffer.data(), 5000), got);
        EXPECT_EQ(zunSeek(stream, 0, fromCurrent), from + got);
        closeSub(stream);
    }
}
