// bar.h: how far an export is, on a terminal.
#ifndef TOLVA_CLI_TERMINAL_BAR_H
#define TOLVA_CLI_TERMINAL_BAR_H

namespace cli {

// Draws only where `wanted` and standard error is a terminal.
void startBar(bool wanted);
void showProgress(int percent);
// Before anything else is printed.
void clearBar();

}  // namespace cli

#endif
