// The shared library as hosts see it, and the example hosts, as somebody runs them who wants to copy from them.
#include <unistd.h>

#include <filesystem>
#include <set>
#include <sstream>

#include "support.h"

#ifndef TOLVA_PYTHON
#define TOLVA_PYTHON ""
#endif

namespace {

const Launch kHostInPython = {.words = {TOLVA_PYTHON, TOLVA_EXAMPLES_FOLDER "/host.py", TOLVA_LIBRARY}};
const Launch kHostInC = {.words = {TOLVA_EXAMPLE_HOST, TOLVA_LIBRARY}, .emulated = true};

Bytes drawn(Launch host, const Words& size) {
    const Temporary file;
    host.words = host.words + Words{file.path} + size;
    const RunResult result = runProgram(host);
    EXPECT_EQ(result.status, 0) << result.said;
    EXPECT_NE(result.said.find("100%"), std::string::npos) << result.said;
    return readFile(file.path);
}

}  // namespace

TEST(SharedLibrary, ShowsItsExportsAndNothingElse) {
    std::set<std::string> listed;
    std::istringstream words(textOf(TOLVA_EXPORTS));
    for (std::string word; words >> word;) {
        if (word.back() == ';' && word != "*;" && word != "};") listed.insert(word.substr(0, word.size() - 1));
    }
    std::set<std::string> visible;
    std::istringstream lines(runProgram({.words = {TOLVA_NM, "-D", "--defined-only", TOLVA_LIBRARY}}).out);
    for (std::string address, kind, name; lines >> address >> kind >> name;) visible.insert(name);
    EXPECT_EQ(visible, listed);
    EXPECT_GT(listed.size(), 180u);
}

TEST(SharedLibrary, IsNotMovedByAHostWithTheSameNames) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer's own loader checks are in the way";
#endif
    const Temporary link;  // no path with blanks in it can be preloaded
    ASSERT_EQ(symlink(TOLVA_ODD_NAMES, link), 0);
    Launch host = kHostInC;
    host.before = {"env", "LD_PRELOAD=" + link.path};
    EXPECT_TRUE(same(drawn(host, "191 121"), drawn(kHostInC, "191 121")));
}

TEST(ExampleHosts, DrawTheSamePictureInBandsOfAnyHeightAndByOpcodes) {
    const Bytes whole = drawn(kHostInC, "191 121 1000");
    EXPECT_EQ(sumOf(whole), 0x235616F50215BED2u)
        << "not the landscape that was looked at, or not the same on this machine";
    for (const char* const size : {"191 121", "191 121 1", "191 121 7"}) {
        EXPECT_TRUE(same(decoded(drawn(kHostInC, size)), decoded(whole))) << size;
    }
    if (kHostInPython.words[0].empty()) GTEST_SKIP() << "no Python that could load this library";
    EXPECT_TRUE(same(drawn(kHostInPython, "191 121"), whole));
}

TEST(ExampleHosts, FailuresShowAndHarmNoEarlierFile) {
    for (Launch host : {kHostInC, kHostInPython}) {
        if (host.words[0].empty()) continue;
        const Temporary temporary;
        const std::string folder = temporary.folder + "/" + std::string(150, 'd');
        std::filesystem::create_directory(folder);
        host.folder = folder;
        const auto outcome = [&](const Words& words) {
            Launch launch = host;
            launch.words = launch.words + words;
            const RunResult result = runProgram(launch);
            EXPECT_EQ(result.said.find(".part"), std::string::npos) << result.said;
            return std::to_string(result.status) +
                   (result.said.find("LIBRARY FILE.gif") != std::string::npos ? " usage" : "");
        };
        EXPECT_EQ(outcome("missing/a.gif") + outcome("a.gif eight 8"), "11 usage");
        save(folder + "/a.gif", "earlier");
        std::filesystem::create_symlink("a.gif", folder + "/link.gif");
        host.before = "prlimit --fsize=4096";
        EXPECT_EQ(outcome("link.gif"), "1");
        EXPECT_EQ(textOf(folder + "/a.gif"), "earlier");
        EXPECT_EQ(outcome("link.gif 8 8"), "0");
        EXPECT_EQ(textOf(folder + "/a.gif").substr(0, 6), "GIF89a");
        EXPECT_EQ(runProgram({.words = {"ls", "-F", folder}}).out, "a.gif\nlink.gif@\n");
    }
}
