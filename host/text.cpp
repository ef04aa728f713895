// text.cpp: case mapping, case-insensitive comparison and path splitting of zero-terminated byte strings.

#include <cctype>
#include <cstring>

#include "host/handle.h"

namespace {

int upper(char c) { return std::toupper(static_cast<unsigned char>(c)); }

const char* afterLast(const char* path, char separator) {
    const char* const found = std::strrchr(path, separator);
    return found == nullptr ? nullptr : found + 1;
}

// Behind the last backslash, or if there is none behind the last "/"; null without either.
const char* afterSeparator(const char* path) {
    const char* const behind = afterLast(path, '\\');
    return behind != nullptr ? behind : afterLast(path, '/');
}

}  // namespace

char* strupr(char* text) {
    for (char* p = text; *p != '\0'; ++p) *p = static_cast<char>(upper(*p));
    return text;
}

char* strlower(char* text) {
    for (char* p = text; *p != '\0'; ++p) *p = static_cast<char>(std::tolower(static_cast<unsigned char>(*p)));
    return text;
}

char* strlwr(char* text) { return strlower(text); }

int stricmp(const char* a, const char* b) {
    while (*a != '\0' && *b != '\0' && upper(*a) == upper(*b)) {
        ++a;
        ++b;
    }
    return upper(*b) - upper(*a);
}

int strnicmp(const char* a, const char* b, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        if (upper(a[i]) != upper(b[i])) return upper(b[i]) - upper(a[i]);
    }
    return 0;
}

char* s_getpath(char* destination, const char* path) {
    const char* const name = afterSeparator(path);
    const size_t length = name == nullptr ? 0 : static_cast<size_t>(name - path);
    std::memmove(destination, path, length);
    destination[length] = '\0';
    return destination;
}

char* s_getname(char* destination, const char* path) {
    const char* name = afterSeparator(path);
    if (name == nullptr) name = afterLast(path, ':');
    if (name == nullptr) name = path;
    std::memmove(destination, name, std::strlen(name) + 1);
    char* const dot = std::strrchr(destination, '.');
    if (dot != nullptr) *dot = '\0';
    return destination;
}
