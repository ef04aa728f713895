// jpeg_test.cpp: JPEG pictures of every colour model and every orientation, whole and damaged.

#include <cstdio>

#include <jpeglib.h>

#include "pictures.h"

using imageio::Colour;
using Samples = std::vector<uint8_t>;

// Six fields of one colour each, 3 x 2, told apart again in what comes out.
class Jpeg : public Pictures {
  protected:
    static constexpr int kSide = 16;
    static constexpr Colour kFields[] = {{255, 0, 0}, {0, 255, 0},     {0, 0, 255},
                                         {0, 0, 0},   {255, 255, 255}, {255, 255, 0}};

    static PictureOrder fields(int channels) {
        PictureOrder made{.width = 3 * kSide, .height = 2 * kSide, .channels = channels};
        for (int i = 0; i < made.width * made.height; ++i) {
            const Colour c = kFields[i / made.width / kSide * 3 + i % made.width / kSide];
            const uint8_t samples[] = {c.red, c.green, c.blue, static_cast<uint8_t>(c == Colour{} ? 0 : 255)};
            made.samples.insert(made.samples.end(), samples, samples + channels);
        }
        return made;
    }
    static std::string exifSaying(char orientation, bool bigEndian) {
        std::string bytes = bigEndian ? std::string("Exif\0\0MM\0*\0\0\0\x0A\0\0\0\1\1\x12\0\3\0\0\0\1\0?\0\0", 30)
                                      : std::string("Exif\0\0II*\0\x0A\0\0\0\0\0\1\0\x12\1\3\0\1\0\0\0?\0\0\0", 30);
        std::replace(bytes.begin(), bytes.end(), '?', orientation);
        return bytes;
    }
    // The fields' colours, row by row: 4 for red, 2 for green and 1 for blue, added up.
    std::string layoutOf(const PictureOrder& order) {
        makeJpeg(path("a.jpg"), order);
        const SeenGif seen = convert("a.jpg");
        std::string layout;
        for (int y = kSide / 2; y < seen.height; y += kSide) {
            for (int x = kSide / 2; x < seen.width; x += kSide) {
                const Colour c = seen.colourAt(x, y);
                layout += std::to_string(c.red / 128 * 4 + c.green / 128 * 2 + c.blue / 128);
            }
            layout += ' ';
        }
        return layout;
    }
};

TEST_F(Jpeg, OfEveryColourModelIsRead) {
    PictureOrder order = fields(3);
    EXPECT_EQ(layoutOf(order), "421 076 ");
    order.interlaced = true;
    order.stored = JCS_RGB;
    EXPECT_EQ(layoutOf(order), "421 076 ");
    EXPECT_EQ(layoutOf(fields(1)), "700 077 ");
    // As Adobe writes them: what is stored is the lack of ink.
    PictureOrder print = fields(4);
    for (const int stored : {JCS_CMYK, JCS_YCCK}) {
        print.stored = stored;
        EXPECT_EQ(layoutOf(print), "421 076 ") << stored;
    }
    print.exif = exifSaying(6, false);
    EXPECT_EQ(layoutOf(print), "04 72 61 ");
}

TEST_F(Jpeg, LiesAsItsOrientationSays) {
    const char* const layouts[] = {"421 076 ",  "421 076 ",  "124 670 ",  "670 124 ",  "076 421 ",
                                   "40 27 16 ", "04 72 61 ", "61 72 04 ", "16 27 40 ", "421 076 "};
    PictureOrder order = fields(3);
    for (char orientation = 0; orientation < 10; ++orientation) {
        for (const bool bigEndian : {false, true}) {
            order.exif = exifSaying(orientation, bigEndian);
            EXPECT_EQ(layoutOf(order), layouts[static_cast<int>(orientation)]) << int{orientation};
        }
    }
}

TEST_F(Jpeg, DamageEndsWith3AndOneLineWarningsDoNot) {
    PictureOrder order = fields(3);
    for (const bool progressive : {false, true}) {
        order.interlaced = progressive;
        makeJpeg(path("good.jpg"), order);
        const std::string good = read("good.jpg");
        expectCutsRefused(good);
        write("early.jpg", std::string(good).replace(good.size() - 60, 2, "\xFF\xD9"));
        EXPECT_EQ(run("early.jpg -o a.gif").status, 3);
        // Bytes between segments hurt nothing.
        write("odd.jpg", std::string(good).insert(20, "odd"));
        EXPECT_NE(run("-f odd.jpg -o odd.gif").said.find("warning: Corrupt JPEG data: 3"), std::string::npos);
    }
}

TEST_F(Jpeg, LengthsAndScansAreBounded) {
    PictureOrder order = fields(3);
    order.apart = true;
    makeJpeg(path("a.jpg"), order);
    const std::string three = read("a.jpg");
    std::string huge = three;
    huge.replace(huge.find("\xFF\xC0") + 5, 4, "\xFF\xDC\xFF\xDC");
    write("huge.jpg", huge);
    // Said before memory is asked for; but a picture may be packed as well as can be.
    EXPECT_NE(run("huge.jpg -o a.gif --max-pixels 4290250000").said.find("ends before"), std::string::npos);
    EXPECT_NE(run("huge.jpg -o a.gif --max-pixels 4290249999").said.find("--max-pixels"), std::string::npos);
    makeJpeg(path("a.jpg"), {.width = 999, .height = 999, .channels = 1, .samples = Samples(999 * 999)});
    EXPECT_EQ(run("a.jpg -o a.gif").status, 0);

    // The end that is missing is met where the scans so far are no more than may be.
    const size_t last = three.rfind("\xFF\xDA");
    for (const auto& [scans, most] : {std::pair(20, "1536"), {21, "1536"}, {1000, "200000000"}, {1001, "200000000"}}) {
        std::string bytes = three.substr(0, three.size() - 2);
        for (int i = 3; i < scans; ++i) bytes.append(three, last, three.size() - 2 - last);
        const std::string said = run({"-", "-f", "-o", "a.gif", "--max-pixels", most}, {.input = bytes}).said;
        EXPECT_NE(said.find(scans % 2 == 0 ? "ends before" : " scans"), std::string::npos) << scans << said;
    }
}
