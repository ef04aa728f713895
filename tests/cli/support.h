// support.h: a folder of its own for every test, and the program run in it.
#ifndef TOLVA_TESTS_CLI_SUPPORT_H
#define TOLVA_TESTS_CLI_SUPPORT_H

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../programs.h"

class Program : public testing::Test, Temporary {
  protected:
    Program();

    // `words` are the program's arguments; the rest of `launch` is as the test wants it.
    RunResult run(const Words& words, Launch launch = {});
    // In a process forked from the test's, where what `prepare` does to the program's table of system calls stands;
    // both outputs are what it said.
    RunResult runHere(const Words& words, const std::function<void()>& prepare);
    using Temporary::folder;
    std::string path(const std::string& name) const { return folder + "/" + name; }
    void write(const std::string& name, const std::string& bytes) const { save(path(name), bytes); }
    std::string read(const std::string& name) const { return textOf(path(name)); }
    bool exists(const std::string& name) const;
    int mode(const std::string& name) const;
    std::vector<std::string> names() const;  // of everything in the folder
    // What makes nobody of root; nothing where the tests are somebody else's, or nobody cannot reach the program.
    static Words unprivileged();
};

// Row by row from the top, every pixel told by its position.
std::string greys(int width, int height);
std::string greyMap(int width, int height);

#endif
