// json_line.h: an object a line on standard output, for --json.
#ifndef TOLVA_CLI_COMMANDS_JSON_LINE_H
#define TOLVA_CLI_COMMANDS_JSON_LINE_H

#include <cstdint>

#include <nlohmann/json.hpp>

#include "cli/terminal/messages.h"

namespace cli {

using Json = nlohmann::ordered_json;

// With the picture's name, and its bytes where they are no UTF-8.
Json pictureObject(const char* picture);
// Null where there are too many to be counted.
Json countedColours(uint32_t colours);
[[nodiscard]] ExitStatus printLine(const Json& object);

}  // namespace cli

#endif
