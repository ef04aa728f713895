// stop.h: the user's request to stop. Readers, the session's status function and the output file ask for it between
// their steps.
#ifndef TOLVA_CLI_TERMINAL_STOP_H
#define TOLVA_CLI_TERMINAL_STOP_H

namespace cli {

// SIGINT, SIGTERM, SIGHUP and SIGQUIT become the request to stop, unless whoever started the process had them ignored.
void catchStopSignals();
bool stopRequested();

}  // namespace cli

#endif
