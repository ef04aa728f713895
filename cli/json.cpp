// json.cpp: quotes and escapes. Called by the info command.

#include "cli/json.h"

#include <cstdint>
#include <cstdio>

namespace cli {
namespace {

constexpr char kReplacement[] = "\\ufffd";

struct Utf8Lead {
    uint8_t mask;
    uint8_t bits;
    uint32_t lowest;  // a smaller code has a shorter form
};

constexpr Utf8Lead kLeads[] = {{0x80, 0x00, 0}, {0xE0, 0xC0, 0x80}, {0xF0, 0xE0, 0x800}, {0xF8, 0xF0, 0x10000}};
constexpr uint32_t kFirstSurrogate = 0xD800;
constexpr uint32_t kLastSurrogate = 0xDFFF;
constexpr uint32_t kLargestCode = 0x10FFFF;

// The bytes of the character that stands first; 0 where none does.
size_t characterLength(std::string_view bytes) {
    const auto byteAt = [bytes](size_t i) { return static_cast<uint8_t>(bytes[i]); };
    size_t length = 1;
    for (const Utf8Lead& lead : kLeads) {
        if ((byteAt(0) & lead.mask) != lead.bits) {
            ++length;
            continue;
        }
        if (bytes.size() < length) return 0;
        uint32_t code = byteAt(0) & ~uint32_t{lead.mask};
        for (size_t i = 1; i < length; ++i) {
            if ((byteAt(i) & 0xC0) != 0x80) return 0;
            code = code << 6 | (byteAt(i) & 0x3FU);
        }
        const bool surrogate = code >= kFirstSurrogate && code <= kLastSurrogate;
        return code < lead.lowest || surrogate || code > kLargestCode ? 0 : length;
    }
    return 0;
}

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
