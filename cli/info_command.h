// info_command.h: tolva info: how many pixels will the GIF have?
#ifndef TOLVA_CLI_INFO_COMMAND_H
#define TOLVA_CLI_INFO_COMMAND_H

#include "cli/messages.h"
#include "cli/options.h"

namespace cli {

ExitStatus showInfo(const Options& options, const char* programWord);

}  // namespace cli

#endif
