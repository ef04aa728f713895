// progress.h: the user's side of a running export: the bar on a terminal, and the wish to stop. The session's status
// function asks and tells both; readers and the output file ask for the wish between their steps.
#ifndef TOLVA_CLI_TERMINAL_PROGRESS_H
#define TOLVA_CLI_TERMINAL_PROGRESS_H

namespace cli {

// SIGINT, SIGTERM, SIGHUP and SIGQUIT become the wish to stop, unless whoever started the process had them ignored.
void catchStopSignals();
bool stopWished();

// Draws only where `wanted` and standard error is a terminal.
void startBar(bool wanted);
void showProgress(int percent);
// Before anything else is printed.
void clearBar();

}  // namespace cli

#endif
