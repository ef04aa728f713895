// options_test.cpp: the command line, and the library that it may name.

#include <algorithm>
#include <filesystem>

#include "support.h"

class CommandLine : public Program {};
class TheLibrary : public Program {};

TEST_F(CommandLine, WrongUsageEndsWith2AndWritesNothing) {
    write("a.pgm", greyMap(5, 4));
    std::vector<Words> wrong = {"", "a.pgm", "-o a.gif", "a.pgm -o", {"a.pgm", "-o", ""}};
    // clang-format off
    for (const char* const option :
         {"a.pgm", "-x", "--nonsense", "--help=3", "--transparent FFFFF", "--transparent FFFFFFF",
          "--background -12345", "--background 0xFFFF", "--tone blue", "--dither 4", "--road cell", "--max-pixels 0",
          "--max-pixels 1e6", "--fit 10", "--fit 0x10", "--fit 10x65536", "--fit 10x10x10", "--fit 1e1x10",
          "--fit 4294967297x1", "--fit 10x10 --size 1x1", "--size 0.03x1", "--size 1x22.1", "--size nanx1",
          "--size 1,5x1", "--size 1x1 --resolution 31", "--size 1x1 --resolution 401", "--resolution 96",
          "--fit 9x9 --resolution 96", "--json", "--no-profile --profile p", "--section a;b"}) {
        // clang-format on
        wrong.push_back(std::string("a.pgm -o a.gif ") + option);
    }
    wrong.push_back({"a.pgm", "-o", "a.gif", "--profile", ""});
    for (const char* const words :
         {"setup", "setup show me", "setup set width", "setup set depth 1", "setup set width 22.1",
          "setup set width nan", "setup set x-resolution 9.5", "setup set size-mode 601",
          "setup set width 3 --no-profile", "setup path -o a", "info", "info a.pgm b.pgm", "info a.pgm -o a.gif"}) {
        wrong.push_back(words);
    }
    for (const Words& words : wrong) {
        const RunResult result = run(words);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(words);
        EXPECT_EQ(result.said.rfind("tolva: ", 0), 0u) << testing::PrintToString(words) << ": " << result.said;
        EXPECT_EQ(std::count(result.said.begin(), result.said.end(), '\n'), 1) << result.said;
    }
    EXPECT_EQ(names(), std::vector<std::string>{"a.pgm"});
}

TEST_F(CommandLine, HelpAndVersionGoToStandardOutput) {
    for (const auto& [option, word] : {std::pair("--help", "--interlace"), {"--version", "0x02000005"}}) {
        const RunResult result = run(option);
        EXPECT_EQ(result.status, 0) << option;
        EXPECT_NE(result.out.find(word), std::string::npos) << result.out;
    }
}

TEST_F(CommandLine, QuietSaysNothingAndVerboseTellsSizes) {
    write("a.pgm", greyMap(5, 4));
    EXPECT_EQ(run("-q a.pgm -o a.gif").said, "");
    EXPECT_EQ(run("a.pgm -o b.gif").said, "");
    EXPECT_NE(run("-v a.pgm -o c.gif").said.find("c.gif: 5 x 4 pixels"), std::string::npos);
}

TEST_F(TheLibrary, ThatCannotBeUsedEndsWith1) {
    write("a.pgm", greyMap(5, 4));
    write("not-a-library.so", "nothing");
    EXPECT_EQ(run("a.pgm -o a.gif --library missing.so").status, 1);
    EXPECT_EQ(run("a.pgm -o a.gif --library not-a-library.so").status, 1);
    const RunResult version = run("--version --library missing.so");
    EXPECT_EQ(version.status, 1);
    EXPECT_NE(version.out.find("tolva "), std::string::npos);
    EXPECT_FALSE(exists("a.gif"));
}

TEST_F(TheLibrary, IsFoundInLibBesideTheProgramsFolder) {
    const std::filesystem::path program = TOLVA_PROGRAM;
    for (const char* const name : {"bin", "lib"}) std::filesystem::create_directory(path(name));
    std::filesystem::copy(program, path("bin/copy"));
    std::filesystem::copy(program.parent_path() / "libtolva.so.1", path("lib/libtolva.so.1"));
    const RunResult copied = runProgram({.words = {path("bin/copy"), "--version"}, .emulated = true});
    EXPECT_NE(copied.out.find("bin/../lib/libtolva.so.1"), std::string::npos) << copied.out;
}
