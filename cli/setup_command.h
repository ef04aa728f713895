// setup_command.h: tolva setup show, set and path.
#ifndef TOLVA_CLI_SETUP_COMMAND_H
#define TOLVA_CLI_SETUP_COMMAND_H

#include "cli/messages.h"
#include "cli/options.h"

namespace cli {

ExitStatus runSetup(const Options& options, const char* programWord);

}  // namespace cli

#endif
