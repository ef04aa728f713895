// scale_test.cpp: scaling, called directly: what a filter in linear light may do to a picture, and what it may not.

#include "imageio/scale.h"

#include <cstring>

#include <gtest/gtest.h>

using namespace imageio;

namespace {

using Draw = uint32_t (*)(uint32_t x, uint32_t y);  // red, green, blue and alpha, 8 bits each, from the highest

bool neverStopped() { return false; }

void draw(Picture& picture, uint32_t width, uint32_t height, int32_t bits, Draw at, bool alpha = false) {
    ASSERT_TRUE(makePicture(picture, width, height, bits) && (!alpha || makeAlpha(picture)));
    for (uint32_t i = 0; i < width * height; ++i) {
        const uint32_t x = i % width;
        const uint32_t y = i / width;
        for (uint32_t k = 0; k < 3; ++k) {
            const auto sample = static_cast<uint16_t>((at(x, y) >> (24 - 8 * k) & 255) * 257);
            uint8_t* const row = picture.pixels + size_t{y} * picture.stride;
            if (bits == 24) row[3 * x + k] = static_cast<uint8_t>(sample);
            if (bits == 48) std::memcpy(row + 6 * x + 2 * k, &sample, 2);
            if (bits == 8 && k == 0) row[x] = static_cast<uint8_t>(sample);
        }
        if (alpha) alphaRow(picture, y)[x] = static_cast<uint8_t>(at(x, y));
    }
    if (bits == 8) setGreyRamp(picture);
}

void scale(Picture& picture, uint32_t width, uint32_t height) {
    const char* text = nullptr;
    ASSERT_EQ(scalePicture(picture, width, height, neverStopped, text), kDone);
    ASSERT_EQ(picture.width, width);
    ASSERT_EQ(picture.height, height);
    ASSERT_EQ(picture.alpha, nullptr);
}

Colour colourAt(const Picture& picture, uint32_t x, uint32_t y) {
    const uint8_t* const row = picture.pixels + size_t{y} * picture.stride;
    if (picture.bitsPerPixel == 8) return picture.palette[row[x]];
    return {row[3 * x], row[3 * x + 1], row[3 * x + 2]};
}

bool isHole(const Picture& picture, uint32_t x, uint32_t y) {
    return picture.mask != nullptr && (maskRow(picture, y)[x / 8] & maskBit(x)) != 0;
}

uint32_t checkerAt(uint32_t x, uint32_t y) { return (x + y) % 2 == 0 ? 0xFFFFFF80 : 0x000000FF; }
uint32_t noiseAt(uint32_t x, uint32_t y) { return (x * 0x9E3779B1 ^ y * 0x85EBCA77) * 0xC2B2AE3D; }
uint32_t mirroredAt(uint32_t x, uint32_t y) { return noiseAt(x < 50 ? x : 99 - x, y < 35 ? y : 69 - y); }

constexpr int32_t kKinds[] = {8, 24, 48};

}  // namespace

TEST(Scale, OneColourStaysThatColour) {
    static uint32_t level;
    for (level = 0; level < 256; ++level) {
        for (const uint32_t width : {1U, 7U, 63U}) {
            Picture picture;
            draw(picture, 40, 33, kKinds[level % 3], [](uint32_t, uint32_t) { return level * 0x01010100; });
            scale(picture, width, 80 - width);
            for (uint32_t i = 0; i < width * (80 - width); ++i) {
                ASSERT_EQ(colourAt(picture, i % width, i / width).green, level) << width;
            }
        }
    }
}

TEST(Scale, MixesLightNotNumbers) {
    for (const int32_t bits : kKinds) {
        for (const uint32_t side : {30U, 3000U}) {
            Picture picture;
            draw(picture, side, 60, bits, checkerAt, true);
            scale(picture, side / (side > 60 ? 100 : 2), 30);
            EXPECT_EQ(picture.bitsPerPixel, bits == 8 ? 8 : 24);
            for (uint32_t i = 0; i < picture.width * 30; ++i) {
                ASSERT_NEAR(colourAt(picture, i % picture.width, i / picture.width).red, 188, 1) << bits << ' ' << i;
                ASSERT_FALSE(isHole(picture, i % picture.width, i / picture.width));
            }
        }
    }
}

TEST(Scale, SymmetryStays) {
    for (const auto& [width, height] : {std::pair{50U, 35U}, {33U, 41U}, {1U, 2U}, {250U, 99U}}) {
        Picture picture;
        draw(picture, 100, 70, 24, mirroredAt);
        scale(picture, width, height);
        for (uint32_t i = 0; i < width * height; ++i) {
            const Colour a = colourAt(picture, i % width, i / width);
            ASSERT_NEAR(a.red, colourAt(picture, width - 1 - i % width, i / width).red, 1);
            ASSERT_NEAR(a.blue, colourAt(picture, i % width, height - 1 - i / width).blue, 1);
        }
    }
}

TEST(Scale, FewColoursAreRepeatedByWholeFactors) {
    for (const int32_t bits : kKinds) {
        Picture picture;
        const Draw tiles = [](uint32_t x, uint32_t y) { return noiseAt(x % 8, y % 8); };
        draw(picture, 11, 9, bits, tiles, bits != 8);
        if (bits == 8) picture.transparentIndex = static_cast<int>(tiles(3, 4) >> 24);
        scale(picture, 33, 18);
        for (uint32_t i = 0; i < 33 * 18; ++i) {
            const uint32_t wanted = tiles(i % 33 / 3, i / 33 / 2);
            ASSERT_EQ(colourAt(picture, i % 33, i / 33).red, wanted >> 24);
            ASSERT_EQ(isHole(picture, i % 33, i / 33), bits != 8 && (wanted & 255) < 128);
        }
        EXPECT_EQ(picture.transparentIndex, bits == 8 ? static_cast<int>(tiles(3, 4) >> 24) : -1);
    }
}

// A transparent index mixes with what is around it by its part of the area.
TEST(Scale, SameBytesOnEveryMachine) {
    uint32_t sum = 2166136261;
    for (const int32_t bits : kKinds) {
        for (const auto& [width, height] : {std::pair{57U, 20U}, {1U, 1U}, {400U, 3U}, {131U, 200U}}) {
            Picture picture;
            draw(picture, 131, 97, bits, noiseAt, bits != 8);
            if (bits == 8) picture.palette[picture.transparentIndex = 7] = {250, 3, 90};
            scale(picture, width, height);
            for (uint32_t i = 0; i < width * height; ++i) {
                const Colour c = colourAt(picture, i % width, i / width);
                const uint8_t bytes[] = {c.red, c.green, c.blue, isHole(picture, i % width, i / width)};
                for (const uint8_t byte : bytes) sum = (sum ^ byte) * 16777619;
            }
        }
    }
    EXPECT_EQ(sum, 860568068U);
}
