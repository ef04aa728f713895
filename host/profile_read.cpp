// profile_read.cpp: looking up a key's value, listing a section's keys, and values that are numbers.

#include <algorithm>
#include <cstring>

#include <tolva/stream.h>
#include "host/handle.h"
#include "host/profile.h"

using namespace tolva;

namespace {

// The caller's buffer and what has been answered so far.
struct Answer {
    char* buffer;      // may be null: lengths alone are asked for
    int32_t size;      // bytes that may be written
    int32_t position;  // of the next name
    int32_t count;
};

// Writes what fits between `at` and the end of the buffer.
void store(const Answer& answer, int32_t at, const char* text, int32_t length) {
    if (answer.buffer == nullptr || at >= answer.size) return;
    std::memcpy(answer.buffer + at, text, static_cast<size_t>(std::min(length, answer.size - at)));
}

// Kept: the default may be longer than the buffer, and its whole length is answered: hosts see by it that the buffer
// was too short. What does not fit is not written.
void answerDefault(Answer& answer, const char* fallback) {
    if (answer.buffer == nullptr) return;
    std::memset(answer.buffer, 0, static_cast<size_t>(answer.size));
    answer.count = static_cast<int32_t>(std::strlen(fallback));
    store(answer, 0, fallback, answer.count);
}

// Kept: no terminator behind the value, so that a longer default shows its tail; profiles are written with that in mind
// (settings/load_profile.cpp).
void answerValue(Answer& answer, char* value) {
    TrimProfileChar(value, '"');
    answer.count = std::min(static_cast<int32_t>(std::strlen(value)), answer.size);
    store(answer, 0, value, answer.count);
}

// False when the name was the first that did not fit: the rest of its section is then passed over.
bool answerName(Answer& answer, const char* name) {
    constexpr char kEnd[] = {'\0', '\0'};
    const int32_t length = static_cast<int32_t>(std::strlen(name));
    if (answer.position + length + 1 < answer.size) {
        store(answer, answer.position, name, length);
        store(answer, answer.position + length, kEnd, sizeof kEnd);
        answer.position += length + 1;
        answer.count += length;
        return true;
    }
    if (answer.position < answer.size) {
        store(answer, answer.position, name, length);
        // A buffer of one byte has no byte before it to be zeroed.
        const int32_t ending = std::max(answer.size - static_cast<int32_t>(sizeof kEnd), 0);
        store(answer, ending, kEnd, sizeof kEnd);
        answer.position = answer.size;
        answer.count = answer.size - 1;
        return false;
    }
    // Kept: a name that is only counted counts one more than its length; hosts ask with too small a buffer and allocate
    // what is answered.
    answer.count = std::max(answer.count, 1) + length + 1;
    return true;
}

// The value behind the first "="; the key is cut off in place. Null for a line that is no key.
char* splitKey(char* text) {
    char* const equals = std::strchr(text, '=');
    if (equals == nullptr) return nullptr;
    *equals = '\0';
    return equals + 1;
}

// Reads the lines of one section. True when the value was found.
bool scanSection(Handle stream, const char* key, Answer& answer) {
    for (ProfileLine line; readLine(stream, line);) {
        // Kept: the header that ends a section is consumed here and starts none itself, as when the file is rewritten:
        // of a section that is repeated at once hosts read and change the first.
        if (isHeader(line)) return false;
        char* const name = CleanProfileLine(line.text, kTolvaKeepBrackets | kTolvaKeepQuotes);
        char* const value = splitKey(name);
        if (value == nullptr) continue;
        if (key == nullptr) {
            if (!answerName(answer, name)) return false;
        } else if (stricmp(name, key) == 0) {
            answerValue(answer, value);
            return true;
        }
    }
    return false;
}

void scanProfile(Handle stream, const char* section, const char* key, Answer& answer) {
    char* const name = copySectionName(section);
    bool found = false;
    // A name of which nothing is left is that of no section: empty lines are passed over, headers among them.
    for (ProfileLine line; name[0] != '\0' && !found && readLine(stream, line);) {
        if (isHeaderOf(line, name)) found = scanSection(stream, key, answer);
    }
    zunPtrGlobalFree(name);
}

}  // namespace

int32_t GetPrivateProfileString(const char* section, const char* key, const char* fallback, char* buffer, int32_t size,
                                const char* file) {
    if (section == nullptr || section[0] == '\0' || fallback == nullptr) return 0;
    Answer answer = {buffer, std::max(size, 0), 0, 0};
    answerDefault(answer, fallback);
    char* path = nullptr;
    const Handle stream = openProfile(file, kTolvaReadFile, &path);
    if (stream == 0) return answer.count;
    zunPtrGlobalFree(path);
    scanProfile(stream, section, key, answer);
    zunClose(stream);
    return answer.count;
}

int32_t GetProfileString(const char* section, const char* key, const char* fallback, char* buffer, int32_t size) {
    return GetPrivateProfileString(section, key, fallback, buffer, size, kDefaultProfile);
}

int32_t GetPrivateProfileInt(const char* section, const char* key, int32_t fallback, const char* file) {
    char text[kTolvaProfileNumberBytes + 1];
    text[kTolvaProfileNumberBytes] = '\0';
    const int32_t count = GetPrivateProfileString(section, key, "", text, kTolvaProfileNumberBytes, file);
    return count == 0 ? fallback : ParseProfileNumber(text);
}

int32_t GetProfileInt(const char* section, const char* key, int32_t fallback) {
    return GetPrivateProfileInt(section, key, fallback, kDefaultProfile);
}
