// compare.cpp: CPU seconds and peak memory of whole processes, side by side: compare TOLVA GIFLIB CGIF PICTURE.pgm ...
// The least of several runs counts: everything that disturbs a run makes it longer.
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <vector>

extern char** environ;

namespace {

constexpr int kRuns = 15;

struct Cost {
    double seconds;
    long kilobytes;
};

Cost costOf(std::vector<const char*> command) {
    command.push_back(nullptr);
    Cost least = {1e9, 0};
    for (int i = 0; i < kRuns; ++i) {
        pid_t child = 0;
        int status = 0;
        rusage used = {};
        if (posix_spawn(&child, command[0], nullptr, nullptr, const_cast<char**>(command.data()), environ) != 0)
            return {};
        wait4(child, &status, 0, &used);
        if (status != 0) return {};
        const auto seconds = [](timeval t) {
            return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
        };
        least.seconds = std::min(least.seconds, seconds(used.ru_utime) + seconds(used.ru_stime));
        least.kilobytes = std::max(least.kilobytes, used.ru_maxrss);
    }
    return least;
}

}  // namespace

int main(int count, char** arguments) {
    std::printf("%-28s %10s %10s %10s %8s %12s\n", "CPU ms, whole process", "tolva", "giflib", "cgif", "faster",
                "peak");
    for (int i = 4; i < count; ++i) {
        const char* const picture = arguments[i];
        int width = 0, height = 0;
        FILE* const file = std::fopen(picture, "rb");
        if (file == nullptr || std::fscanf(file, "P5 %d %d", &width, &height) != 2) return 1;
        std::fclose(file);
        const Cost ours = costOf({arguments[1], "-q", "-f", picture, "-o", "ours.gif"});
        const Cost giflib = costOf({arguments[2], picture, "giflib.gif"});
        const Cost cgif = costOf({arguments[3], picture, "cgif.gif"});
        const char* const slash = picture + std::string_view(picture).find_last_of('/') + 1;
        std::printf("%-28s %10.2f %10.2f %10.2f %7.2fx %6.2f B/px\n", slash, ours.seconds * 1e3, giflib.seconds * 1e3,
                    cgif.seconds * 1e3, std::min(giflib.seconds, cgif.seconds) / ours.seconds,
                    static_cast<double>(ours.kilobytes) * 1024.0 / width / height);
    }
    return 0;
}
