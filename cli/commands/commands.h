// commands.h: what a command line asks for; each is run once, by main.
#ifndef TOLVA_CLI_COMMANDS_COMMANDS_H
#define TOLVA_CLI_COMMANDS_COMMANDS_H

#include "cli/options/options.h"
#include "cli/terminal/messages.h"

namespace cli {

ExitStatus exportPicture(const Options& options, const char* programWord);
// tolva -d: a folder of GIFs.
ExitStatus exportMany(const Options& options, const char* programWord);
// tolva info: how many pixels will the GIF have?
ExitStatus showInfo(const Options& options, const char* programWord);
// tolva setup show, set, unset and path.
ExitStatus runSetup(const Options& options, const char* programWord);

}  // namespace cli

#endif
