// source.h: the picture that a command is about, and the size that its GIF will have.
#ifndef TOLVA_CLI_COMMANDS_SOURCE_H
#define TOLVA_CLI_COMMANDS_SOURCE_H

#include "cli/library/library.h"
#include "cli/library/output_size.h"
#include "cli/options/options.h"
#include "cli/picture/read.h"
#include "cli/settings/profile.h"
#include "cli/terminal/messages.h"

namespace cli {

// A picture that is to be `scaled` where its size says so keeps what makes that better.
ExitStatus readSource(const Options& options, const Library& library, const Settings& settings, bool scaled,
                      Picture& picture);
// Changes the settings where --fit would enlarge.
ExitStatus planSource(const Options& options, const Library& library, const Settings& settings, const Picture& picture,
                      OutputSize& size);

}  // namespace cli

#endif
