// pnm_test.cpp: what the PNM reader refuses, and that every build makes the same GIF of the same picture.

#include "support.h"

class PnmReader : public Program {};
class GoldenFiles : public Program {};

TEST_F(PnmReader, RefusesWithStatus3AndTheReason) {
    const std::pair<std::string, const char*> refused[] = {
        {"", "ends before"},
        {"P", "not a picture"},
        {"GIF89a...", "not a picture"},
        {"P5", "ends before"},
        {"P5\n4 4\n255", "ends before"},
        {"P5\n4 4\n255\n123456789012345", "ends before"},
        {"P5\n4x4\n255\n1234567890123456", "header"},
        {"P5\n4 4\n0\n1234567890123456", "header"},
        {"P5\n4 4\n65536\n1234567890123456", "header"},
        {"P5\n0 4\n255\n", "no pixels"},
        {"P5\n2 2\n256\n\001\002\003", "ends before"},
        {"P5\n2 1\n256\n\001\001\001\001", "pixels"},
        {"P5\n20000 10001\n255\n", "--max-pixels"},
        {"P5\n65536 1\n255\n", "65535"},
        {"P5\n1 99999999999999999999\n255\n", "65535"},
        {"P5\n2 2\n9\n\x01\x02\x03\x0A", "pixels"},
        {"P2\n2 2\n9\n1 2 3 10 ", "pixels"},
        {"P1\n2 2\n0 1 2 1", "pixels"},
        {"P4\n9 2\n\x01\x02\x03", "ends before"},
        {"P3\n1 2\n255\n1 2 3 4 5 256 ", "pixels"},
        {"P6\n1 2\n255\n12345", "ends before"},
        {"P6\n1 2\n53\n123456789", "pixels"},
    };
    for (const auto& [bytes, reason] : refused) {
        write("a.pnm", bytes);
        // A pipe's size is not known beforehand, so the end comes as a surprise there.
        for (const RunResult& result : {run("a.pnm -o a.gif"), run("- -o a.gif", {.input = read("a.pnm")})}) {
            EXPECT_EQ(result.status, 3) << bytes;
            EXPECT_NE(result.said.find(reason), std::string::npos) << bytes << "\n" << result.said;
        }
    }
    // Said before memory is asked for.
    write("a.pnm", "P6 65535 65535 255\n");
    EXPECT_NE(run("a.pnm -o a.gif --max-pixels 4294967295").said.find("ends before"), std::string::npos);
    EXPECT_EQ(names(), std::vector<std::string>{"a.pnm"});
}

TEST_F(PnmReader, TakesTheFirstPictureOfSeveralAndSaysSo) {
    for (const std::string& picture : {greyMap(5, 4), std::string("P2 2 1 9 1 2\n")}) {
        for (const std::string more : {"", "\n", "\nP", "Q5", "P7\n", "\nP1\n"}) {
            const RunResult result = run("- -f -o a.gif", {.input = picture + more});
            EXPECT_EQ(result.status, 0) << more;
            EXPECT_EQ(result.said.find("first is taken") != std::string::npos, more.size() > 2) << more << result.said;
        }
    }
}

// Renewed by: tolva PICTURE OPTIONS -o a.gif, and sumOf of its bytes, after an independent decoder has shown the
// pixels.
TEST_F(GoldenFiles, AreTheSameOnEveryBuild) {
    const std::pair<const char*, uint64_t> golden[] = {
        {"a.pgm", 17775199655264500366u},
        {"a.pgm --interlace", 5943837144371525228u},
        {"a.ppm", 11494353921758926869u},
        {"a.ppm --colours 16 --dither none --fit 30x30", 13819978198456317211u},
        {"a.ppm --raw", 3962364561014201166u},
        {"a.ppm --raw --dither 16", 15351084196611578544u},
        {"a.ppm --raw --fit 9x9 --transparent 404040", 8912578082539820946u},
        {"a.pgm --raw --fit 100x100 --transparent 404040", 13039325908363059563u},
        {"a.pgm --raw --size 1x0.77 --resolution 49 --background 808080", 839233353495596352u},
    };
    write("a.pgm", greyMap(61, 47));
    write("a.ppm", "P6\n40 30\n255\n" + greys(120, 30));
    for (const auto& [words, sum] : golden) {
        ASSERT_EQ(run(std::string("-f -o a.gif ") + words).status, 0);
        EXPECT_EQ(sumOf(read("a.gif")), sum) << words;
    }
}
