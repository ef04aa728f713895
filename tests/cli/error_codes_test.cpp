// error_codes_test.cpp: the codes of calls have a row in the manual and a sentence of the program's, and no others
// have.

#include <set>

#include "cli/library/driver_errors.h"
#include "support.h"

TEST(ErrorCodes, StandInTheManualAndHaveASentence) {
    const std::set<int> codes = {21, 22, 27, 300, 303, 901};
    const std::string manual = textOf(TOLVA_SOURCE "/docs/protocol.md");
    const size_t begin = manual.find("## Errors and replies"), end = manual.find("**The error stack**", begin);
    const std::string table = manual.substr(begin, end - begin);
    for (int code = 1; code < 1000; ++code) {
        testing::internal::CaptureStderr();
        const bool stops = cli::reportDriver("a step", code) == cli::kExitStopped;
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_EQ(stops || said.find("without a meaning") == std::string::npos, codes.count(code) != 0) << code;
        EXPECT_EQ(table.find("\n| " + std::to_string(code) + " |") < table.size(), codes.count(code) != 0) << code;
    }
}
