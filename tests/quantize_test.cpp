// From true colour to indices: each stage against a plain model of it.
#include <cmath>
#include <memory>

#include <tolva/quantize.h>
#include "quantize/diffusion.h"
#include "quantize/histogram.h"
#include "quantize/texture.h"
#include "support.h"

namespace {

constexpr int32_t rgb = 3, rgbx = 4, rgba = 5, plain = 0, diffused = 1, ok = 0, badArgument = 2, wrongOrder = 3;

TolvaPixelRows rowsOf(const Bytes& pixels, int width, int step = 3, const uint8_t* mask = nullptr) {
    const size_t row = size_t(width) * step;
    return {const_cast<uint8_t*>(pixels.data()), intptr_t(row), mask, (width + 7) / 8, uint32_t(width),
            uint32_t(pixels.size() / row)};
}

using Handle = std::unique_ptr<TolvaQuantizer, decltype(&tolvaQuantizeEnd)>;

Handle begin(uint32_t colours, int32_t format = rgb, int32_t diffusion = plain) {
    const TolvaQuantizeOrder order = {colours, format, diffusion, {200, 100, 0}};
    TolvaQuantizer* q = nullptr;
    EXPECT_EQ(tolvaQuantizeBegin(&order, &q), ok);
    return {q, tolvaQuantizeEnd};
}

TolvaPalette paletteOf(const Handle& q, const TolvaPixelRows& rows) {
    TolvaPalette palette;
    EXPECT_EQ(tolvaQuantizeCount(q.get(), &rows), ok);
    EXPECT_EQ(tolvaQuantizePalette(q.get(), &palette), ok);
    return palette;
}

Bytes mapped(const Handle& q, const TolvaPixelRows& rows) {
    Bytes indices(size_t{rows.width} * rows.rows);
    EXPECT_EQ(tolvaQuantizeMap(q.get(), &rows, indices.data(), rows.width), ok);
    return indices;
}

Bytes striped(int colours, int pixels) {
    Bytes result;
    for (int i = 0; i < pixels; ++i) {
        const int k = i % colours;
        result.insert(result.end(), {uint8_t(k * 7), uint8_t(255 - k), uint8_t(k / 3)});
    }
    return result;
}

Bytes gradient(int width, int height) {
    Bytes result;
    for (int i = 0; i < width * height; ++i) {
        const int x = i % width * 255 / width, y = i / width * 255 / height;
        result.insert(result.end(), {uint8_t(x), uint8_t(y), uint8_t((x * y >> 8) + i % 3)});
    }
    return result;
}

int nearest(const uint8_t* c, const TolvaPalette& p) {
    return plainlyNearest(p.colours, static_cast<int>(p.count) - (p.key >= 0), c);
}

struct Spread {
    int most, share, of;  // errors up to that, and how much of them
};

// A row after the other, with the errors of all of them; weights in 16ths.
Bytes plainlyDiffused(const Bytes& pixels, int width, const TolvaPalette& p, Spread spread, const uint8_t* mask) {
    const int rows = int(pixels.size()) / width / 3;
    std::vector<int> errors(3 * (width + 2) * (rows + 1));
    Bytes result;
    for (int i = 0; i < width * rows; ++i) {
        const int x = i % width, y = i / width;
        int* const error = &errors[3 * (y * (width + 2) + x + 1)];
        if (mask != nullptr && (mask[y * ((width + 7) / 8) + x / 8] << x % 8 & 128) != 0) {
            result.push_back(p.key);
            continue;
        }
        uint8_t wanted[3];
        const auto rounded = [&](int e) { return int(std::floor((e / 16.0) / spread.of + 0.5)); };
        for (int k = 0; k < 3; ++k) wanted[k] = std::clamp(pixels[3 * i + k] + rounded(error[k]), 0, 255);
        result.push_back(nearest(wanted, p));
        for (int k = 0; k < 3; ++k) {
            const int e =
                std::clamp(wanted[k] - p.colours[3 * result.back() + k], -spread.most, spread.most) * spread.share;
            error[3 + k] += 7 * e;
            error[3 * (width + 1) + k] += 3 * e;
            error[3 * (width + 2) + k] += 5 * e;
            error[3 * (width + 3) + k] += e;
        }
    }
    return result;
}

double squaredError(const Bytes& pixels, const TolvaPalette& p) {
    double sum = 0;
    for (size_t i = 0; i < pixels.size(); ++i)
        sum += std::pow(pixels[i] - p.colours[3 * nearest(&pixels[i - i % 3], p) + i % 3], 2);
    return sum;
}

}  // namespace

TEST(Quantize, PicturesOfFewColoursStayAsTheyAreAndTheKeyCounts) {
    Bytes mask(625);
    mask[624] = 255;  // the last eight pixels
    for (const auto& [colours, most, masked] :
         {std::tuple{1, 2, false}, {2, 2, false}, {16, 16, false}, {256, 256, false}, {255, 256, true}, {1, 2, true}}) {
        const Bytes pixels = striped(colours, 5000);
        const TolvaPixelRows rows = rowsOf(pixels, 40, 3, masked ? mask.data() : nullptr);
        const Handle q = begin(most, rgb, diffused);
        const TolvaPalette p = paletteOf(q, rows);
        EXPECT_EQ(std::tuple(p.exact, p.count, p.distinct), std::tuple(1, colours + masked, colours + masked));
        EXPECT_EQ(p.key, masked ? colours : -1);
        const Bytes indices = mapped(q, rows);
        for (int i = 0; i < 5000; ++i) ASSERT_EQ(indices[i], masked && i >= 4992 ? colours : i % colours);
        EXPECT_TRUE(std::equal(p.colours, p.colours + 3 * colours, pixels.begin()));
        EXPECT_EQ(std::count(p.colours + 3 * p.count, std::end(p.colours), 0), 768 - 3 * int(p.count));
    }
    for (const auto& [colours, most, distinct] :
         {std::tuple{3, 2, 3}, {256, 255, 256}, {257, 256, 257}, {900, 256, 257}}) {
        const TolvaPalette p = paletteOf(begin(most), rowsOf(striped(colours, 5000), 50));
        EXPECT_EQ(std::tuple(p.exact, p.distinct), std::tuple(0, distinct));
        EXPECT_TRUE(p.count <= uint32_t(most) && p.count + 2 >= uint32_t(most)) << p.count;
    }
}

TEST(Quantize, EveryPixelGetsItsEntryWhereverItsIndexStands) {
    for (const auto& [width, height, colours, diffusion] :
         {std::tuple{61, 40, 256, plain}, {61, 40, 7, plain}, {65535, 1, 256, plain}, {61, 40, 16, diffused}}) {
        const Bytes picture = noise(3 * width, height, 256, 5).pixels;
        Bytes pixels, got;  // four bytes a pixel, the indices over them
        for (size_t i = 0; i < picture.size(); i += 3)
            pixels.insert(pixels.end(), {picture[i], picture[i + 1], picture[i + 2], uint8_t(i)});
        const TolvaPixelRows rows = rowsOf(pixels, width, 4);
        const Handle q = begin(colours, rgbx, diffusion);
        const TolvaPalette p = paletteOf(q, rows);
        EXPECT_EQ(p.count, uint32_t(colours));
        EXPECT_EQ(tolvaQuantizeMap(q.get(), &rows, rows.pixels, rows.stride), ok);
        for (int y = 0; y < height; ++y)
            got.insert(got.end(), &pixels[rows.stride * y], &pixels[rows.stride * y + width]);
        EXPECT_EQ(got, plainlyDiffused(picture, width, p, {diffusion == plain ? 0 : 80, 15, 16}, nullptr)) << colours;
    }
    const Bytes picture = noise(3 * 61, 40, 256, 5).pixels;
    Bytes few = striped(200, 61 * 40);  // listed, until the second pass brings others
    const Handle exact = begin(256);
    const TolvaPalette all = paletteOf(exact, rowsOf(few, 61));
    std::copy(picture.begin() + 3 * 30, picture.begin() + 3 * 1000, few.begin() + 3 * 30);
    EXPECT_EQ(mapped(exact, rowsOf(few, 61)), plainlyDiffused(few, 61, all, {0, 15, 16}, nullptr));
}

TEST(Quantize, FourRowsInFlightAreOneAfterTheOther) {
    const Bytes mask = noise(8, 100, 256, 9).pixels;
    for (const int width : {1, 2, 6, 7, 8, 9, 10, 57}) {
        for (const int height : {1, 4, 7, 9}) {
            const Bytes pixels = gradient(width, height), few = striped(5, width * height);
            for (const uint8_t* const m : {static_cast<const uint8_t*>(nullptr), mask.data()}) {
                const TolvaPixelRows rows = rowsOf(pixels, width, 3, m);
                const Handle exact = begin(6, rgb, diffused);  // errs nowhere, but the second pass has other rows
                const TolvaPalette p = paletteOf(exact, rowsOf(few, width, 3, m));
                EXPECT_EQ(mapped(exact, rows), plainlyDiffused(pixels, width, p, {16, 42, 64}, m));
            }
        }
    }
    const Bytes pixels = gradient(50, 30);
    const Handle fitted = begin(2, rgb, diffused);  // of few colours, far from most pixels
    const TolvaPalette p = paletteOf(fitted, rowsOf(pixels, 50));
    EXPECT_EQ(mapped(fitted, rowsOf(pixels, 50)), plainlyDiffused(pixels, 50, p, {112, 15, 16}, nullptr));
}

TEST(Quantize, DiffusionHandsOnWhatTheTextureDoesNotHide) {
    const Bytes row = {9, 9, 9, 1, 11, 7, 11, 2, 9, 9, 9, 3, 9, 209, 9, 4};  // steps of 6, 6 and 200: one a row
    tolva::Texture texture = {};
    EXPECT_EQ(tolva::textureBeside(texture, 256), 0u);
    for (const uint32_t y : {0, 4, 8}) tolva::countTexture(texture, row.data(), 4, 4, y);
    EXPECT_EQ(tolva::textureBeside(texture, 256), 128u);  // 6, 6 and 12 beside 4
    EXPECT_EQ(tolva::textureBeside(texture, 0), 0u);
    for (const auto& [squared, beside, share] : {std::tuple{0, 0, 42},
                                                 {59, 0, 42},
                                                 {60, 0, 43},
                                                 {999, 9, 60},
                                                 {2000, 48, 53},
                                                 {2000, 96, 50},
                                                 {2000, 999, 40},
                                                 {9999, 99, 15}}) {
        tolva::Diffusion d = {};
        tolva::beginDiffusion(d, row.data(), 2, {uint32_t(squared), uint32_t(beside)});
        EXPECT_EQ(d.share, share) << squared << ' ' << beside;
    }
}

TEST(Quantize, BelowHalfOpacityIsTheKeyAndTheOthersLieOverTheBackground) {
    const Bytes pixels = {10, 20, 30, 127, 10, 20, 30, 128, 0, 0, 0, 0, 9, 9, 9, 255}, transparent(40, 3);
    const Handle q = begin(4, rgba, diffused), none = begin(4, rgba), other = begin(4, rgba);
    const TolvaPalette p = paletteOf(q, rowsOf(pixels, 4, 4));
    EXPECT_EQ(std::tuple(p.count, p.key, p.distinct), std::tuple(3u, 2, 3u));
    EXPECT_EQ(Bytes(p.colours, p.colours + 6), (Bytes{105, 60, 15, 9, 9, 9}));
    EXPECT_EQ(mapped(q, rowsOf(pixels, 4, 4)), (Bytes{2, 0, 2, 1}));
    EXPECT_EQ(paletteOf(none, rowsOf(transparent, 5, 4)).count, 1u);
    EXPECT_EQ(mapped(none, rowsOf(pixels, 4, 4)), Bytes(4));
    EXPECT_EQ(paletteOf(other, rowsOf({7, 7, 7, 255, 200, 90, 0, 255}, 2, 4)).key, -1);
    EXPECT_EQ(mapped(other, rowsOf(transparent, 5, 4)), Bytes(10, 1));
}

TEST(Quantize, FittedPalettesErrLessThanAMedianCutAndKeepAPlainBackground) {
    Bytes pixels = gradient(120, 90);
    const Bytes speckled = noise(3 * 120, 20, 12, 3).pixels;
    for (const uint8_t b : speckled) pixels.push_back(b == 0 ? 240 : 255);
    for (const int entries : {16, 64, 255}) {
        const TolvaHandle bits = handleOf(pixels);
        uint16_t most = entries;
        const Bytes table = taken(rlReduceColorTable(bits, 120, 110, &most));
        TolvaPalette cut = {{}, uint32_t(table.size() / 3), -1, 0, 0};
        std::copy(table.begin(), table.end(), cut.colours);
        GlobalFree(bits);
        TolvaPixelRows rows = rowsOf(pixels, 120);
        const TolvaPalette p = paletteOf(begin(entries), rows);
        rows.pixels += 109 * rows.stride;  // in the other order, which begins with a list of few colours
        rows.stride = -rows.stride;
        const TolvaPalette upward = paletteOf(begin(entries), rows);
        EXPECT_TRUE(std::equal(p.colours, std::end(p.colours), upward.colours)) << entries;
        EXPECT_LT(squaredError(pixels, p), 0.88 * squaredError(pixels, cut));
        const uint8_t white[] = {255, 255, 255};
        EXPECT_EQ(p.colours[3 * nearest(white, p)] & p.colours[3 * nearest(white, p) + 2], 255) << entries;
    }
    Bytes white(3000, 255), rare;  // of a cube of 8 levels: one point, so there are fewer of them than entries
    for (int i = 0; i < 300; ++i) rare.insert(rare.end(), {uint8_t(i % 8), uint8_t(i / 8 % 8), uint8_t(i / 64)});
    TolvaPixelRows background = rowsOf(white, 1000);
    background.stride = 0;
    background.rows = 2500;
    const Handle q = begin(256);
    EXPECT_EQ(tolvaQuantizeCount(q.get(), &background), ok);
    EXPECT_EQ(paletteOf(q, rowsOf(rare, 300)).count, 2u);
}

TEST(Quantize, SumsHoldMoreThanAGigapixelInBinsOfEitherKind) {
    tolva::Histogram h;
    ASSERT_TRUE(tolva::makeHistogram(h));
    for (uint32_t i = 0; i < 8000; ++i)
        ASSERT_TRUE(tolva::countColour(h, (i >> 12) << 18 | (i >> 6 & 63) << 10 | (i & 63) << 2 | 0x010203, 3));
    for (const uint32_t colour : {0x010203u, 0xFFFEFDu}) ASSERT_TRUE(tolva::countColour(h, colour, 5000000000));
    tolva::ColourPoint* points = nullptr;
    const uint32_t count = tolva::pointsOfBins(h, &points);
    EXPECT_EQ(points[0].weight, 5000000003);
    EXPECT_EQ(points[count - 1].weight, 5000000000);
    EXPECT_NEAR(points[count - 1].mean[0], 255 * tolva::kLevel[0], 1);
    std::free(points);
    Bytes all;  // with these the picture has too many bins for anything but sums
    for (int i = 0; i < 1 << 18; ++i) all.insert(all.end(), {uint8_t(i >> 12 << 2), uint8_t(i >> 4), uint8_t(i << 2)});
    for (int i = 0; i < 40000; ++i) all.insert(all.end(), {uint8_t(200 + i % 2), 100, 50});
    ASSERT_TRUE(tolva::countColours(h, all.data(), 3, (1 << 18) + 40000));
    for (int i = 0; i < 400; ++i) ASSERT_TRUE(tolva::countColour(h, 0xFFFEFD, 64));
    ASSERT_EQ(tolva::pointsOfBins(h, &points), 32768u + 2 * 7);
    const auto full = [](const tolva::ColourPoint& p) { return p.weight >= 40000 && p.weight < 50000; };
    EXPECT_NEAR(std::find_if(points, points + 32782, full)->mean[0], 200.5 * tolva::kLevel[0], 1);
    EXPECT_EQ(std::pair(points[0].weight, points[32781].weight), std::pair(uint64_t{5000000004}, uint64_t{5000025601}));
    EXPECT_NEAR(points[0].mean[2], 3 * tolva::kLevel[2], 1);
    std::free(points);
    tolva::freeHistogram(h);
}

TEST(Quantize, NonsenseIsRefused) {
    TolvaQuantizer* q = nullptr;
    for (const auto& [colours, format, diffusion] :
         {std::tuple{1, rgb, 0}, {257, rgb, 0}, {9, 2, 0}, {9, 6, 0}, {9, rgb, 3}, {9, rgb, -1}}) {
        const TolvaQuantizeOrder order = {uint32_t(colours), format, diffusion, {}};
        EXPECT_EQ(tolvaQuantizeBegin(&order, &q), badArgument);
    }
    EXPECT_EQ(tolvaQuantizeBegin(nullptr, &q), badArgument);
    tolvaQuantizeEnd(nullptr);
    const Bytes pixels = gradient(20, 20);
    TolvaPixelRows rows = rowsOf(pixels, 20), narrow = rows, missing = rows, none = {nullptr, 0, nullptr, 0, 5, 0};
    narrow.width = 0;
    missing.pixels = nullptr;
    Bytes to(400);
    TolvaPalette p;
    const Handle handle = begin(3), empty = begin(3);
    q = handle.get();
    EXPECT_EQ(tolvaQuantizeMap(q, &rows, to.data(), 20), wrongOrder);
    for (const TolvaPixelRows* bad : {&narrow, &missing, static_cast<TolvaPixelRows*>(nullptr)})
        EXPECT_EQ(tolvaQuantizeCount(q, bad), badArgument);
    for (const TolvaPixelRows* good : {&rows, &none}) EXPECT_EQ(tolvaQuantizeCount(q, good), ok);
    EXPECT_EQ(tolvaQuantizePalette(q, nullptr), badArgument);
    EXPECT_EQ(tolvaQuantizePalette(q, &p), ok);
    EXPECT_EQ(p.count, 3u);
    EXPECT_EQ(tolvaQuantizeCount(q, &rows), wrongOrder);
    EXPECT_EQ(tolvaQuantizeMap(q, &rows, nullptr, 20), badArgument);
    EXPECT_EQ(paletteOf(empty, none).count, 0u);
    EXPECT_EQ(mapped(empty, rows), Bytes(400));
}
