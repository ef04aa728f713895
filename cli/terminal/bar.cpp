// bar.cpp: the progress bar. Owns what stands on the terminal's line.

#include "cli/terminal/bar.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <unistd.h>

namespace cli {
namespace {

constexpr int kBarCells = 40;
constexpr int kWhole = 100;                         // percent
constexpr int kStageEnds[] = {25, 50, 75, kWhole};  // in the order of Stage
constexpr int kNowhere = -1;

bool barWanted = false;
bool isDrawn = false;
int reached = kNowhere;
int stageStart = 0;
int stageEnd = kWhole;

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
    isDrawn = true;
    char cells[kBarCells + 1] = {};
    const int filled = percent * kBarCells / kWhole;
    std::memset(cells, ' ', kBarCells);
    std::memset(cells, '#', static_cast<size_t>(filled));
    std::fprintf(stderr, "\r[%s] %3d %%", cells, percent);
    std::fflush(stderr);
}

void clearBar() {
    if (!isDrawn) return;
    isDrawn = false;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
}

}  // namespace cli
