// bar.cpp: the progress bar. Owns what stands on the terminal's line.

#include "cli/terminal/bar.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <unistd.h>

namespace cli {
namespace {

constexpr size_t kBarCells = 40;
constexpr int kWhole = 100;                         // percent
constexpr int kStageEnds[] = {25, 50, 75, kWhole};  // in the order of Stage
constexpr int kNowhere = -1;

bool barWanted = false;
bool isDrawn = false;
int reached = kNowhere;
int stageStart = 0;
int stageEnd = kWhole;

void drawCells(size_t filled) {
    char cells[kBarCells + 1] = {};
    std::memset(cells, ' ', kBarCells);
    std::memset(cells, '#', filled);
    std::fprintf(stderr, "\r[%s]", cells);
    isDrawn = true;
}

}  // namespace

void startBar(bool wanted) { barWanted = wanted && isatty(STDERR_FILENO) != 0; }

void enterStage(Stage stage) {
    stageStart = std::max(reached, 0);
    stageEnd = kStageEnds[static_cast<int>(stage)];
}

void showPart(uint64_t done, uint64_t whole) {
    if (!barWanted || whole == 0) return;
    const double part = static_cast<double>(std::min(done, whole)) / static_cast<double>(whole);
    const int percent = stageStart + static_cast<int>(part * (stageEnd - stageStart));
    if (percent <= reached) return;  // the bar never goes back
    reached = percent;
    drawCells(static_cast<size_t>(percent) * kBarCells / kWhole);
    std::fprintf(stderr, " %3d %%", percent);
    std::fflush(stderr);
}

void showCount(size_t done, size_t whole, const char* remark) {
    if (!barWanted) return;
    drawCells(done * kBarCells / whole);
    std::fprintf(stderr, " %zu of %zu%s", done, whole, remark);
    std::fflush(stderr);
}

void clearBar() {
    if (!isDrawn) return;
    isDrawn = false;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
}

}  // namespace cli
