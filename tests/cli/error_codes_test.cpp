// error_codes_test.cpp: one list of codes, told in three places: the header's, the manual's and the program's.

#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "cli/library/driver_errors.h"
#include "support.h"

namespace {

// The numbers that stand between `begin` and `end`, each where the pattern has its group.
std::set<int> codesIn(const char* file, const std::string& begin, const std::string& end, const char* pattern) {
    std::stringstream text;
    text << std::ifstream(std::string(TOLVA_SOURCE) + file).rdbuf();
    const size_t from = text.str().find(begin);
    const std::string part = text.str().substr(from, text.str().find(end, from) - from);
    const std::regex code(pattern);
    std::set<int> found;
    for (std::sregex_iterator i(part.begin(), part.end(), code), none; i != none; ++i) found.insert(std::stoi((*i)[1]));
    return found;
}

}  // namespace

TEST(ErrorCodes, StandInTheManualAndHaveASentence) {
    std::set<int> codes = codesIn("/include/tolva/driver.h", "enum TolvaErrorCode {", "};", R"(= (\d+))");
    codes.erase(0);  // no error
    EXPECT_EQ(codes.size(), 6U);
    EXPECT_EQ(codesIn("/docs/protocol.md", "## Errors and replies", "**The error stack**", R"(\n\| (\d+) \|)"), codes);
    std::set<int> told;
    for (int code = 1; code < 1000; ++code) {
        testing::internal::CaptureStderr();
        const bool stops = cli::reportDriver("a step", code) == cli::kExitStopped;
        const std::string said = testing::internal::GetCapturedStderr();
        if (stops || said.find("without a meaning") == std::string::npos) told.insert(code);
    }
    EXPECT_EQ(told, codes);
}
