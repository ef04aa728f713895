// support.cpp: running the program under test, by its emulator where there is one.

#include "support.h"

#include <cstdlib>
#include <filesystem>

#include <unistd.h>

#include "cli/program.h"

namespace files = std::filesystem;

Program::Program() {
    // The user's settings and screen are not the tests'.
    unsetenv("INIDIR");
    unsetenv("DISPLAYINFO");
}

RunResult Program::run(const Words& words, Launch launch) {
    launch.words = Words{TOLVA_PROGRAM} + words;
    launch.emulated = true;
    launch.folder = folder;
    return runProgram(launch);
}

RunResult Program::runHere(const Words& words, const std::function<void()>& prepare) {
    Words all = Words{TOLVA_PROGRAM} + words;
    std::vector<char*> arguments;
    for (std::string& word : all) arguments.push_back(word.data());
    return runForked([&] {
        prepare();
        std::filesystem::current_path(folder);
        return cli::runProgram(static_cast<int>(arguments.size()), arguments.data());
    });
}

Words Program::unprivileged() {
    static const Words words = "setpriv --reuid=65534 --regid=65534 --clear-groups";
    const Launch trial = {.before = words, .words = {TOLVA_PROGRAM, "--version"}, .emulated = true};
    return geteuid() == 0 && runProgram(trial).status == 0 ? words : Words();
}

bool Program::exists(const std::string& name) const { return files::exists(files::symlink_status(path(name))); }

int Program::mode(const std::string& name) const { return static_cast<int>(files::status(path(name)).permissions()); }

std::vector<std::string> Program::names() const {
    std::vector<std::string> found;
    for (const auto& entry : files::directory_iterator(folder)) found.push_back(entry.path().filename());
    std::sort(found.begin(), found.end());
    return found;
}

std::string greys(int width, int height) {
    std::string bytes;
    for (int i = 0; i < width * height; ++i) {
        const int x = i % width, y = i / width;
        bytes += static_cast<char>((x * 7 + y * 31 + x * y) % 256);
    }
    return bytes;
}

std::string greyMap(int width, int height) {
    return "P5\n" + std::to_string(width) + " " + std::to_string(height) + "\n255\n" + greys(width, height);
}
