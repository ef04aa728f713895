// text.h: bytes of anybody's making, names above all, as text that can be printed.
#ifndef TOLVA_CLI_TERMINAL_TEXT_H
#define TOLVA_CLI_TERMINAL_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace cli {

// The bytes of the UTF-8 character that stands first; 0 where none does.
size_t characterLength(std::string_view bytes);
// Control characters, and bytes that are no UTF-8, as \xNN: a name can neither drive the terminal nor end a line.
std::string shownText(std::string_view bytes);

}  // namespace cli

#endif
