// output_test.cpp: where the GIF goes, and what becomes of files when it cannot go there.

#include <fcntl.h>
#include <unistd.h>

#include "cli/gif_check.h"
#include "support.h"

class OutputFile : public Program {
  protected:
    OutputFile() { write("a.pgm", greyMap(64, 64)); }
    static bool isGif(const std::string& bytes) {
        return bytes.size() > 700 && bytes.compare(0, 6, "GIF89a") == 0 && bytes.back() == ';';
    }
};

TEST_F(OutputFile, IsNotOverwrittenWithoutF) {
    write("a.gif", "earlier");
    EXPECT_EQ(run("a.pgm -o a.gif").status, 4);
    EXPECT_EQ(read("a.gif"), "earlier");
    EXPECT_EQ(run("a.pgm -o a.gif -f").status, 0);
    EXPECT_TRUE(isGif(read("a.gif")));
}

TEST_F(OutputFile, GetsTheModeOfTheFileItReplacesElseThatOfANewFile) {
    ASSERT_EQ(run("a.pgm -o a.gif", "umask 027;").status, 0);
    EXPECT_EQ(mode("a.gif"), 0640);
    ASSERT_EQ(run("a.pgm -f -o a.gif", "chmod 604 a.gif;").status, 0);
    EXPECT_EQ(mode("a.gif"), 0604);
    // A file that nobody may write is still replaced: the folder decides, and the mode stays.
    ASSERT_EQ(run("a.pgm -f -o a.gif", "chmod 444 a.gif;").status, 0);
    EXPECT_EQ(mode("a.gif"), 0444);
    ASSERT_EQ(run("a.pgm -o b.gif", "umask 777;").status, 0);
    EXPECT_EQ(mode("b.gif"), 0);
}

TEST_F(OutputFile, FollowsSymbolicLinks) {
    ASSERT_EQ(run("a.pgm -o link", "mkdir -p deep/er; ln -s deep/one link; ln -s er/two deep/one;").status, 0);
    EXPECT_TRUE(isGif(read("deep/er/two")));
    EXPECT_EQ(run("a.pgm -o link").status, 4);
    EXPECT_EQ(run("a.pgm -f -o link").status, 0);
    EXPECT_EQ(run("a.pgm -o round", "ln -s round round; test -L link && test -L deep/one &&").status, 4);
}

TEST_F(OutputFile, GoesToPipesAndDevicesWithoutRenaming) {
    EXPECT_EQ(run("a.pgm -o a.gif").status, 0);
    const std::string gif = read("a.gif");
    ASSERT_TRUE(isGif(gif));
    EXPECT_EQ(run("a.pgm -o - > b.gif").status, 0);
    EXPECT_EQ(read("b.gif"), gif);
    EXPECT_EQ(run("a.pgm -o /dev/stdout | cat > c.gif").status, 0);
    EXPECT_EQ(read("c.gif"), gif);
    EXPECT_EQ(run("a.pgm -o fifo", "mkfifo fifo; cat fifo > d.gif &").status, 0);
    EXPECT_EQ(run("--version > /dev/null", "wait; sleep 0.2;").status, 0);
    EXPECT_EQ(read("d.gif"), gif);
    EXPECT_EQ(run("a.pgm -o /dev/null").status, 0);
}

TEST_F(OutputFile, ThatCannotBeWrittenEndsWith4AndLeavesNothing) {
    for (const char* const words :
         {"a.pgm -f -o /dev/full", "a.pgm -o - > /dev/full", "a.pgm -o - >&-", "a.pgm -f -o .",
          "a.pgm -o missing/a.gif", "a.pgm -o a.pgm/a.gif", "a.pgm -o a.gif/"}) {
        EXPECT_EQ(run(words).status, 4) << words;
        EXPECT_EQ(names(), std::vector<std::string>{"a.pgm"}) << words;
    }
    EXPECT_EQ(run("a.pgm -o -  | true").status, 0);
}

TEST_F(OutputFile, OnAFullDiskHarmsNoEarlierFile) {
    write("a.gif", "earlier");
    const RunResult result = run("a.pgm -f -o a.gif", "ulimit -f 2;");
    EXPECT_EQ(result.status, 4);
    EXPECT_NE(result.said.find("303"), std::string::npos) << result.said;
    EXPECT_EQ(read("a.gif"), "earlier");
    EXPECT_EQ(names(), (std::vector<std::string>{"a.gif", "a.pgm"}));
}

TEST_F(OutputFile, MayStandUnderAVeryLongPath) {
    std::string deep;
    for (int i = 0; i < 12; ++i) deep += std::string(250, 'd') + "/";
    EXPECT_EQ(run("a.pgm -o " + deep + "a.gif", "mkdir -p " + deep + ";").status, 0);
    EXPECT_TRUE(isGif(read(deep + "a.gif")));
    const std::string longName(255, 'n');
    EXPECT_EQ(run("a.pgm -o " + longName).status, 0);
    EXPECT_TRUE(isGif(read(longName)));
}

TEST_F(OutputFile, IsNotMadeWhenTheUserStops) {
    write("a.gif", "earlier");
    // The picture never arrives; the signal finds the program waiting for it.
    const RunResult result = run("- -f -o a.gif", "sleep 2 | timeout --preserve-status -s INT 0.7");
    EXPECT_EQ(result.status, 5) << result.said;
    EXPECT_EQ(read("a.gif"), "earlier");
    EXPECT_EQ(names(), (std::vector<std::string>{"a.gif", "a.pgm"}));
}

TEST_F(OutputFile, IsKeptOnlyWhenWhole) {
    ASSERT_EQ(run("a.pgm -o a.gif").status, 0);
    const std::string whole = read("a.gif");
    const auto isWhole = [this](const std::string& bytes) {
        write("b.gif", bytes);
        const int file = open(path("b.gif").c_str(), O_RDONLY);
        cli::GifSummary summary = {};
        const bool answer = cli::readWholeGif(file, summary);
        close(file);
        return answer;
    };
    EXPECT_TRUE(isWhole(whole));
    EXPECT_FALSE(isWhole(whole + ";"));
    for (size_t length = 0; length < whole.size(); length += 1 + length / 50) {
        EXPECT_FALSE(isWhole(whole.substr(0, length))) << length;
        EXPECT_FALSE(isWhole(whole.substr(0, length) + ";")) << length;
    }
}
