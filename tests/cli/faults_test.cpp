// faults_test.cpp: every system call of the program failing in turn, and each opening of a stream by its library.

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

#include "../faults.h"
#include "cli/output/system_calls.h"
#include "support.h"

namespace {

using Calls = cli::SystemCalls;

struct Runtime {
    FILE* (*open)(const char* path, const char* mode);
} runtime;
bool isUnderTest = false;
char* const inTmp = reinterpret_cast<char*>(&calls) + sizeof calls;  // the name of a temporary file

const std::string kProfile = "[TOLVA]\n~Mode=Mine\n[Mine]\nDriver=D\nWidth=2.000\n", kOutput = "standard output";
struct Scenario {
    const char* words;
    std::string file, old;
    bool noRename = false;
};
void PrintTo(const Scenario& scenario, std::ostream* to) { *to << scenario.words; }

}  // namespace

// The library's.
extern "C" FILE* fopen64(const char* path, const char* mode) {
    static const Runtime real = {reinterpret_cast<decltype(Runtime::open)>(dlsym(RTLD_NEXT, "fopen64"))};
    return (isUnderTest ? runtime : real).open(path, mode);
}

class ProgramFaults : public Program, public testing::WithParamInterface<Scenario> {};

TEST_P(ProgramFaults, LoseNothingAndLeaveNothing) {
    const Calls before = cli::systemCalls;
    Calls& table = cli::systemCalls;
    table.makeTemporary = [](char* pattern) {
        const int file = mkstemp(pattern);
        if (std::string(pattern).starts_with("/tmp/")) std::snprintf(inTmp, 64, "%s", pattern);
        return file;
    };
    kinds = 0;
    runtime.open = reinterpret_cast<decltype(Runtime::open)>(dlsym(RTLD_NEXT, "fopen64"));
    plant<Runtime, Does::kNothing, &Runtime::open>(runtime);
    plant<Calls, Does::kNothing, &Calls::open, &Calls::makeTemporary, &Calls::readLink, &Calls::rename,
          &Calls::renameToNew, &Calls::duplicate, &Calls::enter, &Calls::lock, &Calls::seek, &Calls::takeRoom,
          &Calls::setOwner, &Calls::setMode, &Calls::openStream, &Calls::seekStream, &Calls::readStream>(table);
    plant<Calls, Does::kAll, &Calls::close, &Calls::closeStream>(table);
    plant<Calls, Does::kHalf, &Calls::read, &Calls::readAt, &Calls::writeStream>(table);
    const int firstThatUndoes = kinds;  // what cannot be written at all cannot be put back
    plant<Calls, Does::kHalf, &Calls::write>(table);
    plant<Calls, Does::kNothing, &Calls::resize>(table);
    const int firstThatRemoves = kinds;  // or does not find what to remove
    plant<Calls, Does::kNothing, &Calls::lookAt, &Calls::lookInto, &Calls::remove>(table);

    const Scenario& given = GetParam();
    std::filesystem::create_directory(path("ini"));
    setenv("INIDIR", "ini", 1);
    write("a.pgm", greyMap(64, 64));
    write("libtolva.ini", kProfile);
    std::filesystem::create_symlink("made", path("link"));
    std::string right;
    failEach([&] {
        if (given.old.empty()) unlink(path(given.file).c_str());
        if (!given.old.empty()) write(given.file, given.old);
        const RunResult result = runHere(given.words, [&] {
            isUnderTest = true;
            if (given.noRename) cli::systemCalls.rename = [](int, const char*, const char*) { return -1; };
        });
        const std::string now = given.file == kOutput && result.status == 0 ? result.said : read(given.file);
        if (fault.kind < 0) right = now;
        EXPECT_TRUE(fault.kind >= 0 || result.status == 0) << result.said;
        EXPECT_TRUE(result.status == 0 || !result.said.empty());
        if (result.status == 0) {
            EXPECT_TRUE(same(now, right));
        } else if (!given.noRename || !fault.stays || fault.kind < firstThatUndoes) {
            EXPECT_TRUE(same(now, given.old)) << result.said;
            EXPECT_TRUE(exists(given.file) != given.old.empty() || fault.kind >= firstThatRemoves);
        }
        EXPECT_EQ(read("libtolva.ini"), kProfile);
        const bool strays = access(inTmp, F_OK) == 0 || names().front()[0] == '.';
        EXPECT_TRUE(!strays || fault.kind >= firstThatRemoves);
    });
    cli::systemCalls = before;
}
INSTANTIATE_TEST_SUITE_P(Export, ProgramFaults,
                         testing::Values(Scenario{"-q a.pgm -f -o a.gif", "a.gif", "earlier"},
                                         Scenario{"-q a.pgm --no-profile -o a.gif", "a.gif", ""},
                                         Scenario{"-q a.pgm -f -o a.gif --write-by-library", "a.gif", "earlier"},
                                         Scenario{"-q a.pgm -f -o a.gif --road bracket", "a.gif", "earlier"},
                                         Scenario{"-q a.pgm -f -o a.gif --road export", "a.gif", "earlier"},
                                         Scenario{"-q a.pgm --no-profile -o -", kOutput, ""}));
INSTANTIATE_TEST_SUITE_P(Setup, ProgramFaults,
                         testing::Values(Scenario{"-q setup set width 3", "ini/libtolva.ini", kProfile},
                                         Scenario{"-q setup set width 3", "ini/libtolva.ini", kProfile, true},
                                         Scenario{"-q setup set width 3 --profile link", "made", ""}));
