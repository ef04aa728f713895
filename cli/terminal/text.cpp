// text.cpp: what may be printed as it is. Called by messages, and by the commands that print names.

#include "cli/terminal/text.h"

#include <cstdint>

namespace cli {
namespace {

struct Utf8Lead {
    uint8_t mask;
    uint8_t bits;
    uint32_t lowest;  // a smaller code has a shorter form
};

constexpr Utf8Lead kLeads[] = {{0x80, 0x00, 0}, {0xE0, 0xC0, 0x80}, {0xF0, 0xE0, 0x800}, {0xF8, 0xF0, 0x10000}};
constexpr uint32_t kFirstSurrogate = 0xD800;
constexpr uint32_t kLastSurrogate = 0xDFFF;
constexpr uint32_t kLargestCode = 0x10FFFF;

constexpr uint8_t kDelete = 0x7F;
constexpr uint8_t kHighControlsLead = 0xC2;  // of U+0080 to U+009F, which terminals take for escape sequences
constexpr uint8_t kFirstBehindHighControls = 0xA0;
constexpr char kDigits[] = "0123456789ABCDEF";

uint8_t byteAt(std::string_view bytes, size_t i) { return static_cast<uint8_t>(bytes[i]); }

bool isControl(std::string_view character) {
    const uint8_t first = byteAt(character, 0);
    if (character.size() == 1) return first < ' ' || first == kDelete;
    return character.size() == 2 && first == kHighControlsLead && byteAt(character, 1) < kFirstBehindHighControls;
}

}  // namespace

size_t characterLength(std::string_view bytes) {
    size_t length = 1;
    for (const Utf8Lead& lead : kLeads) {
        if ((byteAt(bytes, 0) & lead.mask) != lead.bits) {
            ++length;
            continue;
        }
        if (bytes.size() < length) return 0;
        uint32_t code = byteAt(bytes, 0) & ~uint32_t{lead.mask};
        for (size_t i = 1; i < length; ++i) {
            if ((byteAt(bytes, i) & 0xC0) != 0x80) return 0;
            code = code << 6 | (byteAt(bytes, i) & 0x3FU);
        }
        const bool surrogate = code >= kFirstSurrogate && code <= kLastSurrogate;
        return code < lead.lowest || surrogate || code > kLargestCode ? 0 : length;
    }
    return 0;
}

std::string shownText(std::string_view bytes) {
    std::string text;
    while (!bytes.empty()) {
        const size_t length = characterLength(bytes);
        const std::string_view character = bytes.substr(0, length == 0 ? 1 : length);
        bytes.remove_prefix(character.size());
        if (length != 0 && !isControl(character)) {
            text += character;
            continue;
        }
        for (size_t i = 0; i < character.size(); ++i) {
            const uint8_t byte = byteAt(character, i);
            text += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 0xF]};
        }
    }
    return text;
}

}  // namespace cli
