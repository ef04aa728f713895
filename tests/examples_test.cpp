// The example hosts, as somebody runs them who wants to copy from them.
#include "support.h"

namespace {

const Launch kHostInC = {.words = {TOLVA_EXAMPLE_HOST, TOLVA_LIBRARY}, .emulated = true};

Bytes drawn(Launch host, const Words& size) {
    const Temporary file("example.gif");
    host.words = host.words + Words{file.path} + size;
    const RunResult result = runProgram(host);
    EXPECT_EQ(result.status, 0) << result.said;
    EXPECT_NE(result.said.find("100%"), std::string::npos) << result.said;
    return readFile(file.path);
}

}  // namespace

TEST(ExampleHosts, TheOneInCDrawsTheSamePictureInBandsOfAnyHeight) {
    const Bytes whole = drawn(kHostInC, "191 121 1000");
    EXPECT_EQ(sumOf({whole.begin(), whole.end()}), 0x235616F50215BED2u)
        << "not the landscape that was looked at, or not the same on this machine";
    for (const char* const size : {"191 121", "191 121 1", "191 121 7"}) {
        EXPECT_EQ(decoded(drawn(kHostInC, size), {}).pixels, decoded(whole, {}).pixels) << size;
    }
}

#ifdef TOLVA_PYTHON
const Launch kHostInPython = {.words = {TOLVA_PYTHON, TOLVA_EXAMPLES_FOLDER "/host.py", TOLVA_LIBRARY}};
#endif

TEST(ExampleHosts, TheOneInPythonWritesTheSameFileByOpcodes) {
#ifndef TOLVA_PYTHON
    GTEST_SKIP() << "no Python that could load this library";
#else
    EXPECT_EQ(drawn(kHostInPython, "191 121"), drawn(kHostInC, "191 121 1000"));
#endif
}

TEST(ExampleHosts, FailuresShowAndHarmNoEarlierFile) {
    std::vector<Launch> hosts = {kHostInC};
#ifdef TOLVA_PYTHON
    hosts.push_back(kHostInPython);
#endif
    for (Launch& host : hosts) {
        const Temporary folder("examples");
        std::filesystem::create_directory(folder.path);
        host.folder = folder.path;
        host.words.push_back("missing/a.gif");
        EXPECT_EQ(runProgram(host).status, 1);
        save(folder.path + "/a.gif", "earlier");
        host.words.back() = "a.gif";
        host.before = "env --ignore-signal=XFSZ prlimit --fsize=4096";
        EXPECT_EQ(runProgram(host).status, 1);
        EXPECT_EQ(textOf(folder.path + "/a.gif"), "earlier");
        EXPECT_EQ(runProgram({.words = {"ls", folder.path}}).out, "a.gif\n");
    }
}
