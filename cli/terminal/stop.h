// stop.h: the user's request to stop. Readers, the session's status function and the output file ask for it between
// their steps.
#ifndef TOLVA_CLI_TERMINAL_STOP_H
#define TOLVA_CLI_TERMINAL_STOP_H

#include <sys/types.h>

namespace cli {

// SIGINT, SIGTERM, SIGHUP and SIGQUIT become the request to stop, unless whoever started the process had them ignored.
void catchStopSignals();
bool stopRequested();
// Until it ends: how, as wait has it. The request to stop goes on to it.
int waitForChild(pid_t child);

}  // namespace cli

#endif
