// device_way.h: a picture through the raster device, from init to the terminated device: as one cell array, or as
// several in a bracket.
#ifndef TOLVA_CLI_LIBRARY_DEVICE_WAY_H
#define TOLVA_CLI_LIBRARY_DEVICE_WAY_H

#include "cli/library/library.h"
#include "cli/library/session.h"
#include "cli/terminal/messages.h"

namespace cli {

// A failure of the order's own file is not said here: whoever has the file knows the reason.
ExitStatus driveDevice(const Library& library, const ExportOrder& order, TolvaStatusRecord& status);

}  // namespace cli

#endif
