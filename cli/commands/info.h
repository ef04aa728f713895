// info.h: tolva info: how many pixels will the GIF have?
#ifndef TOLVA_CLI_COMMANDS_INFO_H
#define TOLVA_CLI_COMMANDS_INFO_H

#include "cli/options/options.h"
#include "cli/terminal/messages.h"

namespace cli {

ExitStatus showInfo(const Options& options, const char* programWord);

}  // namespace cli

#endif
