// bar.cpp: the progress bar. Owns what stands on the terminal's line.

#include "cli/terminal/bar.h"

#include <cstdio>
#include <cstring>

#include <unistd.h>

namespace cli {
namespace {

constexpr int kBarCells = 40;
constexpr int kWhole = 100;  // percent
constexpr int kNothingDrawn = -1;

bool barWanted = false;
int drawnPercent = kNothingDrawn;

}  // namespace

void startBar(bool wanted) { barWanted = wanted && isatty(STDERR_FILENO) != 0; }

void showProgress(int percent) {
    // A plain query carries 0 and may come after reports: the bar never goes back.
    if (!barWanted || percent <= drawnPercent || percent > kWhole) return;
    drawnPercent = percent;
    char cells[kBarCells + 1] = {};
    const int filled = percent * kBarCells / kWhole;
    std::memset(cells, ' ', kBarCells);
    std::memset(cells, '#', static_cast<size_t>(filled));
    std::fprintf(stderr, "\r[%s] %3d %%", cells, percent);
    std::fflush(stderr);
}

void clearBar() {
    if (drawnPercent == kNothingDrawn) return;
    drawnPercent = kNothingDrawn;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
}

}  // namespace cli
