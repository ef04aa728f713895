// roads_test.cpp: the library's three ways to a GIF, and the host's own file at the end of them.

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>

#include "cli/output/host_file.h"
#include "cli/output/system_calls.h"
#include "support.h"

class Roads : public Program {
  protected:
    const std::string roads[3] = {"cells", "bracket", "export"};
    std::string exported(const std::string& road, const std::string& words) {
        EXPECT_EQ(run("-q -f --road " + road + " -o a.gif " + words).status, 0) << road << " " << words;
        return read("a.gif");
    }
};

TEST_F(Roads, GiveTheSameFile) {
    write("a.pgm", greyMap(64, 70));
    write("a.ppm", "P6\n40 31\n255\n" + greys(120, 31));
    for (const std::string words : {"", "--interlace", "--tone invert-greys --transparent 404040", "--raw --fit 40x30",
                                    "--tone grey --background 808080", "--raw --dither 16 --tone invert", "--fit 50x30",
                                    "--colours 9 --tone invert --transparent 404040"}) {
        const std::string gif = exported("cells", "a.pgm " + words);
        EXPECT_TRUE(same(exported("bracket", "a.pgm " + words), gif)) << words;
        EXPECT_TRUE(same(exported("export", "a.pgm " + words), gif)) << words;
        EXPECT_TRUE(same(exported("cells", "a.pgm --write-by-library " + words), gif)) << words;
        for (const std::string& road : roads)
            EXPECT_TRUE(same(run("a.pgm -qo- --road " + road + " " + words).out, gif));
        EXPECT_EQ((gif.at(798) & 0x40) != 0, words == "--interlace");
        EXPECT_TRUE(same(exported("bracket", "a.ppm " + words), exported("export", "a.ppm " + words))) << words;
    }
}

TEST_F(Roads, RepeatTheLastRowOfAnOddHeightAndSaySo) {
    write("a.pgm", greyMap(13, 15));
    write("b.pgm", "P5\n13 16\n255\n" + greys(13, 15) + greys(13, 15).substr(13 * 14));
    for (const std::string& road : roads) {
        const bool evened = road != "cells";
        EXPECT_EQ(exported(road, "a.pgm") == exported("cells", "b.pgm"), evened);
        // 13 x 15 and 26 x 30 pixels.
        for (const char* const limited : {"195", "208", "779 --fit 26x32 --enlarge", "780 --size 0.27x0.34"}) {
            const int wanted = limited[2] == '9' || (limited[2] == '5' && evened) ? 3 : 0;
            EXPECT_EQ(run("-f -o c.gif a.pgm --road " + road + " --max-pixels " + limited).status, wanted) << limited;
        }
        const RunResult info = run("info a.pgm --road " + road);
        EXPECT_EQ(info.said.find("from 15 to 16") != std::string::npos, evened);
        EXPECT_EQ(info.out.find("13 x 16 pixels") != std::string::npos, evened) << info.out;
    }
}

TEST_F(Roads, LeaveTheEarlierFileWhereverTheyAreStoppedOrCrash) {
    std::vector<std::pair<int, int>> ends = {{SIGINT, 5}, {SIGTERM, 5}, {SIGHUP, 5}, {SIGQUIT, 5}};
#if !defined __powerpc__  // the emulator takes these itself
    ends.insert(ends.end(), {{SIGABRT, -SIGABRT}, {SIGSEGV, -SIGSEGV}});
#endif
    write("a.ppm", "P6\n150 100\n255\n" + greys(450, 100));
    static int raised = 0;
    for (const std::string& road : roads) {
        for (const auto& [signal, status] : ends) {
            raised = signal;
            write("a.gif", "earlier");
            const RunResult result = runHere("a.ppm -f -o a.gif --road " + road, [] {
                std::signal(raised, SIG_DFL);  // whatever a sanitizer does with it
                if (raised == SIGINT) {
                    cli::systemCalls.closeStream = [](FILE* file) { return raise(raised) + std::fclose(file); };
                } else {
                    cli::systemCalls.openStream = [](int file, const char* mode) {
                        raise(raised);
                        return fdopen(file, mode);
                    };
                }
            });
            EXPECT_EQ(result.status, status) << road << signal;
            EXPECT_EQ(read("a.gif"), "earlier");
            EXPECT_EQ(names(), (std::vector<std::string>{"a.gif", "a.ppm"})) << road << signal;
        }
    }
}

TEST(HostFile, InMemoryGrowsAndIsRewoundAndEndsAtTwoGigabytes) {
    cli::HostFile file;
    // 2 reads, 3 writes, 4 seeks (from 1, where it stands, or 2, the end), 5 closes.
    const auto call = [&](intptr_t operation, const void* a, intptr_t b) {
        return cli::serveHostFile(reinterpret_cast<intptr_t>(&file), operation, reinterpret_cast<intptr_t>(a), b);
    };
    const std::string text(140000, 'x');
    const int32_t back = -1;
    char last[9] = {};
    EXPECT_EQ(call(3, text.data(), 140000), 140000);
    EXPECT_EQ(call(4, &back, 1), 139999);
    EXPECT_EQ(call(2, last, sizeof last), 1);
    EXPECT_EQ(call(4, &back, 2), 139999);
    EXPECT_EQ(call(3, "yz", 2), 2);
    EXPECT_TRUE(same(std::string(file.bytes, file.bytes + file.size), text.substr(1) + "yz"));
    file.position = file.size = INT32_MAX - 1;
    EXPECT_EQ(call(3, "yz", 2), -1);
    EXPECT_EQ(file.error, EFBIG);
    EXPECT_EQ(call(5, nullptr, 0), -1);
}
