// scale_test.cpp: scaling, called directly: what a filter in linear light may do to a picture, and what it may not.

#include "imageio/scale.h"

#include <cstring>

#include <gtest/gtest.h>

using namespace imageio;

namespace {

using Draw = uint32_t (*)(uint32_t x, uint32_t y);  // red, green, blue and alpha, 8 bits each, from the highest

constexpr int32_t kKinds[] = {8, 24, 48};  // greys, which have no alpha here, and colours

struct Drawn : Picture {
    Drawn(uint32_t wide, uint32_t high, int32_t bits, Draw at) {
        EXPECT_TRUE(makePicture(*this, wide, high, bits) && (bits == 8 || makeAlpha(*this)));
        if (bits == 8) setGreyRamp(*this);
        for (uint32_t i = 0; i < wide * high; ++i) {
            const uint32_t x = i % wide;
            const uint32_t pixel = at(x, i / wide);
            uint8_t* const row = pixels + size_t{i / wide} * stride;
            for (uint32_t k = 0; k < (bits == 8 ? 1 : 3); ++k) {
                const auto sample = static_cast<uint8_t>(pixel >> (24 - 8 * k));
                std::memset(row + (x * static_cast<uint32_t>(bits) + k * (bits == 48 ? 16 : 8)) / 8, sample,
                            bits == 48 ? 2 : 1);
            }
            if (bits != 8) alphaRow(*this, i / wide)[x] = static_cast<uint8_t>(pixel);
        }
    }
    void scale(uint32_t wide, uint32_t high) {
        const char* text = nullptr;
        ASSERT_EQ(scalePicture(
                      *this, wide, high, [] { return false; }, text),
                  kDone);
        ASSERT_TRUE(width == wide && height == high && alpha == nullptr);
    }
    // The pixels follow one another, row by row.
    Colour colour(uint32_t i) const {
        const uint8_t* const row = pixels + size_t{i / width} * stride;
        const uint8_t* const at = row + i % width * 3;
        return bitsPerPixel == 8 ? palette[row[i % width]] : Colour{at[0], at[1], at[2]};
    }
    bool isHole(uint32_t i) const {
        return mask != nullptr && (maskRow(*this, i / width)[i % width / 8] & maskBit(i % width)) != 0;
    }
};

uint32_t noiseAt(uint32_t x, uint32_t y) { return (x * 0x9E3779B1 ^ y * 0x85EBCA77) * 0xC2B2AE3D; }

}  // namespace

TEST(Scale, OneColourStaysThatColour) {
    static uint32_t level;
    for (level = 0; level < 256; ++level) {
        for (const uint32_t width : {1U, 7U, 63U}) {
            Drawn picture(40, 33, kKinds[level % 3], [](uint32_t, uint32_t) { return level * 0x01010100 + 255; });
            picture.scale(width, 80 - width);
            for (uint32_t i = 0; i < width * (80 - width); ++i) ASSERT_EQ(picture.colour(i).red, level) << width;
        }
    }
}

TEST(Scale, MixesLightNotNumbers) {
    const Draw checker = [](uint32_t x, uint32_t y) { return (x + y) % 2 == 0 ? 0xFFFFFF80 : 0x000000FF; };
    for (const int32_t bits : kKinds) {
        for (const uint32_t ratio : {2U, 100U}) {
            Drawn picture(15 * ratio, 60, bits, checker);
            picture.scale(15, 30);
            EXPECT_EQ(picture.bitsPerPixel, bits == 8 ? 8 : 24);
            for (uint32_t i = 0; i < 15 * 30; ++i) {
                ASSERT_NEAR(picture.colour(i).red, 188, 1) << bits << ' ' << i;
                ASSERT_FALSE(picture.isHole(i));
            }
        }
    }
}

TEST(Scale, FewColoursAreRepeatedByWholeFactors) {
    const Draw tiles = [](uint32_t x, uint32_t y) { return noiseAt(x % 8, y % 8); };
    for (const int32_t bits : kKinds) {
        Drawn picture(11, 9, bits, tiles);
        if (bits == 8) picture.transparentIndex = 7;
        picture.scale(33, 18);
        for (uint32_t i = 0; i < 33 * 18; ++i) {
            const uint32_t wanted = tiles(i % 33 / 3, i / 33 / 2);
            ASSERT_EQ(picture.colour(i).red, wanted >> 24);
            ASSERT_EQ(picture.isHole(i), bits != 8 && (wanted & 255) < 128);
        }
        EXPECT_EQ(picture.transparentIndex, bits == 8 ? 7 : -1);
    }
}
