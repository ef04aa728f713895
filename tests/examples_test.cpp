// The example hosts, as somebody runs them who wants to copy from them.
#include <unistd.h>

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
    const Bytes whole = drawn(kHostInC, " 191 121 1000");
    uint64_t sum = 0;
    for (const uint8_t b : whole) sum = sum * 0x100000001B3u + b;
    EXPECT_EQ(sum, 0x94A3C21131063629u) << "not the landscape that was looked at, or not the same on this machine";
    for (const char* const size : {" 191 121", " 191 121 1", " 191 121 7"}) {
        EXPECT_EQ(decoded(drawn(kHostInC, size), {}).pixels, decoded(whole, {}).pixels) << size;
    }
}

TEST(ExampleHosts, TheOneInPythonWritesTheSameFileByOpcodes) {
#ifndef TOLVA_PYTHON
    GTEST_SKIP() << "no Python that could load this library";
#else
    EXPECT_EQ(drawn({.words = {TOLVA_PYTHON, TOLVA_EXAMPLES_FOLDER "/host.py", TOLVA_LIBRARY}}, "191 121"),
              drawn(kHostInC, "191 121 1000"));
#endif
}

TEST(ExampleHosts, FailuresShow) {
    Launch host = kHostInC;
    host.words.push_back("/nowhere/at/all.gif");
    EXPECT_EQ(runProgram(host).status, 1);
    const Temporary file("example.gif");
    host.words.back() = file.path;
    host.before = "env --ignore-signal=XFSZ prlimit --fsize=4096";
    EXPECT_EQ(runProgram(host).status, 1);
    EXPECT_NE(access(file, F_OK), 0) << "a GIF without an end was left";
}
