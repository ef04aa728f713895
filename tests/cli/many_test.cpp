// many_test.cpp: tolva -d: every picture comes out as it does alone, and what is wrong with one costs that one.

#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <regex>

#include "cli/output/system_calls.h"
#include "support.h"

namespace files = std::filesystem;

class ManyPictures : public Program {
  protected:
    ManyPictures() {
        files::create_directory(path("gifs"));
        write("a.pgm", greyMap(9, 7));
    }
    // Once.
    static bool isIn(const std::string& text, const std::string& part) {
        return text.find(part) < text.size() && text.find(part) == text.rfind(part);
    }
    auto gifs() const { return std::distance(files::directory_iterator(path("gifs")), {}); }
};

TEST_F(ManyPictures, ComeOutAsEachAloneAndFailuresAreNamedOnce) {
    const std::string odd = "b\n\t\xFF.pgm";
    write(odd, greyMap(20, 30));
    write("cut.pgm", greyMap(9, 7).substr(0, 30));
    write("list", odd + '\0' + '\0' + "missing.pgm" + '\0');
    EXPECT_EQ(run("a.pgm -o a.gif").status + run({odd, "-o", "b.gif"}).status, 0);
    write("libtolva.ini", "[TOLVA]\n~Mode=M\n[M]\nDriver=D\nColor Mode=104\n");
    const RunResult result = run("-d gifs a.pgm cut.pgm --files-from list --null --json");
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.said,
              "tolva: cut.pgm: the file ends before the picture does\n"
              "tolva: missing.pgm: No such file or directory\ntolva: 2 of 4 pictures written, 2 failed\n");
    EXPECT_TRUE(same(read("gifs/a.gif"), read("a.gif")) && same(read("gifs/b\n\t\xFF.gif"), read("b.gif")));
    const std::string json = std::regex_replace(result.out, std::regex(R"("milliseconds":\d+)"), "T");
    for (const char* const part :
         {R"({"picture":"a.pgm","gif":"gifs/a.gif","result":"written","status":0,"pictureWidth":9,"pictureHeight":7,)",
          R"("colours":58,"width":9,"height":7,"gifColours":256,"bytes":877,T,"error":null})",
          "{\"picture\":\"b\\n\\t\xEF\xBF\xBD.pgm\",\"path_hex\":\"620a09ff2e70676d\",\"gif\"",
          R"("gif":"gifs/missing.gif","result":"failed","status":3,T,"error":")"}) {
        EXPECT_NE(json.find(part), std::string::npos) << json;
    }
    write("gifs/b\n\t\xFF.gif", "GIF89a, cut off");
    const RunResult again = run("-d gifs a.pgm --files-from list --null --skip-existing", {.err = {kTerminal}});
    EXPECT_EQ(again.status, 4) << again.said;
    EXPECT_NE(again.said.find("0 of 3 pictures written, 1 already there, 2 failed"), std::string::npos) << again.said;
    EXPECT_NE(again.said.find("] 2 of 3, 1 failed\r\x1B[K"), std::string::npos) << again.said;
}

TEST_F(ManyPictures, ThatCannotAllBeMeantAreRefusedBeforeAnythingIsWritten) {
    std::string million;
    for (int i = 0; i < 1000000; ++i) million += "pictures/" + std::to_string(i) + ".pgm\n";
    // clang-format off
    for (const auto& [words, list, status, said] :
         {std::tuple("", std::string("b.png\n\nx/a.png\n"), 2, "a.pgm and x/a.png would both"), {"", "a.pgm", 2, "twice"},
          {"", "b\n-\n", 2, "no name"}, {"", million + "12.png\n", 2, "gifs/12.gif"}, {"-", "b", 2, "no name"},
          {"--files-from empty", "", 3, "empty: No such"}, {"--files-from -", "b", 3, "standard input: names no"},
          {"", std::string("b\0c", 3), 3, "--null"}, {"-d list", "b", 4, "list: is no folder"},
          {"-d none", "b", 4, "none: No such"}, {"--files-from .", "", 3, "directory"}, {"--null", "c\n", 3, "c\\x0A: No such"}}) {
        // clang-format on
        write("list", list);
        const RunResult result = run(std::string("-d gifs a.pgm --files-from list ") + words);
        EXPECT_TRUE(result.status == status && result.said.find(said) < result.said.size()) << result.said;
        EXPECT_EQ(gifs(), words == std::string("--null") ? 1 : 0) << words;
    }
}

TEST_F(ManyPictures, EndWithTheProcessThatIsToldToAndOutliveTheOthers) {
    ASSERT_EQ(mkfifo(path("never.pgm").c_str(), 0600), 0);
    const Words alone = "timeout --foreground --preserve-status -s INT 2";
    const RunResult stopped = run("-d gifs a.pgm never.pgm b.pgm", {.before = alone});
    EXPECT_EQ(stopped.status, 5);
    EXPECT_EQ(stopped.said, "tolva: 1 of 3 pictures written, 2 left to do\ntolva: stopped\n");
    write("b.pgm", greyMap(7, 9));
    static int raised = 0;
    for (const int signal : {SIGKILL, SIGTERM}) {
        raised = signal;
        const RunResult result = runHere("-d . a.pgm b.pgm", [] {
            cli::systemCalls.openStream = [](int file, const char* mode) {
                raise(raised);
                return fdopen(file, mode);
            };
        });
        EXPECT_EQ(result.status, 1) << result.said;
        EXPECT_TRUE(isIn(result.said, " a.pgm: ") && isIn(result.said, " b.pgm: ")) << result.said;
    }
    EXPECT_EQ(names().size(), 4U) << "no temporary file stays";
}

TEST_F(ManyPictures, GoThroughParallelAsTheManualSays) {
#if !defined TOLVA_PARALLEL
    GTEST_SKIP() << "there is no parallel, or the program runs in an emulator";
#endif
    const auto isBad = [](int i) { return i % 90 == 7; };
    const auto nameOf = [](int i) { return "/n " + std::to_string(i) + '\''; };
    files::create_directory(path("pictures"));
    for (int i = 0; i < 1000; ++i) write("pictures" + nameOf(i) + ".pgm", greyMap(9, 7).substr(0, isBad(i) ? 13 : 99));
    files::create_symlink(TOLVA_PROGRAM, path("tolva"));
    write("hosts", "1/one\n1/two\n");
    write("ssh", "#!/bin/sh\nwhile [ \"$1\" != -- ]; do shift; done\nshift\nexec sh -c \"$*\"\n");
    chmod(path("ssh").c_str(), 0755);
    const Words paths = {"env", "PATH=" + folder + ":/usr/bin:/bin", "HOME=" + folder, "SHELL=/bin/sh",
                         "PARALLEL_SSH=./ssh"};
    const std::string page = textOf(TOLVA_SOURCE "/docs/many-pictures.md"), alone = run("a.pgm -o -").out;
    const std::regex command(R"(\n    (find .*parallel.*))");
    int ran = 0;
    for (std::sregex_iterator i(page.begin(), page.end(), command), none; i != none; ++i, ++ran) {
        const Words words = {"sh", "-c", "rm -f gifs/*; " + (*i)[1].str()};
        const RunResult result = runProgram({.before = paths, .words = words, .folder = folder});
        for (int n = 0; n < 1000; ++n) {
            const std::string gif = "gifs" + nameOf(n) + ".gif";
            const bool isNamed = isIn(result.said, "tolva: pictures" + nameOf(n) + ".pgm: ");
            EXPECT_TRUE(isBad(n) ? isNamed && !exists(gif) : !isNamed && read(gif) == alone)
                << gif << result.said << result.out;
        }
        EXPECT_EQ(gifs(), 1000 - 12) << "none beside them";
    }
    EXPECT_EQ(ran, 3);
}
