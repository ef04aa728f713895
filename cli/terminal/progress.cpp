// progress.cpp: signals and the progress bar. Owns the stop flag and what stands on the terminal's line.

#include "cli/terminal/progress.h"

#include <csignal>
#include <cstdio>
#include <cstring>

#include <unistd.h>

namespace cli {
namespace {

constexpr int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr int kBarCells = 40;
constexpr int kWhole = 100;  // percent
constexpr int kNothingDrawn = -1;

volatile sig_atomic_t stopFlag = 0;
bool barWanted = false;
int drawnPercent = kNothingDrawn;

extern "C" void wishToStop(int) { stopFlag = 1; }

}  // namespace

void catchStopSignals() {
    struct sigaction action = {};
    action.sa_handler = wishToStop;  // no SA_RESTART: a read that waits for a pipe must come back
    for (const int signal : kStopSignals) {
        struct sigaction before = {};
        sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
    }
    // A reader that goes away and a file size limit show as failed writes, which have a message and an exit status.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

bool stopWished() { return stopFlag != 0; }

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
