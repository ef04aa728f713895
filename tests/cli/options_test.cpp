// options_test.cpp: the command line, and the library that it may name, whose errors have their sentences.

#include <bit>
#include <filesystem>

#include "cli/library/driver_errors.h"
#include "support.h"

class CommandLine : public Program {};
class TheLibrary : public Program {};

TEST_F(CommandLine, WrongUsageEndsWith2AndWritesNothing) {
    write("a.pgm", greyMap(5, 4));
    std::vector<Words> wrong = {"", "a.pgm", "-o a.gif", "a.pgm -o", {"a.pgm", "-o", ""}};
    // clang-format off
    for (const char* const option :
         {"a.pgm", "-x", "--nonsense", "--help=3", "--force=1", "--transparent FFFFF", "--transparent ##F80",
          "--background -12345", "--background 0xFFFF", "--tone blue", "--dither 4", "--road cell", "--max-pixels 0",
          "--max-pixels 1e6", "--fit 10", "--fit 0x10", "--fit 10x65536", "--fit 4294967297x1", "--fit 10x10 --size 1x1",
          "--size 0.03x1", "--size 1x22.1", "--size nanx1", "--size 1,5x1", "--size 1x1 --resolution 31",
          "--size 1x1 --resolution 401", "--resolution 96", "--fit 9x9 --resolution 96", "--json", "--colours 1",
          "--colours 257", "--raw --colours 9", "--raw --dither diffusion", "--raw --fit 9x9 --enlarge", "--null",
          "--enlarge", "--size 1x1 --enlarge", "--dither 2", "--dither 16", "--no-profile --profile p", "--section a;b"}) {
        wrong.push_back(std::string("a.pgm -o a.gif ") + option);
    }
    wrong.push_back({"a.pgm", "-o", "a.gif", "--profile", ""});
    for (const char* const words :
         {"setup", "setup show me", "setup set width", "setup set depth 1", "setup set width 22.1",
          "setup set width nan", "setup set x-resolution 9.5", "setup set size-mode 601",
          "setup set width 3 --no-profile", "setup unset", "setup unset depth", "setup path -d a", "-d a", "-d a a.pgm -o a",
          "-d a a.pgm --null", "-d a a.pgm -f --skip-existing", "info a.pgm -d a", "setup path -o a", "info", "info a.pgm b.pgm", "info a.pgm -o a.gif"}) {
        // clang-format on
        wrong.push_back(words);
    }
    for (const Words& words : wrong) {
        const RunResult result = run(words);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(words);
        EXPECT_EQ(result.said.rfind("tolva: ", 0), 0u) << testing::PrintToString(words) << ": " << result.said;
        EXPECT_EQ(std::count(result.said.begin(), result.said.end(), '\n'), 1) << result.said;
    }
    EXPECT_NE(run("a.pgm b.gif").said.find("-o b.gif"), std::string::npos);
    const std::string said = run("a.pgm -o a.gif --dither 2").said;
    EXPECT_TRUE(said.find("--colours") < said.size() && said.find("--raw") < said.size()) << said;
    EXPECT_EQ(names(), std::vector<std::string>{"a.pgm"});
}

TEST_F(CommandLine, OptionsAndColoursHaveShortAndLongForms) {
    write("a.pgm", greyMap(5, 5));
    const auto gifOf = [this](const std::string& colour, const std::string& words = "-qfoa.gif") {
        EXPECT_EQ(run(words + " a.pgm --road bracket --transparent " + colour).said, "") << "not the added row either";
        return read("a.gif");
    };
    const std::string gif = gifOf("FF8800");
    EXPECT_TRUE(same(gifOf("#f80", "--quiet --force --output a.gif"), gif));
    EXPECT_TRUE(gifOf("white") == gifOf("#FFFFFF") && gifOf("black") == gifOf("000") &&
                gifOf("white") != gifOf("black"));
    for (const std::string verbose : {"-v", "--verbose"}) {
        EXPECT_NE(run(verbose + " a.pgm -f -o c.gif").said.find("c.gif: 5 x 5 pixels"), std::string::npos);
    }
    for (const auto& [option, told] :
         {std::pair("--help", "--interlace"), {"-h", "--interlace"}, {"-V", "0x02000005"}}) {
        const RunResult result = run(option);
        EXPECT_TRUE(result.status == 0 && result.out.find(told) < result.out.size()) << option << result.out;
    }
}

TEST_F(CommandLine, ShowsNamesAsText) {
    const std::string name = "a\n\x1B[2J\x7F\xC2\x9B\xFF\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xED\xA0\x80\xC0\x80.pgm";
    const std::string shown =  // a character of two, three and four bytes, but no surrogate and none that is too long
        "a\\x0A\\x1B[2J\\x7F\\xC2\\x9B\\xFF\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\\xED\\xA0\\x80\\xC0\\x80.pgm";
    EXPECT_EQ(run({name, "-o", "a.gif"}).said, "tolva: " + shown + ": No such file or directory\n");
    EXPECT_EQ(run({"setup", "path", "-q", "--profile", name}).out, name + "\n");
    write(name, greyMap(5, 4));
    EXPECT_EQ(run({"info", name}).out.rfind(shown + ": 5 x 4", 0), 0u);
    EXPECT_EQ(run("info -", {.in = {.file = name}}).out.rfind("standard input: 5 x 4", 0), 0u);
}

TEST_F(CommandLine, WarnsOfAScreenThatCannotBeRead) {
    write("a.pgm", greyMap(5, 4));
    for (const std::string screen : {"", "1600x1200x99x99", "1600,1200 9;99", "1600", "1600x1200x", "1600xx1200x9x9",
                                     "1600x-1200x9x9", "1600x1200x0x9", "1600x1200x9x32768"}) {
        const RunResult result = run("info a.pgm", {.before = {"env", "DISPLAYINFO=" + screen}});
        EXPECT_EQ(result.said.empty(), screen.empty() || screen.ends_with("99")) << result.said;
    }
}

TEST_F(TheLibrary, ThatCannotBeUsedEndsWith1) {
    write("a.pgm", greyMap(5, 4));
    EXPECT_EQ(run("a.pgm -o a.gif --library missing.so").status, 1);
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
    const Launch copy = {.words = {path("bin/copy"), "--version"}, .emulated = true};
    RunResult result = runProgram(copy);
    EXPECT_NE(result.out.find("bin/../lib/libtolva.so.1"), std::string::npos) << result.out;
    if (std::endian::native == std::endian::big) return;  // no place has the number in one piece
    const char move = '\xB8';                             // of a constant into the register for results
    std::string bytes = read("lib/libtolva.so.1");
    for (const auto& [from, to, wanted] :
         {std::tuple('\5', '\2', "library 0x02000006"), {'\6', '\3', "version 0x03000006"}}) {
        for (size_t at = 0; (at = bytes.find({move, from, 0, 0, 2}, at)) < bytes.size();)
            bytes.replace(at, 5, {move, 6, 0, 0, to});
        write("lib/libtolva.so.1", bytes);
        result = runProgram(copy);
        EXPECT_EQ(result.status, to == 2 ? 0 : 1);
        EXPECT_NE((result.out + result.said).find(wanted), std::string::npos) << result.said;
    }
}

TEST(ErrorCodes, StandInTheManualAndHaveASentence) {
    const std::string manual = textOf(TOLVA_SOURCE "/docs/protocol.md");
    const size_t begin = manual.find("## Errors and replies"), end = manual.find("**The error stack**", begin);
    const std::string table = manual.substr(begin, end - begin);
    for (int code = 1; code < 1000; ++code) {
        testing::internal::CaptureStderr();
        const bool stops = cli::reportDriver("a step", code) == cli::kExitStopped;
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_EQ(stops || said.find("without a meaning") == std::string::npos,
                  table.find("\n| " + std::to_string(code) + " |") < table.size())
            << code;
    }
}
