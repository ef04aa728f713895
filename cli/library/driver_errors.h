// driver_errors.h: the library's error codes in words, and as exit statuses.
#ifndef TOLVA_CLI_LIBRARY_DRIVER_ERRORS_H
#define TOLVA_CLI_LIBRARY_DRIVER_ERRORS_H

#include <cstdint>

#include "cli/terminal/messages.h"

namespace cli {

// Says which step failed; a stop says nothing.
ExitStatus reportDriver(const char* step, int32_t code);

}  // namespace cli

#endif
