// pixels_test.cpp: PNM pictures come out pixel for pixel, in the size that was asked for, as an independent decoder
// sees them.

#include <fcntl.h>
#include <unistd.h>

#include "pictures.h"

using namespace std::string_literals;

class Pixels : public Pictures {
  protected:
    static void expectSame(const SeenGif& seen, const std::string& map, int width, int height) {
        EXPECT_EQ(std::pair(seen.width, seen.height), std::pair(width, height));
        std::string greys;
        for (const uint8_t index : seen.pixels) greys += static_cast<char>(seen.palette[index].red);
        EXPECT_TRUE(map.ends_with(greys)) << width << " x " << height;
    }
};

TEST_F(Pixels, OfAnyExtentStayAsTheyAre) {
    const std::pair<int, int> extents[] = {{2, 1},    {1, 2},     {1, 5},     {3, 3},     {4, 5},    {100, 1},
                                           {99, 101}, {300, 200}, {481, 480}, {65535, 2}, {2, 65535}};
    for (const auto& [width, height] : extents) {
        const std::string map = greyMap(width, height);
        write("a.pgm", map);
        expectSame(convert("a.pgm"), map, width, height);
        const SeenGif interlaced = convert("- --interlace", {.input = map});
        EXPECT_TRUE(interlaced.interlaced);
        expectSame(interlaced, map, width, height);
    }
}

TEST_F(Pixels, OfEveryPnmKindAreRead) {
    const std::pair<std::string, std::string> same[] = {
        {"P1\n# a comment\n3 2 # another\n0 1 1\n1#in between\n01"s, "P5 3 2 255\n\xFF\0\0\0\xFF\0"s},
        {"P2\n2\t3\r\n4\n0 1\n2 3 4 0"s, "P5 2 3 255\n\0\x40\x80\xBF\xFF\0"s},
        {"P4 9 2\n\xAA\x80\x55\0"s, "P5 9 2 255\n\0\xFF\0\xFF\0\xFF\0\xFF\0\xFF\0\xFF\0\xFF\0\xFF\0\xFF"s},
        {"P5\n2 2#c\n3\n\0\x01\x02\x03"s, "P5 2 2 255\n\0\x55\xAA\xFF"s},
        {"P5 2 2 65535 \0\0\x7F\x80\xFF\xFF\0\x81"s, "P5 2 2 255\n\0\x7F\xFF\x01"s},
        {"P2 3 1 510 0 2 300"s, "P5 3 1 255\n\0\x01\x96"s},
        {"P6 1 2 10\n\x0A\x0A\x0A\0\0\0"s, "P5 1 2 255\n\xFF\0"s},
        {"P6 1 2 512\n\x02\0\x02\0\x02\0\0\0\0\0\0\0"s, "P5 1 2 255\n\xFF\0"s},
        {"P3 2 1 3\n3 3 3 # white\n0 0 0"s, "P5 2 1 255\n\xFF\0"s},
    };
    for (const auto& [file, map] : same) {
        write("a.pnm", file);
        expectSame(convert("a.pnm"), map, map[3] - '0', map[5] - '0');
    }
}

TEST_F(Pixels, BehindOtherBytesOnStandardInputAreRead) {
    const std::string map = greyMap(20, 10);
    write("two.pgm", "0123456789" + map);
    const int file = open(path("two.pgm").c_str(), O_RDONLY);
    lseek(file, 10, SEEK_SET);
    expectSame(convert("-", {.in = {file}}), map, 20, 10);
    close(file);
}

TEST_F(Pixels, FillTheBoxThatIsAskedFor) {
    write("a.pgm", greyMap(300, 200));
    const std::pair<const char*, std::pair<int, int>> sizes[] = {
        {"--fit 100x100", {100, 67}},  {"--fit 100x50", {75, 50}},     {"--fit 3x1", {2, 1}},
        {"--fit 999x900", {999, 666}}, {"--fit 1200x300", {450, 300}}, {"--size 3x1 --resolution 200", {300, 200}},
        {"--size 1x1", {96, 64}},      {"--fit 600x900", {600, 400}},  {"--size 0.5x22 --resolution 32", {16, 11}},
    };
    for (const auto& [words, size] : sizes) {
        const bool fits = words[2] == 'f';
        const SeenGif seen = convert(std::string("a.pgm ") + words + (fits ? " --enlarge" : ""));
        EXPECT_EQ(std::pair(seen.width, seen.height), size) << words;
        const SeenGif shrunk = convert(std::string("a.pgm ") + words);
        const bool stays = fits && size.first > 300;
        EXPECT_EQ(std::pair(shrunk.width, shrunk.height), stays ? std::pair(300, 200) : size) << words;
        const SeenGif raw = convert(std::string("a.pgm --raw ") + words);
        EXPECT_EQ(std::pair(raw.width, raw.height), size) << words;
    }
}

TEST_F(Pixels, ThatCannotBeDrawnAreRefused) {
    write("one.pgm", greyMap(1, 1));
    write("wide.pgm", greyMap(32769, 2));
    write("thin.pgm", greyMap(2, 2));
    for (const char* const words : {"one.pgm", "thin.pgm --fit 1x2", "thin.pgm --fit 65535x65535 --enlarge",
                                    "wide.pgm --raw --fit 65535x65535", ".", "missing"}) {
        EXPECT_EQ(run(std::string("-o a.gif ") + words).status, 3) << words;
    }
    EXPECT_EQ(convert("one.pgm --fit 3x3 --enlarge").pixels.size(), 9u);
    EXPECT_EQ(convert("wide.pgm --fit 16384x9").width, 16384);
}
