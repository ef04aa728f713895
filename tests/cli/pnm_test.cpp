// pnm_test.cpp: what the PNM reader refuses and what it leaves in the file, and that every build makes the same GIF of
// the same picture.

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iomanip>
#include <sstream>

#include "support.h"

namespace {

std::function<void()> whenMapped, whenRowsAreLeft;

}  // namespace

extern "C" off_t lseek64(int file, off_t offset, int from) noexcept {
    static const auto real = reinterpret_cast<decltype(&lseek64)>(dlsym(RTLD_NEXT, "lseek64"));
    if (from == SEEK_SET && whenMapped) whenMapped();
    return real(file, offset, from);
}
extern "C" int madvise(void* at, size_t bytes, int advice) noexcept {
    if (advice == MADV_DONTNEED && whenRowsAreLeft) whenRowsAreLeft();
    return static_cast<int>(syscall(SYS_madvise, at, bytes, advice));
}

class PnmReader : public Program {};
class GoldenFiles : public Program {};

TEST_F(PnmReader, RefusesWithStatus3AndTheReason) {
    const std::pair<std::string, const char*> refused[] = {
        {"", "ends before"},
        {"P", "not a picture"},
        {"P5", "ends before"},
        {"P5\n4 4\n255\n123456789012345", "ends before"},
        {"P5\n4x4\n255\n1234567890123456", "header"},
        {"P5\n4 4\n0\n1234567890123456", "header"},
        {"P5\n4 4\n65536\n1234567890123456", "header"},
        {"P5\n0 4\n255\n", "no pixels"},
        {"P5\n2 2\n256\n\001\002\003", "ends before"},
        {"P5\n2 1\n256\n\001\001\001\001", "pixels"},
        {"P5\n20000 10001\n255\n", "--max-pixels"},
        {"P5\n65536 1\n255\n", "65535"},
        {"P5\n1 99999999999999999999\n255\n", "65535"},
        {"P5\n2 2\n9\n\x01\x02\x03\x0A", "pixels"},
        {"P2\n2 2\n9\n1 2 3 10 ", "pixels"},
        {"P1\n2 2\n0 1 2 1", "pixels"},
        {"P4\n9 2\n\x01\x02\x03", "ends before"},
        {"P6\n1 2\n53\n123456789", "pixels"},
    };
    for (const auto& [bytes, reason] : refused) {
        write("a.pnm", bytes);
        // A pipe's size is not known beforehand, so the end comes as a surprise there.
        for (const RunResult& result : {run("a.pnm -o a.gif"), run("- -o a.gif", {.input = read("a.pnm")})}) {
            EXPECT_EQ(result.status, 3) << bytes;
            EXPECT_NE(result.said.find(reason), std::string::npos) << bytes << "\n" << result.said;
        }
    }
    // Said before memory is asked for.
    write("a.pnm", "P6 65535 65535 255\n");
    EXPECT_NE(run("a.pnm -o a.gif --max-pixels 4294967295").said.find("ends before"), std::string::npos);
    EXPECT_EQ(names(), std::vector<std::string>{"a.pnm"});
}

TEST_F(PnmReader, TakesTheFirstPictureOfSeveralAndSaysSo) {
    for (const std::string& picture : {greyMap(5, 4), std::string("P2 2 1 9 1 2\n")}) {
        for (const std::string more : {"", "\n", "\nP", "Q5", "P7\n", "\nP1\n"}) {
            const RunResult result = run("- -f -o a.gif", {.input = picture + more});
            EXPECT_EQ(result.status, 0) << more;
            EXPECT_EQ(result.said.find("first is taken") != std::string::npos, more.size() > 2) << more << result.said;
        }
    }
}

TEST_F(PnmReader, LeavesLargePicturesInTheirFilesWhichMayChangeMeanwhile) {
    const std::string picture = "P6 500 400 255\n" + greys(1500, 400);
    write("a.ppm", picture + "P6\n");
    for (const std::string words :
         {"-f -o ", "-f --colours 9 -o ", "-f --tone invert -o ", "-f --transparent 000306 -o "}) {
        const RunResult here = run(words + "a.gif a.ppm");
        EXPECT_EQ(here.status, 0) << here.said;
        EXPECT_NE(here.said.find("first is taken"), std::string::npos) << here.said;
        EXPECT_EQ(run(words + "b.gif -", {.input = picture}).status, 0);
        EXPECT_TRUE(same(read("a.gif"), read("b.gif"))) << words;
    }
    using Happens = std::function<void()>;
    const auto runWhen = [&](Happens& when, const Happens& happens, const std::string& words) {
        return runHere(words, [&] { when = happens; });
    };
    const std::string old = read("a.gif"), all = "-f a.ppm -o a.gif";
    const Happens cut = [&] { EXPECT_EQ(truncate(path("a.ppm").c_str(), 300000), 0); };
    const Happens rewrite = [&] {  // as long as it was
        write("a.ppm", picture);
        std::filesystem::last_write_time(path("a.ppm"),
                                         std::filesystem::file_time_type::clock::now() + std::chrono::hours(1));
    };
    for (Happens* const when : {&whenMapped, &whenRowsAreLeft}) {
        for (const Happens& happens : {cut, rewrite}) {
            write("a.ppm", picture);
            const RunResult changed = runWhen(*when, happens, when == &whenMapped ? "info a.ppm" : all);
            EXPECT_EQ(changed.status, 3);
            EXPECT_NE(changed.said.find("a.ppm: was changed"), std::string::npos) << changed.said;
            EXPECT_TRUE(same(read("a.gif"), old));
        }
    }
    const RunResult whole = runWhen(
        whenRowsAreLeft, [] {}, all);
    EXPECT_EQ(whole.status, 0) << whole.said;
    // Not the file's. Sanitizers have a status of their own.
    const int other = runWhen(
                          whenRowsAreLeft, [] { raise(SIGBUS); }, all)
                          .status;
    EXPECT_TRUE(other != 0 && other != 3) << other;
    EXPECT_EQ(names(), (std::vector<std::string>{"a.gif", "a.ppm", "b.gif"}));
}

// A sum and the words for it a line. After a change that is meant to change files, renewed by
// TOLVA_RENEW=1 build/release/tests/cli/cli_tests --gtest_filter=GoldenFiles.*
TEST_F(GoldenFiles, AreTheSameOnEveryBuild) {
    std::string scene = "P6 300 200 255\n", noise = scene;  // smooth, with an edge and a little noise; and all colours
    for (int i = 0; i < 300 * 200; ++i) {
        const int x = i % 300, y = i / 300,
                  level = (x - 150) * (x - 150) + (y - 99) * (y - 99) < 4400 ? 190 : x / 3 + y / 4;
        for (const int c : {1, 4, 9}) {
            scene += static_cast<char>(level + c + i * c % 5);
            noise += static_cast<char>((static_cast<uint32_t>(i * 9 + c) * 2654435761u) >> 24);
        }
    }
    write("scene.ppm", scene);
    write("noise.ppm", noise);
    write("deep.ppm", "P6 150 200 65535\n" + noise.substr(15));
    write("a.pgm", greyMap(61, 47));
    write("a.ppm", "P6\n40 30\n255\n" + greys(120, 30));
    const std::string list = TOLVA_SOURCE "/tests/golden.txt";
    std::istringstream lines(textOf(list));
    std::ostringstream renewed;
    uint64_t sum = 0;
    for (std::string words; lines >> std::hex >> sum && std::getline(lines, words);) {
        ASSERT_EQ(run("-f -o a.gif" + words).status, 0) << words;
        const uint64_t got = sumOf(read("a.gif"));
        renewed << std::hex << std::setw(16) << std::setfill('0') << got << words << '\n';
        EXPECT_TRUE(got == sum || std::getenv("TOLVA_RENEW") != nullptr) << words;
    }
    EXPECT_NE(sum, 0u) << "an empty list";
    if (std::getenv("TOLVA_RENEW") != nullptr) save(list, renewed.str());
}
