// cost.cpp: what one run of a program costs: cost OUTPUT COMMAND... runs it with its standard output in the file OUTPUT
// and prints CPU milliseconds, user and system, and peak kilobytes. A program of its own, because a child's peak counts
// from what the process holds that starts it.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cstdio>

extern char** environ;

namespace {

double milliseconds(timeval t) { return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_usec) / 1e3; }

}  // namespace

int main(int count, char** words) {
    if (count < 3) return 2;
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 1, words[1], O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t child = 0;
    int status = 0;
    rusage used = {};
    if (posix_spawnp(&child, words[2], &files, nullptr, words + 2, environ) != 0) return 1;
    if (wait4(child, &status, 0, &used) != child || status != 0) return 1;
    std::printf("%.3f %ld\n", milliseconds(used.ru_utime) + milliseconds(used.ru_stime), used.ru_maxrss);
    return 0;
}
