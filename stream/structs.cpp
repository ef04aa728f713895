// structs.cpp: whole records by format string. The file side is packed; the memory side is laid out as the machine's
// compiler lays out an ordinary structure, so that a record can be declared as one.

#include <cctype>
#include <cstring>
#include <limits>

#include <tolva/stream.h>
#include "host/handle.h"

using namespace tolva;

namespace {

constexpr int64_t kMostBytes = std::numeric_limits<int32_t>::max();
constexpr int kDeepestUnion = 64;  // nesting beyond this counts as empty: a format must not exhaust the stack

struct Item {
    int64_t count;
    char kind;  // upper case; 0 at the end of the format, also behind trailing digits
};

// Takes one item off the format. Absurd counts stay just large enough to be refused.
Item nextItem(const char** format) {
    const char* p = *format;
    Item item{1, 0};
    if (std::isdigit(static_cast<unsigned char>(*p)) != 0) {
        item.count = 0;
        for (; std::isdigit(static_cast<unsigned char>(*p)) != 0; ++p) {
            if (item.count <= kMostBytes) item.count = item.count * 10 + (*p - '0');
        }
    }
    item.kind = static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
    *format = *p == '\0' ? p : p + 1;
    return item;
}

int32_t widthOf(char kind) {
    switch (kind) {
        case 'C': return 1;
        case 'S': return 2;
        case 'L':
        case 'F': return 4;
        case 'D': return 8;
        default: return 0;
    }
}

int64_t aligned(int64_t offset, int32_t alignment) { return (offset + alignment - 1) / alignment * alignment; }

const char* unionSize(const char* format, int depth, int64_t* size) {
    int64_t running = 0;
    int64_t result = 0;
    const char* p = format + 1;
    while (*p != '\0' && *p != ')') {
        const char* const bracket = p + std::strspn(p, "0123456789");
        const Item item = nextItem(&p);
        if (item.kind == 0 || item.kind == ')') {
            p = item.kind == 0 ? p : p - 1;
            break;
        }
        const int32_t width = widthOf(item.kind);
        if (width != 0) running = aligned(running, width) + item.count * width;
        const bool opens = (item.kind == '{' || item.kind == '(') && depth < kDeepestUnion;
        if (opens) running = aligned(running, GetPadWidth(bracket));
        if (opens && item.kind == '(') {
            int64_t inner = 0;
            p = unionSize(bracket, depth + 1, &inner);
            if (*p == ')') ++p;
            running += inner;
        }
        if (item.kind == '|') {
            // Kept: only a "|" compares, so the alternative behind the last one never counts; hosts' formats end with
            // one where that is the largest.
            if (running > result) result = running;
            running = 0;
        }
        if (running > kMostBytes) running = kMostBytes;
    }
    *size = result;
    return p;
}

// What reading and writing records have in common: a walk over the format that keeps the place in memory.
struct Walk {
    Handle stream;
    uint8_t* memory;   // the buffer's start
    int64_t offset;    // from there, carried across records
    bool zeroPadding;  // readers clear the pad bytes they step over
    bool skipping;
    int32_t last;  // the last transfer's result
};

void align(Walk& walk, int32_t alignment, bool zero) {
    const int64_t to = aligned(walk.offset, alignment);
    if (zero && to > walk.offset) std::memset(walk.memory + walk.offset, 0, static_cast<size_t>(to - walk.offset));
    walk.offset = to;
}

int32_t readItem(Handle stream, void* buffer, char kind, int32_t count) {
    switch (kind) {
        case 'C': return zunReadChar(stream, buffer, count);
        case 'S': return zunReadShort(stream, buffer, count);
        case 'L': return zunReadLong(stream, buffer, count);
        case 'F': return zunReadFloat(stream, buffer, count);
        default: return zunReadDouble(stream, buffer, count);
    }
}

int32_t writeItem(Handle stream, const void* buffer, char kind, int32_t count) {
    switch (kind) {
        case 'C': return zunWriteChar(stream, buffer, count);
        case 'S': return zunWriteShort(stream, buffer, count);
        case 'L': return zunWriteLong(stream, buffer, count);
        case 'F': return zunWriteFloat(stream, buffer, count);
        default: return zunWriteDouble(stream, buffer, count);
    }
}

void transfer(Walk& walk, Item item, bool reading) {
    const int32_t width = widthOf(item.kind);
    // The pad byte in front of a 16-bit item keeps what it holds; wider items clear theirs.
    align(walk, width, walk.zeroPadding && width > 2);
    if (item.count * width > kMostBytes) {
        walk.last = 0;
        return;
    }
    const int32_t count = static_cast<int32_t>(item.count);
    uint8_t* const place = walk.memory + walk.offset;
    if (!walk.skipping) {
        walk.last =
            reading ? readItem(walk.stream, place, item.kind, count) : writeItem(walk.stream, place, item.kind, count);
    }
    walk.offset += item.count * width;
}

// One record. False where the format holds a character that has no meaning in this direction.
bool transferRecord(Walk& walk, const char* format, bool reading) {
    bool understood = true;
    for (const char* p = format; walk.last >= 1;) {
        const char* const bracket = p + std::strspn(p, "0123456789");
        const Item item = nextItem(&p);
        if (item.kind == 0) break;
        if (widthOf(item.kind) != 0) {
            transfer(walk, item, reading);
        } else if (item.kind == '{') {
            align(walk, GetPadWidth(bracket), walk.zeroPadding);
        } else if (item.kind == '[' || item.kind == ']') {
            walk.skipping = item.kind == '[';
        } else if (item.kind == '(' && reading) {
            align(walk, GetPadWidth(bracket), walk.zeroPadding);
            int32_t size = 0;
            p = GetUnionSize(bracket, &size);
            if (*p == ')') ++p;
            walk.offset += size;
        } else if (item.kind == '}' || item.kind == '|' || (reading && (item.kind == ')' || item.kind == 'P'))) {
            continue;
        } else {
            understood = false;
        }
    }
    return understood;
}

int32_t transferRecords(Walk& walk, const char* format, int32_t records, bool reading) {
    const int32_t recordAlign = GetPadWidth(format);
    int32_t result = 0;
    for (int32_t i = 0; i < records && walk.last >= 1; ++i) {
        const int64_t before = walk.offset;
        // Kept: an unknown character makes the count -1 before the record's own 1 is added, so that hosts see fewer
        // records than they asked for. The count is a result and bounds nothing.
        if (!transferRecord(walk, format, reading)) result = -1;
        if (walk.last < 1) break;
        align(walk, recordAlign, walk.zeroPadding);
        ++result;
        // A record without bytes is the same over and over.
        if (walk.offset == before) return result == 0 ? 0 : records;
    }
    return walk.last < 1 ? walk.last : result;
}

}  // namespace

int32_t GetPadWidth(const char* format) {
    int32_t alignment = 1;
    int depth = *format == '{' || *format == '(' ? 0 : 1;
    for (const char* p = format; *p != '\0' && alignment < 8; ++p) {
        if (*p == '{' || *p == '(') ++depth;
        if (*p == '}' || *p == ')') --depth;
        const int32_t width = widthOf(static_cast<char>(std::toupper(static_cast<unsigned char>(*p))));
        if (width > alignment) alignment = width;
        if (depth <= 0) break;
    }
    return alignment;
}

const char* GetUnionSize(const char* format, int32_t* size) {
    int64_t bytes = 0;
    const char* const end = unionSize(format, 0, &bytes);
    *size = static_cast<int32_t>(bytes);
    return end;
}

int32_t zunReadStruct(Handle stream, const char* format, void* buffer, int32_t records) {
    Walk walk{stream, static_cast<uint8_t*>(buffer), 0, true, false, 1};
    return transferRecords(walk, format, records, true);
}

int32_t zunWriteStruct(Handle stream, const char* format, const void* buffer, int32_t records) {
    // The writer only reads through the walk's pointer.
    Walk walk{stream, static_cast<uint8_t*>(const_cast<void*>(buffer)), 0, false, false, 1};
    return transferRecords(walk, format, records, false);
}
