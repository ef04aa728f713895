// True colour: tables, matched pixels and dithered bitmaps against plain definitions.
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "support.h"

namespace {

Handle handleOf(const Bytes& bytes) {
    const Handle h = GlobalAlloc(kMoveableZeroed, static_cast<uint32_t>(bytes.size()));
    std::copy(bytes.begin(), bytes.end(), static_cast<uint8_t*>(GlobalLock(h)));
    return h;
}

Bytes contents(Handle h) {
    const uint8_t* const data = static_cast<const uint8_t*>(GlobalLock(h));
    Bytes bytes(data, data + GlobalSize(h));
    GlobalFree(h);
    return bytes;
}

// A 24-bit bitmap of one of several kinds: noise, few colours, greys and near-greys, a tight cluster, flat areas.
Bytes bitmap(std::mt19937& random, int width, int height, int kind) {
    const size_t row = static_cast<size_t>(rlBytesPerLine(width, 24));
    Bytes bytes(row * static_cast<size_t>(height), 0xEE);
    const int colours = 1 + upTo(random, 300);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            uint8_t* const p = &bytes[row * static_cast<size_t>(y) + static_cast<size_t>(3 * x)];
            const uint32_t v = random();
            const uint32_t few = (v % static_cast<uint32_t>(colours)) * 2654435761u;
            const uint8_t grey = static_cast<uint8_t>(v);
            for (int i = 0; i < 3; ++i) {
                const int choices[] = {static_cast<int>(v >> (8 * i)), static_cast<int>(few >> (8 * i + 3)),
                                       grey + upTo(random, 8) - 4, 100 + static_cast<int>(v >> (8 * i) & 15),
                                       x / 9 * 20 + i};
                p[i] = static_cast<uint8_t>(std::clamp(choices[kind % 5] & (kind % 5 == 2 ? -1 : 255), 0, 255));
            }
        }
    }
    return bytes;
}

// Median cut as it is described, exchanging entries one by one.
struct Box {
    int first, last, axis;
    uint32_t pixels;
    int mean[3];
};
struct PlainCut {
    std::vector<std::pair<int, uint32_t>> list;  // key, count
    int part(int i, int axis) const { return list[static_cast<size_t>(i)].first >> (10 - 5 * axis) & 31; }
    uint32_t count(int i) const { return list[static_cast<size_t>(i)].second; }

    Box box(int first, int last) const {
        Box b = {first, last, 0, 0, {}};
        uint32_t sums[3] = {};
        int low[3] = {255, 255, 255}, high[3] = {};
        for (int i = first; i <= last; ++i) {
            b.pixels += count(i);
            for (int a = 0; a < 3; ++a) {
                sums[a] += static_cast<uint32_t>(part(i, a)) * count(i);
                low[a] = std::min(low[a], part(i, a));
                high[a] = std::max(high[a], part(i, a));
            }
        }
        for (int a = 1; a < 3; ++a) b.axis = high[a] - low[a] > high[b.axis] - low[b.axis] ? a : b.axis;
        for (int a = 0; a < 3; ++a) b.mean[a] = static_cast<int>(sums[a] / b.pixels);
        return b;
    }
    void sift(int base, int axis, int root, int last) {
        for (int left; (left = 2 * root + 1) <= last;) {
            const int child = left == last || part(base + left, axis) > part(base + left + 1, axis) ? left : left + 1;
            if (part(base + root, axis) >= part(base + child, axis)) return;
            std::swap(list[static_cast<size_t>(base + root)], list[static_cast<size_t>(base + child)]);
            root = child;
        }
    }
    int median(const Box& b) const {
        if (b.last - b.first <= 1) return b.first;
        uint32_t total = 0;
        for (int i = b.first; i <= b.last; ++i) total += count(i);
        const uint32_t half = total / 2;
        int m = b.first;
        uint32_t sum = count(m);
        while (sum < half) sum += count(++m);
        int up = m, down = m;
        uint32_t over = sum, under = sum;
        while (up < b.last && part(up, b.axis) == part(up + 1, b.axis)) over += count(++up);
        while (down > b.first && part(down, b.axis) == part(down + 1, b.axis)) under -= count(--down);
        return static_cast<int>(half - under) > static_cast<int>(over - half) ? up : down;
    }
};

Bytes plainTable(const Bytes& bits, int width, int height, int n) {
    std::vector<uint32_t> counters(32768);
    for (int y = 0; y < height; ++y) {
        const uint8_t* p = &bits[static_cast<size_t>(rlBytesPerLine(width, 24) * y)];
        for (int x = 0; x < width; ++x, p += 3) {
            uint32_t& c = counters[static_cast<size_t>(p[0] / 8 * 1024 + p[1] / 8 * 32 + p[2] / 8)];
            c = std::min(c + 1, 65535u);
        }
    }
    PlainCut cut;
    for (int key = 0; key < 32768; ++key) {
        if (counters[static_cast<size_t>(key)] != 0) cut.list.push_back({key, counters[static_cast<size_t>(key)]});
    }
    Bytes table;
    const auto emit = [&](int a, int b, int c) {
        for (const int v : {a, b, c}) table.push_back(static_cast<uint8_t>(v == 0 ? 0 : v * 8 + 7));
    };
    const int distinct = static_cast<int>(cut.list.size());
    if (distinct < n) {
        for (int i = 0; i < distinct; ++i) emit(cut.part(i, 0), cut.part(i, 1), cut.part(i, 2));
        return table;
    }
    cut.list.push_back({0, 0});
    std::vector<Box> boxes(static_cast<size_t>(n));
    std::vector<int> status(static_cast<size_t>(n), -1);  // -1 free, 0 final, 1 may be split
    boxes[0] = cut.box(0, distinct - 1);
    status[0] = 1;
    const auto free = [&](int from) {
        while (from < n - 1 && status[static_cast<size_t>(from)] != -1) ++from;
        return static_cast<size_t>(from);
    };
    for (int count = 1; count < n - 1; ++count) {
        size_t s = 0;
        uint32_t most = 0;
        for (size_t i = 0; i < boxes.size(); ++i) {
            if (status[i] == 1 && boxes[i].pixels > most) most = boxes[s = i].pixels;
        }
        const Box b = boxes[s];
        const int size = b.last - b.first + 1;
        for (int root = (size - 2) / 2; root >= 0; --root) cut.sift(b.first, b.axis, root, size);
        for (int k = size - 1; k > 0; --k) {
            std::swap(cut.list[static_cast<size_t>(b.first)], cut.list[static_cast<size_t>(b.first + k)]);
            cut.sift(b.first, b.axis, 0, k - 1);
        }
        const int m = cut.median(b);
        const size_t i = free(0);
        status[i] = b.first == m ? 0 : 1;
        boxes[i] = cut.box(b.first, b.first != m && b.last == m ? m - 1 : m);
        const size_t j = free(static_cast<int>(i) + 1);
        status[j] = b.last == m || b.last == m + 1 ? 0 : 1;
        boxes[j] = cut.box(b.last == m ? m : m + 1, b.last);
        status[s] = -1;
    }
    for (const Box& b : boxes) emit(b.mean[0], b.mean[1], b.mean[2]);
    return table;
}

}  // namespace

TEST(TrueColour, TablesAreThoseOfMedianCut) {
    std::mt19937 random = seeded(21);
    for (int round = 0; round < 250; ++round) {
        const int width = 1 + upTo(random, 90), height = 1 + upTo(random, 60),
                  n = 1 + upTo(random, round % 3 == 0 ? 12 : 300);
        const Bytes bits = bitmap(random, width, height, round);
        const Handle h = handleOf(bits);
        uint16_t count = static_cast<uint16_t>(n);
        Bytes table = contents(rlReduceColorTable(h, width, height, &count));
        GlobalFree(h);
        const Bytes expected = plainTable(bits, width, height, n);
        ASSERT_EQ(count, expected.size() / 3) << round;
        ASSERT_EQ(table.size(), static_cast<size_t>(3 * n));
        table.resize(expected.size());
        ASSERT_EQ(table, expected) << round;
    }
    const Handle flat = handleOf(Bytes(400 * 400 * 3, 200));  // more pixels of a colour than are counted
    uint16_t count = 1;
    EXPECT_EQ(contents(rlReduceColorTable(flat, 400, 400, &count)), Bytes(3, 207));
    count = 0;
    EXPECT_EQ(contents(rlReduceColorTable(flat, 400, 400, &count)).size(), 0u);
    const Handle bare = handleOf({0, 0, 0, 80, 90, 99, 0, 0, 0, 8, 0, 0, 255, 1, 1});  // a table, without row padding
    count = 9;
    Bytes four = contents(rlReduceColorTable(bare, 5, 1, &count));
    EXPECT_EQ(count, 4);
    EXPECT_EQ(four[3], 15);
    GlobalFree(bare);
    for (const int width : {-1, -2, 0}) {
        const Handle none = rlConvertBitmapDepth(flat, width, width == 0 ? INT32_MAX : 1, 24, 24, 0, 0, 0);
        EXPECT_EQ(contents(none).size(), 0u);
    }
    GlobalFree(flat);
    count = 9;
    EXPECT_EQ(contents(rlReduceColorTable(0, 4, 4, &count)), Bytes(27));
    EXPECT_EQ(direct_indexed(nullptr, 0, 0, &count, 3, nullptr, 0), -1);
    EXPECT_EQ(TermColorLib(0), 0);
}

TEST(TrueColour, EveryPixelGetsTheEntryOfTheDefinition) {
    std::mt19937 random = seeded(22);
    for (int round = 0; round < 120; ++round) {
        const int width = 1 + upTo(random, 150), height = 1 + upTo(random, 40), entries = 1 + upTo(random, 255);
        const int16_t srcBits = round % 4 == 3 ? 32 : 24, dstBits = round % 6 == 5 ? 4 : 8;
        const Bytes bits =
            srcBits == 24 ? bitmap(random, width, height, round) : bitmap(random, width * 4 / 3 + 4, height, 0);
        const Bytes table = bitmap(random, entries, 1, round % 7);
        const Handle source = handleOf(bits), hTable = handleOf(table);
        const Handle result =
            rlConvertBitmapDepth(source, width, height, srcBits, dstBits, 0, hTable, static_cast<uint16_t>(entries));
        const uint8_t* const got = static_cast<const uint8_t*>(GlobalLock(result));
        for (int i = 0; i < width * height; ++i) {
            const uint8_t* const p =
                &bits[static_cast<size_t>(rlBytesPerLine(width, srcBits) * (i / width) + i % width * srcBits / 8)];
            const int32_t expected = rlNearestRGBIndex(p[0], p[1], p[2], table.data(), static_cast<uint16_t>(entries));
            ASSERT_EQ(rlGetPixel(got, rlBytesPerLine(width, dstBits), i % width, i / width, dstBits),
                      static_cast<uint32_t>(dstBits == 8 ? expected : expected & 15))
                << round;
        }
        for (const Handle h : {source, hTable, result}) GlobalFree(h);
    }
}

TEST(TrueColour, ErrorsAreDiffusedAsDescribed) {
    std::mt19937 random = seeded(23);
    for (int round = 0; round < 60; ++round) {
        const int width = 1 + upTo(random, 40), height = 1 + upTo(random, 20);
        const int16_t dstBits = static_cast<int16_t>(1 + round % 4);
        Bytes work = bitmap(random, width, height, round);
        const Handle source = handleOf(work);
        Handle table = 0;
        const Bytes result = contents(rlDitherBitmap(source, width, height, 24, dstBits, 0, &table));
        GlobalFree(source);
        const Bytes colours = contents(table);
        const uint16_t count = static_cast<uint16_t>(colours.size() / 3);
        EXPECT_EQ(count, dstBits < 3 ? 8 : 1 << dstBits);
        if (dstBits == 4) {  // reduced colours, the fixed ones, and black
            Bytes reduced = plainTable(work, width, height, 8);
            reduced.insert(reduced.end(), must_have_colors, must_have_colors + 24);
            reduced.resize(48);
            EXPECT_EQ(colours, reduced);
        }
        const auto pixel = [&](int x, int y) {
            return &work[static_cast<size_t>(rlBytesPerLine(width, 24) * y + 3 * x)];
        };
        for (int y = 0; y < height; ++y) {
            if (dstBits == 1 && y == 0) rev_rgb(width, pixel(0, 0), kConvertGrey);
            if (dstBits == 1 && y + 1 < height) rev_rgb(width, pixel(0, y + 1), kConvertGrey);
            int k = 0;
            for (int x = 0; x < width; ++x) {
                const uint8_t* const p = pixel(x, y);
                if (x + 1 < width) k = rlNearestRGBIndex(p[0], p[1], p[2], colours.data(), count);
                for (int i = 0; i < 3; ++i) {
                    const int e = pixel(x, y)[i] - colours[static_cast<size_t>(3 * k + i)];
                    pixel(x, y)[i] = colours[static_cast<size_t>(3 * k + i)];
                    const auto add = [&](int dx, int dy, int amount) {
                        if (x + 1 == width || x + dx < 0 || y + dy >= height) return;
                        uint8_t& c = pixel(x + dx, y + dy)[i];
                        c = static_cast<uint8_t>(std::clamp(c + amount, 0, 255));
                    };
                    add(1, 0, 7 * e / 16);
                    for (const int dx : {0, -1, 1}) add(dx, 1, 7 * e / 16 - (dx == 0 ? 1 : dx < 0 ? 2 : 3) * (e / 8));
                }
            }
        }
        for (int i = 0; i < width * height; ++i) {
            const uint8_t* const p = pixel(i % width, i / width);
            const uint32_t index = static_cast<uint32_t>(rlNearestRGBIndex(p[0], p[1], p[2], colours.data(), count));
            ASSERT_EQ(rlGetPixel(result.data(), rlBytesPerLine(width, dstBits), i % width, i / width, dstBits),
                      dstBits < 2    ? index & 1
                      : dstBits == 4 ? index
                                     : 0)
                << round;
        }
    }
}

TEST(TrueColour, OtherModelsAndDepthsEndInTheSameFile) {
    std::mt19937 random = seeded(24);
    const int width = 33, height = 21;
    const Bytes bits = bitmap(random, width, height, 0);
    Bytes four;
    for (int i = 0; i < width * height; ++i) {
        const uint8_t* const p = &bits[static_cast<size_t>(rlBytesPerLine(width, 24) * (i / width) + i % width * 3)];
        four.insert(four.end(), {p[0], p[1], p[2], static_cast<uint8_t>(random())});
    }
    Bytes cmyk = four;
    for (size_t i = 0; i < cmyk.size(); ++i) cmyk[i] = i % 4 == 3 ? 0 : static_cast<uint8_t>(255 - four[i]);
    const auto written = [&](const Bytes& pixels, int16_t depth, int16_t model) {
        const std::string path = temporaryPath("model.gif");
        Host host;
        startHost(host, path.c_str());
        callOpcode(kOpOpenDevice);
        const Handle h = handleOf(pixels);
        Bytes window = windowBlock(width - 1, height - 1);
        std::memcpy(lpEMData->window, window.data() + kBlockData, sizeof lpEMData->window);
        RasterWriteCellData(h, width, height, 64, depth, model);
        GlobalFree(h);
        callOpcode(kOpCloseDevice);
        endHost(host);
        const Bytes file = readFile(path);
        unlink(path.c_str());
        return file;
    };
    const Bytes file = written(bits, 24, 1);
    EXPECT_GT(file.size(), 900u);
    EXPECT_EQ(written(four, 32, 0), file);
    EXPECT_EQ(written(four, 32, 3), file);
    EXPECT_EQ(written(cmyk, 32, 2), file);
    const Handle h = handleOf(cmyk);
    Bytes back = contents(h);
    EXPECT_EQ(back, cmyk);
    Bytes odd = {0, 0, 0, 255, 255, 0, 0, 0};
    const Handle two = handleOf(odd);
    rlCMYKtoRGB(two, 2, 1);
    rlRGB4toCMYK(two, 2, 0);
    odd = contents(two);
    EXPECT_EQ(Bytes(odd.begin(), odd.begin() + 6), (Bytes{0, 0, 0, 0, 255, 255}));
}
