// output_test.cpp: where the GIF goes, and what becomes of files when it cannot go there.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <future>

#include "cli/gif_check.h"
#include "support.h"

namespace files = std::filesystem;

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
    const mode_t before = umask(027);
    ASSERT_EQ(run("a.pgm -o a.gif").status, 0);
    EXPECT_EQ(mode("a.gif"), 0640);
    // A file that nobody may write is still replaced: the folder decides, and the mode stays.
    for (const mode_t earlier : {0604, 0444}) {
        chmod(path("a.gif").c_str(), earlier);
        ASSERT_EQ(run("a.pgm -f -o a.gif").status, 0);
        EXPECT_EQ(mode("a.gif"), static_cast<int>(earlier));
    }
    umask(0777);
    ASSERT_EQ(run("a.pgm -o b.gif").status, 0);
    EXPECT_EQ(mode("b.gif"), 0);
    umask(before);
}

TEST_F(OutputFile, IsNeitherThePictureItselfNorATerminal) {
    const std::string picture = read("a.pgm");
    files::create_symlink("a.pgm", path("link"));
    files::create_hard_link(path("a.pgm"), path("hard"));
    const int appended = open(path("hard").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    for (const char* const from : {"a.pgm", "link", "-"}) {
        for (const char* const to : {"a.pgm", "link", "hard", "-", "/dev/stdout"}) {
            EXPECT_EQ(run({from, "-f", "-o", to}, {.in = {.file = "a.pgm"}, .out = {appended}}).status, 2) << to;
            EXPECT_TRUE(read("a.pgm") == picture && files::is_symlink(path("link"))) << from << " " << to;
        }
    }
    close(appended);
    EXPECT_EQ(run("a.pgm -o -", {.out = {kTerminal}}).status, 2);
}

TEST_F(OutputFile, FollowsSymbolicLinks) {
    files::create_directories(path("deep/er"));
    files::create_symlink("deep/one", path("link"));
    files::create_symlink("er/two", path("deep/one"));
    files::create_symlink("round", path("round"));
    ASSERT_EQ(run("a.pgm -o link").status, 0);
    EXPECT_TRUE(isGif(read("deep/er/two")));
    EXPECT_EQ(run("a.pgm -o link").status, 4);
    EXPECT_EQ(run("a.pgm -f -o link").status, 0);
    EXPECT_TRUE(files::is_symlink(path("link")) && files::is_symlink(path("deep/one")));
    EXPECT_EQ(run("a.pgm -o round").status, 4);
}

TEST_F(OutputFile, GoesToPipesAndDevicesWithoutRenaming) {
    EXPECT_EQ(run("a.pgm -o a.gif").status, 0);
    const std::string gif = read("a.gif");
    ASSERT_TRUE(isGif(gif));
    EXPECT_EQ(run("a.pgm -o -", {.out = {.file = "b.gif"}}).status, 0);
    EXPECT_EQ(read("b.gif"), gif);
    EXPECT_EQ(run("a.pgm -o /dev/stdout").out, gif);
    mkfifo(path("fifo").c_str(), 0600);
    auto received = std::async(std::launch::async, [this] { return read("fifo"); });
    EXPECT_EQ(run("a.pgm -o fifo").status, 0);
    EXPECT_EQ(received.get(), gif);
    EXPECT_EQ(run("a.pgm -o /dev/null").status, 0);
}

TEST_F(OutputFile, ThatCannotBeWrittenEndsWith4AndLeavesNothing) {
    for (const Lead& out : {Lead{kPiped, "/dev/full"}, Lead{kClosed}, Lead{kNobody}}) {
        EXPECT_EQ(run("a.pgm -o -", {.out = out}).status, 4) << out.descriptor;
    }
    for (const char* const name : {"/dev/full", ".", "missing/a.gif", "a.pgm/a.gif", "a.gif/"}) {
        EXPECT_EQ(run({"a.pgm", "-f", "-o", name}).status, 4) << name;
        EXPECT_EQ(names(), std::vector<std::string>{"a.pgm"}) << name;
    }
}

TEST_F(OutputFile, OnAFullDiskHarmsNoEarlierFile) {
    write("a.gif", "earlier");
    const RunResult result = run("a.pgm -f -o a.gif", {.before = "prlimit --fsize=1024"});
    EXPECT_EQ(result.status, 4);
    EXPECT_NE(result.said.find("303"), std::string::npos) << result.said;
    EXPECT_EQ(read("a.gif"), "earlier");
    EXPECT_EQ(names(), (std::vector<std::string>{"a.gif", "a.pgm"}));
}

TEST_F(OutputFile, MayStandUnderAVeryLongPath) {
    std::string deep;
    for (int i = 0; i < 12; ++i) deep += std::string(250, 'd') + "/";
    files::create_directories(path(deep));
    EXPECT_EQ(run("a.pgm -o " + deep + "a.gif").status, 0);
    EXPECT_TRUE(isGif(read(deep + "a.gif")));
    const std::string longName(255, 'n');
    EXPECT_EQ(run("a.pgm -o " + longName).status, 0);
    EXPECT_TRUE(isGif(read(longName)));
}

TEST_F(OutputFile, IsNotMadeWhenTheUserStops) {
    write("a.gif", "earlier");
    // The picture never arrives; the signal finds the program waiting for it.
    const RunResult result = run("- -f -o a.gif", {.before = "timeout --preserve-status -s INT 0.7", .pause = 2});
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
