// stop.cpp: signals. Owns the flag that they set.

#include "cli/terminal/stop.h"

#include <csignal>

namespace cli {
namespace {

constexpr int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

volatile sig_atomic_t stopFlag = 0;

extern "C" void requestStop(int) { stopFlag = 1; }

}  // namespace

void catchStopSignals() {
    struct sigaction action = {};
    action.sa_handler = requestStop;  // no SA_RESTART: a read that waits for a pipe must come back
    for (const int signal : kStopSignals) {
        struct sigaction before = {};
        sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
    }
    // A reader that goes away and a file size limit show as failed writes, which have a message and an exit status.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

bool stopRequested() { return stopFlag != 0; }

}  // namespace cli
