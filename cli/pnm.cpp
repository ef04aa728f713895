// pnm.cpp: the portable any-map formats P1 to P6, strictly. Called by readPicture. Bit maps become two colours, grey
// maps a ramp of as many greys as their maximum says; both go through to the GIF without loss.

#include <cctype>

#include "cli/progress.h"
#include "cli/read_picture.h"

namespace cli {
namespace {

constexpr uint64_t kSaturatedNumber = 1'000'000'000;  // far beyond every limit, and still printable in a message
constexpr uint32_t kLargestMaximum = 65535;
constexpr uint32_t kByteMaximum = 255;
constexpr uint64_t kNoNumber = UINT64_MAX;
constexpr Colour kWhite = {255, 255, 255};
constexpr Colour kBlack = {0, 0, 0};

enum Kind : uint8_t {  // the format's digit
    kPlainBits = '1',
    kPlainGreys = '2',
    kPlainColours = '3',
    kRawBits = '4',
    kRawGreys = '5',
    kRawColours = '6'
};

struct Header {
    Kind kind;
    uint64_t width;
    uint64_t height;
    uint32_t maximum;  // of a grey; 1 for bit maps
};

// A comment reads as the line's end that closes it, wherever it starts.
int nextCharacter(Input& input) {
    int c = nextByte(input);
    if (c != '#') return c;
    while (c != '\n' && c != '\r' && c != kNoMoreBytes) c = nextByte(input);
    return c;
}

int nextVisible(Input& input) {
    int c = nextCharacter(input);
    while (c != kNoMoreBytes && std::isspace(c) != 0) c = nextCharacter(input);
    return c;
}

// Takes the one character behind the number too, which must be white space or the file's end. Saturates, so that any
// number of digits is safe.
uint64_t nextNumber(Input& input) {
    int c = nextVisible(input);
    if (std::isdigit(c) == 0) return kNoNumber;
    uint64_t value = 0;
    for (; std::isdigit(c) != 0; c = nextCharacter(input)) {
        if (value < kSaturatedNumber) value = value * 10 + static_cast<uint64_t>(c - '0');
    }
    return c == kNoMoreBytes || std::isspace(c) != 0 ? value : kNoNumber;
}

ExitStatus reportBadText(const Input& input, const char* what) {
    if (input.ended || stopWished()) return reportShortRead(input);
    return fail(kExitInputRefused, "%s: the PNM file's %s cannot be read", input.name, what);
}

bool isBits(Kind kind) { return kind == kPlainBits || kind == kRawBits; }

ExitStatus readHeader(Input& input, Header& header) {
    nextByte(input);
    header.kind = static_cast<Kind>(nextByte(input));
    header.width = nextNumber(input);
    header.height = header.width == kNoNumber ? kNoNumber : nextNumber(input);
    const uint64_t maximum = header.height == kNoNumber ? kNoNumber : isBits(header.kind) ? 1 : nextNumber(input);
    if (maximum == kNoNumber || maximum == 0 || maximum > kLargestMaximum) return reportBadText(input, "header");
    header.maximum = static_cast<uint32_t>(maximum);
    if (header.kind == kPlainColours || header.kind == kRawColours) {
        return fail(kExitInputRefused, "%s: true-colour pictures are not taken yet", input.name);
    }
    if (maximum > kByteMaximum) return fail(kExitInputRefused, "%s: greys of 16 bits are not taken yet", input.name);
    return checkExtents(input.name, header.width, header.height);
}

// The fewest bytes that can hold the pixels: plain numbers need one each, and one between them.
uint64_t fewestBytes(const Header& header) {
    const uint64_t pixels = header.width * header.height;
    switch (header.kind) {
        case kRawBits:
            return (header.width + 7) / 8 * header.height;
        case kPlainGreys:
            return 2 * pixels - 1;
        default:
            return pixels;
    }
}

void setPalette(Picture& picture, const Header& header) {
    picture.colours = header.maximum + 1;
    if (isBits(header.kind)) {
        picture.palette[0] = kWhite;
        picture.palette[1] = kBlack;
        return;
    }
    for (uint32_t level = 0; level <= header.maximum; ++level) {
        const auto grey = static_cast<uint8_t>((level * 2 * kByteMaximum + header.maximum) / (2 * header.maximum));
        picture.palette[level] = Colour{grey, grey, grey};
    }
}

// ---- One row each; false where it cannot be read ----

bool readPlainBits(Input& input, uint8_t* row, uint32_t width) {
    for (uint32_t x = 0; x < width; ++x) {
        const int c = nextVisible(input);
        if (c != '0' && c != '1') return false;
        row[x] = static_cast<uint8_t>(c - '0');
    }
    return true;
}

bool readPlainGreys(Input& input, uint8_t* row, uint32_t width, uint32_t maximum) {
    for (uint32_t x = 0; x < width; ++x) {
        const uint64_t level = nextNumber(input);
        if (level > maximum) return false;
        row[x] = static_cast<uint8_t>(level);
    }
    return true;
}

bool readRawBits(Input& input, uint8_t* row, uint32_t width) {
    // The packed bits come into the row's own end and are spread from its start: a byte is read before the pixels that
    // are written reach it.
    const uint32_t packed = (width + 7) / 8;
    uint8_t* const bits = row + (width - packed);
    if (!readBytes(input, bits, packed)) return false;
    for (uint32_t x = 0; x < width; x += 8) {
        const uint8_t byte = bits[x / 8];
        for (uint32_t k = 0; k < 8 && x + k < width; ++k) row[x + k] = (byte >> (7 - k)) & 1;
    }
    return true;
}

bool readRawGreys(Input& input, uint8_t* row, uint32_t width, uint32_t maximum) {
    if (!readBytes(input, row, width)) return false;
    if (maximum == kByteMaximum) return true;
    for (uint32_t x = 0; x < width; ++x) {
        if (row[x] > maximum) return false;
    }
    return true;
}

bool readRow(Input& input, const Header& header, uint8_t* row, uint32_t width) {
    switch (header.kind) {
        case kPlainBits:
            return readPlainBits(input, row, width);
        case kPlainGreys:
            return readPlainGreys(input, row, width, header.maximum);
        case kRawBits:
            return readRawBits(input, row, width);
        default:
            return readRawGreys(input, row, width, header.maximum);
    }
}

}  // namespace

ExitStatus readPnm(Input& input, Picture& picture) {
    Header header = {};
    ExitStatus status = readHeader(input, header);
    if (status != kExitDone) return status;
    if (!canHold(input, fewestBytes(header))) return reportShortRead(input);
    status = makePicture(picture, input.name, header.width, header.height);
    if (status != kExitDone) return status;
    setPalette(picture, header);
    for (uint32_t y = 0; y < picture.height; ++y) {
        if (!readRow(input, header, rowFromTop(picture, y), picture.width)) return reportBadText(input, "pixels");
    }
    return kExitDone;
}

}  // namespace cli
