// pictures.h: PNG and JPEG files for the tests, made through the libraries' writers, and the GIFs they become.
#ifndef TOLVA_TESTS_CLI_PICTURES_H
#define TOLVA_TESTS_CLI_PICTURES_H

#include <string>
#include <vector>

#include "../gif_oracle.h"
#include "support.h"

struct PictureOrder {
    int width = 0;
    int height = 0;
    int bits = 8;
    int kind = 3;  // a PNG colour type
    int channels = 3;
    int stored = 0;           // a JPEG colour space, or as the channels say
    bool interlaced = false;  // of a JPEG, progressive
    bool apart = false;       // of a JPEG, a scan for each of three components
    std::vector<imageio::Colour> palette = {};
    std::vector<uint8_t> alpha = {};  // of palette entries
    std::vector<int> key = {};        // the transparent grey, or red, green and blue
    std::string exif = {};
    std::string profile = {};                                      // of a JPEG
    std::vector<std::pair<std::string, std::string>> chunks = {};  // of a PNG, as they are
    std::vector<uint8_t> samples = {};                             // one byte each, or two; top row first
};

void makePng(const std::string& path, const PictureOrder& order);
void makeJpeg(const std::string& path, const PictureOrder& order);

class Pictures : public Program {
  protected:
    SeenGif convert(const std::string& words, const Launch& launch = {}) {
        const RunResult result = run("-f -o a.gif " + words, launch);
        EXPECT_EQ(result.status, 0) << words << ": " << result.said;
        return seenIn(path("a.gif"));
    }
    SeenGif convertPng(const PictureOrder& png, const std::string& words = "") {
        makePng(path("a.png"), png);
        return convert("a.png " + words);
    }
    // Cut anywhere, from a file and from a pipe: status 3 and one line.
    void expectCutsRefused(const std::string& good) {
        for (size_t length = 3; length < good.size(); length += 1 + length / 9) {
            write("cut", good.substr(0, length));
            for (const RunResult& result : {run("cut -o cut.gif"), run("- -o cut.gif", {.input = read("cut")})}) {
                EXPECT_EQ(result.status, 3) << length;
                EXPECT_EQ(result.said.find('\n') + 1, result.said.size()) << result.said;
            }
        }
        EXPECT_FALSE(exists("cut.gif"));
    }
};

#endif
