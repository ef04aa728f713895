// support.h: a folder of its own for every test, and the program run in it through the shell.
#ifndef TOLVA_TESTS_CLI_SUPPORT_H
#define TOLVA_TESTS_CLI_SUPPORT_H

#include <string>
#include <vector>

#include <gtest/gtest.h>

struct RunResult {
    int status;        // -1 when a signal ended it
    std::string said;  // on standard error
};

class Program : public testing::Test {
  protected:
    Program();
    ~Program() override;

    // `words` are the shell's, redirections included; `before` stands in front: "cat a |", "umask 027;".
    RunResult run(const std::string& words, const std::string& before = "");
    std::string path(const std::string& name) const { return folder + "/" + name; }
    void write(const std::string& name, const std::string& bytes) const;
    std::string read(const std::string& name) const;
    bool exists(const std::string& name) const;
    int mode(const std::string& name) const;
    // Of everything in the folder but what `run` itself keeps there.
    std::vector<std::string> names() const;

    std::string folder;
};

// Row by row from the top, every pixel told by its position and a multiplier.
std::string greyMap(int width, int height, int step = 7);
// FNV-1a, for golden files.
uint64_t sumOf(const std::string& bytes);

#endif
