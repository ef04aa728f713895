// setup.h: tolva setup show, set and path.
#ifndef TOLVA_CLI_COMMANDS_SETUP_H
#define TOLVA_CLI_COMMANDS_SETUP_H

#include "cli/options/options.h"
#include "cli/terminal/messages.h"

namespace cli {

ExitStatus runSetup(const Options& options, const char* programWord);

}  // namespace cli

#endif
