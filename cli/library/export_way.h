// export_way.h: a picture handed over whole, without a device.
#ifndef TOLVA_CLI_LIBRARY_EXPORT_WAY_H
#define TOLVA_CLI_LIBRARY_EXPORT_WAY_H

#include "cli/library/library.h"
#include "cli/library/session.h"
#include "cli/terminal/messages.h"

namespace cli {

// The library reports next to nothing on this way, so the order's own file is what knows of a failed write. Nothing
// converts colours on this way, so the picture comes in the colours that are to be shown.
ExitStatus exportWhole(const Library& library, const ExportOrder& order, TolvaStatusRecord& status);

}  // namespace cli

#endif
