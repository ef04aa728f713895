// The shared library as hosts see it.
#include <dlfcn.h>

#include <algorithm>
#include <set>
#include <sstream>

#include "support.h"

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
    const RunResult outcome = runProgram({.words = {TOLVA_ODD_HOST, TOLVA_LIBRARY}, .emulated = true});
    EXPECT_EQ(outcome.out, "init 0, capability 1, called 0, own block untouched\n");
    EXPECT_EQ(outcome.status, 0);
}
