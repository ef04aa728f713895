// tone.h: a picture's colours as the settings' colour mode shows them.
#ifndef TOLVA_CLI_PICTURE_TONE_H
#define TOLVA_CLI_PICTURE_TONE_H

#include "cli/library/library.h"
#include "cli/picture/read.h"
#include "cli/terminal/messages.h"

namespace cli {

// What the driver does with the colours of a cell array; `tone` is kTolvaConvertNothing afterwards.
ExitStatus applyTone(const Library& library, TolvaConversionMode& tone, Picture& picture);

}  // namespace cli

#endif
