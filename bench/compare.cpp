// compare.cpp: CPU seconds and peak memory of whole processes, side by side: compare TOLVA GIFLIB CGIF PILLOW.py
// PICTURE ... A PGM is written as a palette picture, beside giflib and cgif; a PPM is reduced, beside giflib's gif2rgb
// and Pillow. The least of several runs counts: everything that disturbs a run makes it longer.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

extern char** environ;

namespace {

constexpr int kRuns = 15;

struct Cost {
    double seconds;
    long kilobytes;
};

// With its standard output in a file, for programs that write there.
Cost costOf(std::vector<const char*> command, const char* output = nullptr) {
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    if (output != nullptr) posix_spawn_file_actions_addopen(&files, 1, output, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    command.push_back(nullptr);
    Cost least = {1e9, 0};
    for (int i = 0; i < kRuns; ++i) {
        pid_t child = 0;
        int status = 0;
        rusage used = {};
        if (posix_spawnp(&child, command[0], &files, nullptr, const_cast<char**>(command.data()), environ) != 0)
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

void print(const char* picture, const Cost& ours, const Cost& first, const Cost& second, double pixels) {
    const char* const name = picture + std::string_view(picture).find_last_of('/') + 1;
    std::printf("%-24s %9.2f %9.2f %9.2f %7.2fx %7.2fx %6.2f B/px\n", name, ours.seconds * 1e3, first.seconds * 1e3,
                second.seconds * 1e3, first.seconds / ours.seconds, second.seconds / ours.seconds,
                static_cast<double>(ours.kilobytes) * 1024.0 / pixels);
}

// gif2rgb takes bare pixels: everything behind a PPM's header. In small pieces, because a child's peak counts from what
// this process holds when it starts it.
void writeBarePixels(FILE* picture, long bytes) {
    char piece[65536];
    std::fseek(picture, -bytes, SEEK_END);
    FILE* const bare = std::fopen("bare.rgb", "wb");
    for (size_t got; bare != nullptr && (got = std::fread(piece, 1, sizeof piece, picture)) > 0;) {
        std::fwrite(piece, 1, got, bare);
    }
    if (bare != nullptr) std::fclose(bare);
}

}  // namespace

int main(int count, char** arguments) {
    std::printf("CPU ms, whole process; PGM: giflib, cgif; PPM: gif2rgb, Pillow\n");
    std::printf("%-24s %9s %9s %9s %8s %8s %11s\n", "", "tolva", "first", "second", "faster", "faster", "peak");
    for (int i = 5; i < count; ++i) {
        const char* const picture = arguments[i];
        char kind = 0;
        int width = 0, height = 0;
        FILE* const file = std::fopen(picture, "rb");
        if (file == nullptr || std::fscanf(file, "P%c %d %d", &kind, &width, &height) != 3) return 1;
        const double pixels = static_cast<double>(width) * height;
        if (kind == '6') writeBarePixels(file, static_cast<long>(width) * height * 3);
        std::fclose(file);
        const std::string w = std::to_string(width), h = std::to_string(height);
        const Cost ours = costOf({arguments[1], "-q", "-f", picture, "-o", "ours.gif"});
        const Cost first = kind == '6' ? costOf({"gif2rgb", "-1", "-s", w.c_str(), h.c_str(), "bare.rgb"}, "first.gif")
                                       : costOf({arguments[2], picture, "first.gif"});
        const Cost second = kind == '6' ? costOf({"/usr/bin/python3", arguments[4], picture, "second.gif"})
                                        : costOf({arguments[3], picture, "second.gif"});
        print(picture, ours, first, second, pixels);
    }
    return 0;
}
