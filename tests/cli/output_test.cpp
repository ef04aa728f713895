// output_test.cpp: where the GIF goes, and what becomes of files when it cannot go there.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <future>

#include "cli/output/gif_check.h"
#include "cli/output/system_calls.h"
#include "support.h"

namespace files = std::filesystem;

class OutputFile : public Program {
  protected:
    OutputFile() { write("a.pgm", greyMap(64, 64)); }
    static bool isGif(const std::string& bytes) {
        return bytes.size() > 700 && bytes.compare(0, 6, "GIF89a") == 0 && bytes.back() == ';';
    }
};

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
    for (const char* const to : {"-", "/dev/stdout", "/dev/fd/1"}) {
        EXPECT_EQ(run({"a.pgm", "-f", "-o", to}, {.out = {kTerminal}}).status, 2) << to;
    }
}

TEST_F(OutputFile, KeepsOwnerAndGroupWhereItMayAndElseLeavesTheGroupNoRights) {
    if (unprivileged().empty()) GTEST_SKIP() << "owners are given on by root alone";
    chmod(folder.c_str(), 0777);
    for (const auto& [before, owner, rights] : {std::tuple(Words(), 12345u, 0674), {unprivileged(), 65534u, 0604}}) {
        write("a.gif", "earlier");
        chmod(path("a.gif").c_str(), 0674);
        ASSERT_EQ(chown(path("a.gif").c_str(), 12345, 12345), 0);
        EXPECT_EQ(run("a.pgm -f -o a.gif", {.before = before}).status, 0);
        struct stat about = {};
        stat(path("a.gif").c_str(), &about);
        EXPECT_EQ(std::tuple(about.st_uid, about.st_gid, mode("a.gif")), std::tuple(owner, owner, rights));
    }
}

TEST_F(OutputFile, FollowsSymbolicLinksAndIsNotOverwrittenWithoutF) {
    files::create_directories(path("deep/er"));
    files::create_symlink("deep/one", path("link"));
    files::create_symlink("er/two", path("deep/one"));
    files::create_symlink("round", path("round"));
    ASSERT_EQ(run("a.pgm -o link").status, 0);
    EXPECT_TRUE(isGif(read("deep/er/two")));
    write("deep/er/two", "earlier");
    EXPECT_EQ(run("a.pgm -o link").status, 4);
    EXPECT_EQ(read("link"), "earlier");
    EXPECT_EQ(run("a.pgm -f -o link").status, 0);
    EXPECT_TRUE(isGif(read("deep/er/two")));
    EXPECT_TRUE(files::is_symlink(path("link")) && files::is_symlink(path("deep/one")));
    EXPECT_EQ(run("a.pgm -o round").status, 4);
}

TEST_F(OutputFile, GoesToPipesAndDevicesWithoutRenaming) {
    EXPECT_EQ(run("a.pgm -o a.gif").status, 0);
    const std::string gif = read("a.gif");
    ASSERT_TRUE(isGif(gif));
    EXPECT_TRUE(same(run("a.pgm -o /dev/stdout").out, gif));
    mkfifo(path("fifo").c_str(), 0600);
    auto received = std::async(std::launch::async, [this] { return read("fifo"); });
    EXPECT_EQ(run("a.pgm -o fifo").status, 0);
    EXPECT_TRUE(same(received.get(), gif));
    EXPECT_EQ(run("a.pgm -o /dev/null").status, 0);
}

TEST_F(OutputFile, ThatCannotBeWrittenEndsWith4AndLeavesNothing) {
    for (const auto& [out, why] : {std::pair(Lead{kPiped, "/dev/full"}, "No space left on device"),
                                   {Lead{kClosed}, "Bad file descriptor"},
                                   {Lead{kNobody}, "Broken pipe"}}) {
        const RunResult result = run("a.pgm -o -", {.out = out});
        EXPECT_EQ(result.status, 4) << why;
        EXPECT_EQ(result.said, std::string("tolva: standard output: ") + why + "\n");
    }
    for (const std::string road : {"cells", "bracket", "export"}) {  // which is met when the file is closed
        const RunResult result = run("a.pgm -o a.gif --road " + road, {.before = "prlimit --fsize=1024"});
        EXPECT_EQ(result.status, 4) << road;
        EXPECT_EQ(result.said, "tolva: a.gif: File too large\n") << road;
    }
    write("b.gif", "");
    const int deleted = open(path("b.gif").c_str(), O_RDWR | O_CLOEXEC);
    files::remove(path("b.gif"));
    for (const char* const name : {"/dev/full", ".", "missing/a.gif", "a.pgm/a.gif", "a.gif/", "/dev/fd/2"}) {
        EXPECT_EQ(run({"a.pgm", "-f", "-o", name}, {.err = {deleted}}).status, 4) << name;
        EXPECT_EQ(names(), std::vector<std::string>{"a.pgm"}) << name;
    }
}

TEST_F(OutputFile, MayStandUnderAVeryLongPath) {
    std::string deep;
    for (int i = 0; i < 12; ++i) deep += std::string(250, 'd') + "/";
    files::create_directories(path(deep));
    deep += std::string(255, 'n');
    EXPECT_EQ(run("a.pgm -o " + deep).status, 0);
    EXPECT_TRUE(isGif(read(deep)));
}

TEST_F(OutputFile, LeavesAFileThatCameUpInTheMeantime) {
    const RunResult result = runHere("a.pgm -o a.gif", [] {
        cli::systemCalls.openStream = [](int file, const char* mode) {
            save("a.gif", "earlier");
            return fdopen(file, mode);
        };
    });
    EXPECT_EQ(result.status, 4) << result.said;
    EXPECT_EQ(read("a.gif"), "earlier");
}

TEST_F(OutputFile, NeedsNoStandardFilesAndNoSpool) {
    write("b.pgm", greyMap(700, 501));
    run("b.pgm --interlace -o b.gif");
    for (int closed = 1; closed < 8; ++closed) {
        const auto lead = [&](int file) { return Lead{(closed >> file & 1) != 0 ? kClosed : kPiped}; };
        files::remove(path("a.gif"));
        run("-v b.pgm --interlace -o a.gif", {.in = lead(0), .out = lead(1), .err = lead(2)});
        EXPECT_TRUE(same(read("a.gif"), read("b.gif"))) << closed;
    }
    int missed = 0;
    for (int files = 4; files < 30; ++files) {
        const Words before = {"prlimit", "--nofile=" + std::to_string(files)};
        const RunResult result = run("-v b.pgm --interlace -f -o a.gif", {.before = before});
        EXPECT_TRUE(same(read("a.gif"), read("b.gif"))) << result.said;
        if (result.status == 0 && result.said.find("/tmp: Too many open files") != std::string::npos) ++missed;
    }
    EXPECT_GT(missed, 0);
}

TEST_F(OutputFile, ShowsItsProgressOnATerminalUnlessQuiet) {
    const Launch onTerminal = {.err = {kTerminal}};
    for (const char* const words : {"a.pgm", "a.pgm --colours 9", "a.pgm --fit 32x32", "a.pgm --raw --fit 32x32"}) {
        const std::string said = run(std::string("-f -o a.gif ") + words, onTerminal).said;
        int steps = 0;
        for (size_t at = 0, before = 0; (at = said.find(']', at + 1)) < said.size(); ++steps) {
            const size_t percent = std::stoul(said.substr(at + 1));
            EXPECT_LT(before, percent) << said;
            before = percent;
        }
        EXPECT_TRUE(steps > 9 && said.find("]  25 %\r") < said.size() && said.ends_with(" %\r\x1b[K")) << said;
    }
    EXPECT_EQ(run("-q a.pgm -f -o a.gif", onTerminal).said + run("a.pgm -f -o a.gif").said, "");
}

TEST_F(OutputFile, IsKeptOnlyWithSignatureAndTrailer) {
    ASSERT_EQ(run("a.pgm -o a.gif").status, 0);
    const std::string gif = read("a.gif");
    // The second but last has the code size before the trailer, and no pixels.
    for (const std::string& bytes : {gif, gif + ";", gif.substr(1), gif.substr(0, gif.size() - 1),
                                     std::string("GIF89a"), gif.substr(0, 800) + ";", std::string()}) {
        cli::GifSummary summary = {};
        const auto* const start = reinterpret_cast<const uint8_t*>(bytes.data());
        EXPECT_EQ(cli::summariseGif(start, ssize(bytes), summary), bytes == gif) << bytes.size();
    }
}
