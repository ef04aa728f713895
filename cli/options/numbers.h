// numbers.h: numbers in the user's words. The whole text counts, and the limits are part of the question.
#ifndef TOLVA_CLI_OPTIONS_NUMBERS_H
#define TOLVA_CLI_OPTIONS_NUMBERS_H

#include <charconv>
#include <cstring>

namespace cli {

// NaN fails: it is within no limits.
template <class Number>
bool parseNumber(const char* begin, const char* end, Number lowest, Number highest, Number& number) {
    const std::from_chars_result result = std::from_chars(begin, end, number);
    return result.ec == std::errc() && result.ptr == end && number >= lowest && number <= highest;
}

template <class Number>
bool parseNumber(const char* text, Number lowest, Number highest, Number& number) {
    return parseNumber(text, text + std::strlen(text), lowest, highest, number);
}

}  // namespace cli

#endif
