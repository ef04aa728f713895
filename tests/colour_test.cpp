// True colour: tables, matched pixels and dithered bitmaps against plain definitions.
#include <algorithm>

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

// Pixel i, row by row.
uint32_t pixelOf(const Bytes& bits, int width, int16_t depth, int i) {
    return rlGetPixel(bits.data(), rlBytesPerLine(width, depth), i % width, i / width, depth);
}

// Median cut as it is described, exchanging entries one by one.
struct Box {
    int first, last, axis;
    uint32_t pixels;
    int mean[3];
};
struct PlainCut {
    std::vector<std::pair<int, uint32_t>> list;  // key, count
    int part(int i, int axis) const { return list[i].first >> (10 - 5 * axis) & 31; }
    uint32_t count(int i) const { return list[i].second; }

    Box box(int first, int last) const {
        Box b = {first, last, 0, 0, {}};
        uint32_t sums[3] = {};
        int low[3] = {255, 255, 255}, high[3] = {};
        for (int i = first; i <= last; ++i) {
            b.pixels += count(i);
            for (int a = 0; a < 3; ++a) {
                sums[a] += part(i, a) * count(i);
                low[a] = std::min(low[a], part(i, a));
                high[a] = std::max(high[a], part(i, a));
            }
        }
        for (int a = 1; a < 3; ++a) b.axis = high[a] - low[a] > high[b.axis] - low[b.axis] ? a : b.axis;
        for (int a = 0; a < 3; ++a) b.mean[a] = sums[a] / b.pixels;
        return b;
    }
    void sift(int base, int axis, int root, int last) {
        for (int left; (left = 2 * root + 1) <= last;) {
            const int child = left == last || part(base + left, axis) > part(base + left + 1, axis) ? left : left + 1;
            if (part(base + root, axis) >= part(base + child, axis)) return;
            std::swap(list[base + root], list[base + child]);
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
    for (int i = 0; i < width * height; ++i) {
        const uint8_t* const p = &bits[rlBytesPerLine(width, 24) * (i / width) + 3 * (i % width)];
        uint32_t& c = counters[p[0] / 8 * 1024 + p[1] / 8 * 32 + p[2] / 8];
        c = std::min(c + 1, 65535u);
    }
    PlainCut cut;
    for (int key = 0; key < 32768; ++key) {
        if (counters[key] != 0) cut.list.push_back({key, counters[key]});
    }
    Bytes table;
    const auto emit = [&](int a, int b, int c) {
        for (const int v : {a, b, c}) table.push_back(v == 0 ? 0 : v * 8 + 7);
    };
    const int distinct = static_cast<int>(cut.list.size());
    if (distinct < n) {
        for (int i = 0; i < distinct; ++i) emit(cut.part(i, 0), cut.part(i, 1), cut.part(i, 2));
        return table;
    }
    cut.list.push_back({0, 0});
    std::vector<Box> boxes(n);
    std::vector<int> status(n, -1);  // -1 free, 0 final, 1 may be split
    boxes[0] = cut.box(0, distinct - 1);
    status[0] = 1;
    const auto free = [&](int from) {
        while (from < n - 1 && status[from] != -1) ++from;
        return from;
    };
    for (int count = 1; count < n - 1; ++count) {
        int s = 0;
        uint32_t most = 0;
        for (int i = 0; i < n; ++i) {
            if (status[i] == 1 && boxes[i].pixels > most) most = boxes[s = i].pixels;
        }
        const Box b = boxes[s];
        const int size = b.last - b.first + 1;
        for (int root = (size - 2) / 2; root >= 0; --root) cut.sift(b.first, b.axis, root, size);
        for (int k = size - 1; k > 0; --k) {
            std::swap(cut.list[b.first], cut.list[b.first + k]);
            cut.sift(b.first, b.axis, 0, k - 1);
        }
        const int m = cut.median(b);
        const int i = free(0);
        status[i] = b.first == m ? 0 : 1;
        boxes[i] = cut.box(b.first, b.first != m && b.last == m ? m - 1 : m);
        const int j = free(i + 1);
        status[j] = b.last == m || b.last == m + 1 ? 0 : 1;
        boxes[j] = cut.box(b.last == m ? m : m + 1, b.last);
        status[s] = -1;
    }
    for (const Box& b : boxes) emit(b.mean[0], b.mean[1], b.mean[2]);
    return table;
}

}  // namespace

TEST(TrueColour, TablesAreThoseOfMedianCut) {
    std::mt19937 random(21);
    for (int round = 0; round < 250; ++round) {
        const int width = 1 + upTo(random, 90), height = 1 + upTo(random, 60),
                  n = 1 + upTo(random, round % 3 == 0 ? 12 : 300);
        const Bytes bits = bitmap(random, width, height, round);
        const TolvaHandle h = handleOf(bits);
        uint16_t count = n;
        const Bytes table = taken(rlReduceColorTable(h, width, height, &count));
        GlobalFree(h);
        Bytes expected = plainTable(bits, width, height, n);
        ASSERT_EQ(count, expected.size() / 3) << round;
        expected.resize(3 * n);
        ASSERT_EQ(table, expected) << round;
    }
    const TolvaHandle flat = handleOf(Bytes(400 * 400 * 3, 200));  // more pixels of a colour than are counted
    uint16_t count = 1;
    EXPECT_EQ(taken(rlReduceColorTable(flat, 400, 400, &count)), Bytes(3, 207));
    count = 0;
    EXPECT_EQ(taken(rlReduceColorTable(flat, 400, 400, &count)).size(), 0u);
    const TolvaHandle bare =
        handleOf({0, 0, 0, 80, 90, 99, 0, 0, 0, 8, 0, 0, 255, 1, 1});  // a table, without row padding
    count = 9;
    EXPECT_EQ(taken(rlReduceColorTable(bare, 5, 1, &count))[3], 15);
    EXPECT_EQ(count, 4);
    for (const int width : {-1, -2, 0}) {
        const TolvaHandle none = rlConvertBitmapDepth(flat, width, width == 0 ? INT32_MAX : 1, 24, 24, 0, 0, 0);
        EXPECT_EQ(taken(none).size(), 0u);
    }
    for (const TolvaHandle h : {bare, flat}) GlobalFree(h);
    count = 9;
    EXPECT_EQ(taken(rlReduceColorTable(0, 4, 4, &count)), Bytes(27));
    EXPECT_EQ(direct_indexed(nullptr, 0, 0, &count, 3, nullptr, 0), -1);
    EXPECT_EQ(TermColorLib(0), 0);
}

TEST(TrueColour, EveryPixelGetsTheEntryOfTheDefinition) {
    std::mt19937 random(22);
    for (int round = 0; round < 120; ++round) {
        const int width = 1 + upTo(random, 150), height = 1 + upTo(random, 40), entries = 1 + upTo(random, 255);
        const int16_t srcBits = round % 4 == 3 ? 32 : 24, dstBits = round % 6 == 5 ? 4 : 8;
        const Bytes bits =
            srcBits == 24 ? bitmap(random, width, height, round) : bitmap(random, width * 4 / 3 + 4, height, 0);
        const Bytes table = bitmap(random, entries, 1, round % 7);
        const TolvaHandle source = handleOf(bits), hTable = handleOf(table);
        const Bytes got = taken(rlConvertBitmapDepth(source, width, height, srcBits, dstBits, 0, hTable, entries));
        for (int i = 0; i < width * height; ++i) {
            const uint8_t* const p = &bits[rlBytesPerLine(width, srcBits) * (i / width) + i % width * srcBits / 8];
            const uint32_t expected = rlNearestRGBIndex(p[0], p[1], p[2], table.data(), entries);
            ASSERT_EQ(pixelOf(got, width, dstBits, i), dstBits == 8 ? expected : expected & 15) << round;
        }
        for (const TolvaHandle h : {source, hTable}) GlobalFree(h);
    }
}

TEST(TrueColour, ErrorsAreDiffusedAsDescribed) {
    std::mt19937 random(23);
    for (int round = 0; round < 60; ++round) {
        const int width = 1 + upTo(random, 40), height = 1 + upTo(random, 20);
        const int16_t dstBits = 1 + round % 4;
        Bytes work = bitmap(random, width, height, round);
        const int16_t bits = round % 5 == 4 ? 8 : 24;
        const TolvaHandle own = handleOf(bitmap(random, 20, 1, 0)), palette = handleOf(testPalette());
        const TolvaHandle source = handleOf(bits == 24 ? work : noise(width + 3, height, 256, round).pixels);
        if (bits == 8) work = taken(rlConvertBitmapDepth(source, width, height, 8, 24, palette, 0, 0));
        TolvaHandle table = round % 3 == 0 ? own : 0, chosen = own, mono = 0;
        uint16_t count = 0, chosenCount = 0, monoCount = 0;
        rlDitherGetCT(source, width, height, bits, dstBits, palette, &chosen, &chosenCount);
        rlDitherGetCT(source, width, height, bits, 1, palette, &mono, &monoCount);
        // The caller's table is taken for few colours alone, or else by rlDitherBitmap.
        EXPECT_EQ(chosen == own, dstBits < 3);
        EXPECT_EQ(std::pair(chosenCount, monoCount), std::pair(uint16_t(1 << dstBits), uint16_t{8}));
        Bytes result;
        if (round % 3 == 1) {  // a table of fewer colours than there are
            result = taken(rlDitherGivenCT(source, width, height, bits, dstBits, palette, table = own, count = 5));
        } else {
            result = taken(rlDitherBitmap(source, width, height, bits, dstBits, palette, &table));
            count = table == own || dstBits > 2 ? 1 << dstBits : 8;
        }
        const Bytes colours = contents(table);
        if (dstBits == 4) {  // reduced colours, the fixed ones, and black
            Bytes reduced = plainTable(work, width, height, 8);
            reduced.insert(reduced.end(), must_have_colors, must_have_colors + 24);
            reduced.resize(48);
            EXPECT_EQ(contents(chosen), reduced);
            EXPECT_TRUE(table == own || colours == reduced);
        }
        EXPECT_TRUE(round % 3 != 2 || dstBits > 1 || colours == contents(mono));
        const auto pixel = [&](int x, int y) { return &work[rlBytesPerLine(width, 24) * y + 3 * x]; };
        const auto nearest = [&](const uint8_t* p) {
            return rlNearestRGBIndex(p[0], p[1], p[2], colours.data(), count);
        };
        for (int y = 0; y < height; ++y) {
            if (dstBits == 1 && y == 0) rev_rgb(width, pixel(0, 0), 3);
            if (dstBits == 1 && y + 1 < height) rev_rgb(width, pixel(0, y + 1), 3);
            for (int x = 0, k = 0; x < width; ++x) {
                if (x + 1 < width) k = nearest(pixel(x, y));
                for (int i = 0; i < 3; ++i) {
                    const int e = pixel(x, y)[i] - colours[3 * k + i];
                    pixel(x, y)[i] = colours[3 * k + i];
                    const auto add = [&](int dx, int dy, int amount) {
                        if (x + 1 == width || x + dx < 0 || y + dy >= height) return;
                        uint8_t& c = pixel(x + dx, y + dy)[i];
                        c = std::clamp(c + amount, 0, 255);
                    };
                    add(1, 0, 7 * e / 16);
                    for (const int dx : {0, -1, 1}) add(dx, 1, 7 * e / 16 - (dx == 0 ? 1 : dx < 0 ? 2 : 3) * (e / 8));
                }
            }
        }
        for (int i = 0; i < width * height; ++i) {
            const uint32_t index = nearest(pixel(i % width, i / width));
            const uint32_t expected = dstBits < 2 ? index & 1 : dstBits == 4 ? index : 0;
            ASSERT_EQ(pixelOf(result, width, dstBits, i), expected) << round;
        }
        for (const TolvaHandle h : {source, own, palette, table == own ? 0 : table, chosen == own ? 0 : chosen, mono})
            GlobalFree(h);
    }
}

TEST(TrueColour, OtherModelsAndDepthsEndInTheSameFile) {
    std::mt19937 random(24);
    const int width = 33, height = 21;
    const Bytes bits = bitmap(random, width, height, 0);
    Bytes four;
    for (int i = 0; i < width * height; ++i) {
        const uint8_t* const p = &bits[rlBytesPerLine(width, 24) * (i / width) + i % width * 3];
        four.insert(four.end(), {p[0], p[1], p[2], static_cast<uint8_t>(random())});
    }
    Bytes cmyk = four;
    for (size_t i = 0; i < cmyk.size(); ++i) cmyk[i] = i % 4 == 3 ? 0 : 255 - four[i];
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
    EXPECT_EQ(written(four, 32, 0), file);
    EXPECT_EQ(written(four, 32, 3), file);
    EXPECT_EQ(written(cmyk, 32, 2), file);
    const TolvaHandle two = handleOf({0, 0, 0, 255, 255, 0, 0, 0});
    rlCMYKtoRGB(two, 2, 1);
    rlRGB4toCMYK(two, 2, 0);
    Bytes odd = taken(two);
    odd.resize(6);
    EXPECT_EQ(odd, (Bytes{0, 0, 0, 0, 255, 255}));
}
