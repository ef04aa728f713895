// json_line.cpp: what the objects of all commands have in common. Called by the info command and for many pictures.

#include "cli/commands/json_line.h"

#include <cstdio>
#include <string>
#include <string_view>

#include <tolva/quantize.h>
#include "cli/terminal/text.h"

namespace cli {
namespace {

bool isUtf8(std::string_view bytes) {
    while (!bytes.empty()) {
        const size_t length = characterLength(bytes);
        if (length == 0) return false;
        bytes.remove_prefix(length);
    }
    return true;
}

std::string hexOf(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(static_cast<uint8_t>(c)));
        text += digits;
    }
    return text;
}

}  // namespace

Json pictureObject(const char* picture) {
    Json object = {{"picture", picture}};
    if (!isUtf8(picture)) object["path_hex"] = hexOf(picture);
    return object;
}

Json countedColours(uint32_t colours) { return colours < kTolvaManyColours ? Json(colours) : Json(); }

// Bytes that are no UTF-8 become replacement characters.
ExitStatus printLine(const Json& object) {
    std::puts(object.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
    return flushOutput();
}

}  // namespace cli
