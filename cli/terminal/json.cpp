// json.cpp: quotes and escapes. Called by the info command.

#include "cli/terminal/json.h"

#include <cstdint>
#include <cstdio>

#include "cli/terminal/text.h"

namespace cli {
namespace {

constexpr char kReplacement[] = "\\ufffd";

}  // namespace

std::string jsonText(std::string_view bytes) {
    std::string text = "\"";
    while (!bytes.empty()) {
        const char c = bytes[0];
        const size_t length = characterLength(bytes);
        if (c == '"' || c == '\\') {
            text += {'\\', c};
        } else if (static_cast<uint8_t>(c) < ' ') {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
            text += escape;
        } else {
            text += length == 0 ? std::string_view(kReplacement) : bytes.substr(0, length);
        }
        bytes.remove_prefix(length == 0 ? 1 : length);
    }
    return text + '"';
}

}  // namespace cli
