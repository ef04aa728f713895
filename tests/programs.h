// programs.h: programs run by argument vectors, never through a shell: any file may stand under any name. And the
// files that go in and come out.
#ifndef TOLVA_TESTS_PROGRAMS_H
#define TOLVA_TESTS_PROGRAMS_H

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

// An argument vector. A text is split at its blanks; arguments with blanks in them, or empty ones, come as a list.
struct Words : std::vector<std::string> {
    using vector::vector;
    Words(const char* text);
    Words(const std::string& text) : Words(text.c_str()) {}
};
Words operator+(Words words, const Words& more);

// Where a standard stream leads: to one of these, to a descriptor of the test's, or to a file. To `kNobody` is a pipe
// whose other end is closed.
enum : int { kPiped = -1, kClosed = -2, kTerminal = -3, kNobody = -4 };
struct Lead {
    int descriptor = kPiped;
    std::string file = {};
};

struct Launch {
    Words before = {};        // in front: "env INIDIR=ini", "prlimit --fsize=1024", "timeout -s INT 0.5"
    Words words = {};         // the program, a path or a name in PATH, and its arguments
    bool emulated = false;    // by the emulator of builds for another machine
    std::string folder = {};  // in which it runs; the test's own
    std::string input = {};   // what comes through the pipe
    Lead in = {}, out = {}, err = {};
};

struct RunResult {
    int status;        // minus the signal that ended it; 127 when it could not be started
    std::string out;   // what came through the pipe or to the terminal
    std::string said;  // on standard error
};
RunResult runProgram(const Launch& launch);
// A process forked from this one; both outputs are what it said.
RunResult runForked(const std::function<int()>& run);

// A folder of which nothing is left in the end, and the path of a file in it, which is not made.
struct Temporary {
    std::string folder, path;
    Temporary();
    ~Temporary();
    operator const char*() const { return path.c_str(); }
};
std::string textOf(const std::string& path);
void save(const std::string& path, const std::string& text);
// Whether two files are one; where they differ first, if not.
template <class Bytes>
testing::AssertionResult same(const Bytes& got, const Bytes& wanted) {
    if (got == wanted) return testing::AssertionSuccess();
    const auto differs = std::mismatch(got.begin(), got.end(), wanted.begin(), wanted.end()).first;
    return testing::AssertionFailure() << "from byte " << differs - got.begin() << ", of " << got.size() << " and of "
                                       << wanted.size();
}
// FNV-1a, for golden files.
template <class Bytes>
uint64_t sumOf(const Bytes& bytes) {
    uint64_t sum = 0xCBF29CE484222325u;
    for (const auto c : bytes) sum = (sum ^ static_cast<uint8_t>(c)) * 0x100000001B3u;
    return sum;
}
// Of rounds of which each leaves something, two digits a round: which one differs.
inline std::string digitsOf(uint64_t sum) {
    return {"0123456789abcdef"[sum % 251 / 16], "0123456789abcdef"[sum % 251 % 16]};
}
inline void expectRounds(const std::string& got, const std::string& wanted) {
    const auto differs = std::mismatch(got.begin(), got.end(), wanted.begin(), wanted.end()).first;
    EXPECT_EQ(got, wanted) << "first in round " << (differs - got.begin()) / 2;
}

#endif
