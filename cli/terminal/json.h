// json.h: texts as JSON has them.
#ifndef TOLVA_CLI_TERMINAL_JSON_H
#define TOLVA_CLI_TERMINAL_JSON_H

#include <string>
#include <string_view>

namespace cli {

// In quotes. Bytes that are no UTF-8, which file names may have, become the replacement character.
std::string jsonText(std::string_view bytes);

}  // namespace cli

#endif
