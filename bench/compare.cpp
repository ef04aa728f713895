// compare.cpp: CPU seconds and peak memory of whole processes, side by side: compare TOLVA GIFLIB CGIF PILLOW.py
// PICTURE ... A PGM is written as a palette picture, beside giflib and cgif; a PPM is reduced without dithering, beside
// giflib's gif2rgb and Pillow. Or two builds of the program, each with an option: compare --against OLD OPTION NEW
// OPTION PICTURE ... The least of several runs counts: everything that disturbs a run makes it longer.
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

// Makes `least` that of one more run, with its standard output in a file for programs that write there. False where it
// fails.
bool runOnce(std::vector<const char*> command, const char* output, Cost& least) {
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    if (output != nullptr) posix_spawn_file_actions_addopen(&files, 1, output, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    command.push_back(nullptr);
    pid_t child = 0;
    int status = 0;
    rusage used = {};
    const int failed = posix_spawnp(&child, command[0], &files, nullptr, const_cast<char**>(command.data()), environ);
    posix_spawn_file_actions_destroy(&files);
    if (failed != 0) return false;
    wait4(child, &status, 0, &used);
    const auto seconds = [](timeval t) { return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6; };
    least.seconds = std::min(least.seconds, seconds(used.ru_utime) + seconds(used.ru_stime));
    least.kilobytes = std::max(least.kilobytes, used.ru_maxrss);
    return status == 0;
}

Cost costOf(const std::vector<const char*>& command, const char* output = nullptr) {
    Cost least = {1e9, 0};
    for (int i = 0; i < kRuns; ++i) {
        if (!runOnce(command, output, least)) return {};
    }
    return least;
}

const char* nameOf(const char* path) { return path + std::string_view(path).find_last_of('/') + 1; }

void print(const char* picture, const Cost& ours, const Cost& first, const Cost& second, double pixels) {
    std::printf("%-24s %9.2f %9.2f %9.2f %7.2fx %7.2fx %6.2f B/px\n", nameOf(picture), ours.seconds * 1e3,
                first.seconds * 1e3, second.seconds * 1e3, first.seconds / ours.seconds, second.seconds / ours.seconds,
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

// The builds take turns, so that what slows the machine down for a while slows both.
int compareBuilds(char** builds, char** pictures) {
    std::printf("CPU ms, whole process\n%-24s %9s %9s %9s %11s %11s\n", "", "old", "new", "new/old", "peak old", "new");
    for (; *pictures != nullptr; ++pictures) {
        Cost least[] = {{1e9, 0}, {1e9, 0}};
        for (int i = 0; i < 2 * kRuns; ++i) {
            char** const build = builds + i % 2 * 2;
            if (!runOnce({build[0], build[1], "-q", "-f", *pictures, "-o", "ours.gif"}, nullptr, least[i % 2]))
                return 1;
        }
        std::printf("%-24s %9.2f %9.2f %8.3fx %8ld KB %8ld KB\n", nameOf(*pictures), least[0].seconds * 1e3,
                    least[1].seconds * 1e3, least[1].seconds / least[0].seconds, least[0].kilobytes,
                    least[1].kilobytes);
    }
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    if (count > 6 && std::string_view(arguments[1]) == "--against") return compareBuilds(arguments + 2, arguments + 6);
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
        const Cost ours = costOf({arguments[1], "-q", "-f", "--dither", "none", picture, "-o", "ours.gif"});
        const Cost first = kind == '6' ? costOf({"gif2rgb", "-1", "-s", w.c_str(), h.c_str(), "bare.rgb"}, "first.gif")
                                       : costOf({arguments[2], picture, "first.gif"});
        const Cost second = kind == '6' ? costOf({"/usr/bin/python3", arguments[4], picture, "second.gif"})
                                        : costOf({arguments[3], picture, "second.gif"});
        print(picture, ours, first, second, pixels);
    }
    return 0;
}
