// stop.cpp: signals. Owns the flag that they set, and the child that they go on to.

#include "cli/terminal/stop.h"

#include <cerrno>
#include <csignal>

#include <sys/wait.h>

namespace cli {
namespace {

constexpr int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

volatile sig_atomic_t stopFlag = 0;

volatile sig_atomic_t runningChild = 0;
static_assert(sizeof(pid_t) <= sizeof runningChild);

// A terminal tells the child by itself; whoever stops a batch may know this process alone.
extern "C" void requestStop(int) {
    stopFlag = 1;
    if (runningChild > 0) kill(runningChild, SIGTERM);
}

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

int waitForChild(pid_t child) {
    siginfo_t about = {};
    int ended = 0;
    runningChild = child;
    if (stopRequested()) kill(child, SIGTERM);  // it came before that
    while (waitid(P_PID, static_cast<id_t>(child), &about, WEXITED | WNOWAIT) != 0 && errno == EINTR) continue;
    // The number is the child's until it is waited for.
    runningChild = 0;
    while (waitpid(child, &ended, 0) < 0 && errno == EINTR) continue;
    return ended;
}

}  // namespace cli
