// device_road.h: a picture through the raster device, from init to the terminated device: as one cell array, or as
// several in a bracket.
#ifndef TOLVA_CLI_DEVICE_ROAD_H
#define TOLVA_CLI_DEVICE_ROAD_H

#include "cli/library.h"
#include "cli/messages.h"
#include "cli/session.h"

namespace cli {

// A failure of the order's own file is not said here: whoever has the file knows the reason.
ExitStatus driveDevice(const Library& library, const ExportOrder& order, StatusRecord& status);

}  // namespace cli

#endif
