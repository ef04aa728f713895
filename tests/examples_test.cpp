// The example hosts, as somebody runs them who wants to copy from them.
#include <unistd.h>

#include "support.h"

namespace {

const std::string kHostInC = TOLVA_EMULATOR " " TOLVA_EXAMPLE_HOST;

Bytes drawn(const std::string& host, const std::string& size) {
    const std::string path = temporaryPath("example.gif");
    const Outcome outcome = runProgram(host + " " TOLVA_LIBRARY " " + path + size + " 2>&1");
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_NE(outcome.out.find("100%"), std::string::npos) << outcome.out;
    const Bytes gif = readFile(path);
    unlink(path.c_str());
    return gif;
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
    EXPECT_EQ(drawn(TOLVA_PYTHON " " TOLVA_EXAMPLES_FOLDER "/host.py", " 191 121"), drawn(kHostInC, " 191 121 1000"));
#endif
}

TEST(ExampleHosts, FailuresShow) {
    EXPECT_NE(runProgram(kHostInC + " " TOLVA_LIBRARY " /nowhere/at/all.gif 2>&1").status, 0);
    const std::string path = temporaryPath("example.gif");
    EXPECT_NE(runProgram("trap '' XFSZ; ulimit -f 8; " + kHostInC + " " TOLVA_LIBRARY " " + path + " 2>&1").status, 0);
    EXPECT_NE(access(path.c_str(), F_OK), 0) << "a GIF without an end was left";
}
