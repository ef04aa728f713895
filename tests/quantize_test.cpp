// From true colour to indices: each stage against a plain model of it.
#include <algorithm>
#include <set>

#include <tolva/quantize.h>
#include "support.h"

namespace {

struct Quantized {
    TolvaPalette palette = {};
    Bytes indices;
};

TolvaPixelRows rowsOf(Bytes& pixels, int width, int height, int step = 3) {
    return {pixels.data(), width * step, nullptr, 0, static_cast<uint32_t>(width), static_cast<uint32_t>(height)};
}

Quantized quantized(const TolvaQuantizeOrder& order, const TolvaPixelRows& rows) {
    Quantized result;
    TolvaQuantizer* q = nullptr;
    EXPECT_EQ(tolvaQuantizeBegin(&order, &q), 0);
    EXPECT_EQ(tolvaQuantizeCount(q, &rows), 0);
    EXPECT_EQ(tolvaQuantizePalette(q, &result.palette), 0);
    result.indices.resize(size_t{rows.width} * rows.rows);
    EXPECT_EQ(tolvaQuantizeMap(q, &rows, result.indices.data(), rows.width), 0);
    tolvaQuantizeEnd(q);
    return result;
}

}  // namespace

TEST(Quantize, PicturesOfFewColoursStayAsTheyAre) {
    for (const auto& [colours, most] : {std::pair{1, 2}, {2, 2}, {16, 16}, {255, 255}, {256, 256}}) {
        Bytes pixels;
        for (int i = 0; i < 5000; ++i) {
            const int k = i % colours;
            pixels.insert(pixels.end(), {uint8_t(k * 7), uint8_t(255 - k), uint8_t(k / 3)});
        }
        const Quantized q = quantized({uint32_t(most), 3, 1, {}}, rowsOf(pixels, 50, 100));
        EXPECT_EQ(q.palette.exact, 1);
        EXPECT_EQ(q.palette.count, uint32_t(colours));
        for (int i = 0; i < 5000; ++i) ASSERT_EQ(q.indices[i], i % colours);
    }
}
