// profile_text.cpp: a profile's lines: cleaned, compared with a section's name, read as numbers.

#include <cctype>
#include <cstring>

#include <tolva/stream.h>
#include "host/handle.h"
#include "host/profile.h"

using namespace tolva;

namespace {

constexpr char kQuote = '"';
constexpr char kComments[] = ";";
constexpr char kSpace = ' ';
constexpr char kHexDigits[] = "0123456789ABCDEF";

// A doubled double quote is one pair: it becomes a single one where quotes are removed, and passes otherwise.
void removeAll(char* text, char unwanted) {
    char* to = text;
    for (const char* from = text; *from != '\0';) {
        if (from[0] == kQuote && from[1] == kQuote) {
            *to++ = kQuote;
            if (unwanted != kQuote) *to++ = kQuote;
            from += 2;
            continue;
        }
        if (*from != unwanted) *to++ = *from;
        ++from;
    }
    *to = '\0';
}

int32_t hexValue(const char* digits) {
    uint32_t value = 0;
    for (; *digits != '\0'; ++digits) {
        const char* const place = std::strchr(kHexDigits, std::toupper(static_cast<unsigned char>(*digits)));
        if (place == nullptr) break;
        value = value * 16 + static_cast<uint32_t>(place - kHexDigits);
    }
    return static_cast<int32_t>(value);
}

}  // namespace

char* CleanProfileLine(char* text, uint32_t keep) {
    removeAll(text, '\r');
    removeAll(text, '\n');
    if ((keep & kTolvaKeepQuotes) == 0) removeAll(text, kQuote);
    if ((keep & kTolvaKeepBrackets) == 0) {
        removeAll(text, '[');
        removeAll(text, ']');
    }
    return TrimProfileChar(CutProfileComment(text), kSpace);
}

char* CutProfileComment(char* text) {
    text[std::strcspn(text, kComments)] = '\0';
    return text;
}

char* TrimProfileChar(char* text, char character) {
    const size_t most = character == kQuote ? 1 : SIZE_MAX;
    size_t length = std::strlen(text);
    size_t start = 0;
    while (start < most && start < length && text[start] == character) ++start;
    for (size_t cut = 0; cut < most && length > start && text[length - 1] == character; ++cut) --length;
    std::memmove(text, text + start, length - start);
    text[length - start] = '\0';
    return text;
}

int32_t ParseProfileNumber(const char* text) {
    if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) return hexValue(text + 2);
    uint32_t value = 0;
    for (; *text >= '0' && *text <= '9'; ++text) value = value * 10 + static_cast<uint32_t>(*text - '0');
    return static_cast<int32_t>(value);
}

namespace tolva {

char* copySectionName(const char* section) { return CleanProfileLine(copyText(section), 0); }

bool readLine(Handle stream, ProfileLine& line) {
    line.length = zunReadLine(stream, line.text, kTolvaProfileLineBytes);
    if (line.length >= 0) line.text[line.length] = '\0';
    return line.length >= 0;
}

bool isHeaderOf(const ProfileLine& line, const char* name) {
    if (!isHeader(line)) return false;
    ProfileLine cleaned = line;
    return stricmp(CleanProfileLine(cleaned.text, 0), name) == 0;
}

}  // namespace tolva
