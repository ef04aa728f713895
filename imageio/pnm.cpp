// pnm.cpp: the portable any-map formats P1 to P6, strictly. Called by readPicture. Bit maps become two colours, grey
// maps a ramp of as many greys as their maximum says; both go through to the GIF without loss. Samples of more than 8
// bits are brought to bytes, or to 16 bits where the picture will be scaled.

#include <algorithm>
#include <cctype>
#include <cstring>
#include <limits>

#include "imageio/readers.h"

namespace imageio {
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
    kRawColours = '6',
    kAnyMap = '7'  // not read here
};

constexpr uint32_t kColourSamples = 3;
constexpr uint32_t kWideSamplesAtOnce = 1024;

struct Header {
    Kind kind;
    uint64_t width;
    uint64_t height;
    uint32_t maximum;  // of a sample; 1 for bit maps
    bool deep;         // samples come as 16 bits
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

Reason reportBadText(Input& input, const char* what) {
    if (input.ended || isStopped(input)) return reportShortRead(input);
    return refuse(input, "the PNM file's %s cannot be read", what);
}

bool isBits(Kind kind) { return kind == kPlainBits || kind == kRawBits; }
bool isColours(Kind kind) { return kind == kPlainColours || kind == kRawColours; }

// Greys of up to 8 bits stay as they are and get a palette that scales them.
bool areScaled(const Header& header) { return isColours(header.kind) || header.maximum > kByteMaximum; }

// Samples that are bytes and stay what they are.
bool lieAsTheyWill(const Header& header) {
    return (header.kind == kRawGreys || header.kind == kRawColours) && header.maximum == kByteMaximum;
}

template <class Sample>
Sample scaled(uint64_t value, uint32_t maximum) {
    constexpr uint64_t kWhole = std::numeric_limits<Sample>::max();
    return static_cast<Sample>((value * 2 * kWhole + maximum) / (uint64_t{2} * maximum));
}

void putSample(const Header& header, uint8_t* row, uint32_t place, uint32_t value) {
    if (!header.deep) {
        row[place] = scaled<uint8_t>(value, header.maximum);
        return;
    }
    const uint16_t sample = scaled<uint16_t>(value, header.maximum);
    const uint16_t grey[] = {sample, sample, sample};
    if (isColours(header.kind)) {
        std::memcpy(row + size_t{place} * sizeof sample, &sample, sizeof sample);
    } else {
        std::memcpy(row + size_t{place} * sizeof grey, grey, sizeof grey);
    }
}

Reason readHeader(Input& input, Header& header) {
    nextByte(input);
    header.kind = static_cast<Kind>(nextByte(input));
    header.width = nextNumber(input);
    header.height = header.width == kNoNumber ? kNoNumber : nextNumber(input);
    const uint64_t maximum = header.height == kNoNumber ? kNoNumber : isBits(header.kind) ? 1 : nextNumber(input);
    if (maximum == kNoNumber || maximum == 0 || maximum > kLargestMaximum) return reportBadText(input, "header");
    header.maximum = static_cast<uint32_t>(maximum);
    if (const Reason failed = checkExtents(input, header.width, header.height)) return failed;
    header.deep = header.maximum > kByteMaximum && willScale(input, header.width, header.height);
    return kDone;
}

int32_t bitsPerPixel(const Header& header) {
    if (header.deep) return kDeepBits;
    return isColours(header.kind) ? kColourBits : kIndexBits;
}

// The fewest bytes that can hold the pixels: plain numbers need one each, and one between them.
uint64_t fewestBytes(const Header& header) {
    const uint64_t pixels = header.width * header.height;
    const uint64_t samples = isColours(header.kind) ? kColourSamples * pixels : pixels;
    switch (header.kind) {
        case kPlainBits: return pixels;
        case kRawBits: return (header.width + 7) / 8 * header.height;
        case kPlainGreys:
        case kPlainColours: return 2 * samples - 1;
        default: return header.maximum > kByteMaximum ? 2 * samples : samples;
    }
}

void setPalette(Picture& picture, const Header& header) {
    if (isColours(header.kind) || header.deep) return;
    if (areScaled(header)) return setGreyRamp(picture);
    picture.colours = header.maximum + 1;
    if (isBits(header.kind)) {
        picture.palette[0] = kWhite;
        picture.palette[1] = kBlack;
        return;
    }
    for (uint32_t level = 0; level <= header.maximum; ++level) {
        const auto grey = scaled<uint8_t>(level, header.maximum);
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

bool readPlainSamples(Input& input, const Header& header, uint8_t* row, uint32_t count) {
    const bool scales = areScaled(header);
    for (uint32_t i = 0; i < count; ++i) {
        const uint64_t level = nextNumber(input);
        if (level > header.maximum) return false;
        const auto value = static_cast<uint32_t>(level);
        if (scales) {
            putSample(header, row, i, value);
        } else {
            row[i] = static_cast<uint8_t>(value);
        }
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

bool readWideSamples(Input& input, const Header& header, uint8_t* row, uint32_t count) {
    uint8_t bytes[2 * kWideSamplesAtOnce];
    for (uint32_t done = 0; done < count;) {
        const uint32_t some = std::min(count - done, kWideSamplesAtOnce);
        if (!readBytes(input, bytes, size_t{2} * some)) return false;
        for (uint32_t i = 0; i < some; ++i) {
            const uint32_t value = uint32_t{bytes[2 * i]} << 8 | bytes[2 * i + 1];
            if (value > header.maximum) return false;
            putSample(header, row, done + i, value);
        }
        done += some;
    }
    return true;
}

bool readRawSamples(Input& input, const Header& header, uint8_t* row, uint32_t count) {
    if (header.maximum > kByteMaximum) return readWideSamples(input, header, row, count);
    if (!readBytes(input, row, count)) return false;
    const bool scales = areScaled(header);
    for (uint32_t i = 0; i < count; ++i) {
        if (row[i] > header.maximum) return false;
        if (scales) row[i] = scaled<uint8_t>(row[i], header.maximum);
    }
    return true;
}

bool readRow(Input& input, const Header& header, uint8_t* row, uint32_t width) {
    switch (header.kind) {
        case kPlainBits: return readPlainBits(input, row, width);
        case kRawBits: return readRawBits(input, row, width);
        case kPlainGreys: return readPlainSamples(input, header, row, width);
        case kPlainColours: return readPlainSamples(input, header, row, width * kColourSamples);
        case kRawGreys: return readRawSamples(input, header, row, width);
        default: return readRawSamples(input, header, row, width * kColourSamples);
    }
}

Reason readPixels(Input& input, const Header& header, Picture& picture) {
    if (lieAsTheyWill(header)) {
        const size_t bytes = size_t{picture.width} * (isColours(header.kind) ? kColourSamples : 1);
        const auto stride = static_cast<ptrdiff_t>(picture.stride);
        const bool whole = readRows(input, rowFromTop(picture, 0), -stride, bytes, picture.height);
        return whole ? kDone : reportShortRead(input);
    }
    for (uint32_t y = 0; y < picture.height; ++y) {
        if (!readRow(input, header, rowFromTop(picture, y), picture.width)) return reportBadText(input, "pixels");
    }
    return kDone;
}

Reason readIntoMemory(Input& input, const Header& header, Picture& picture) {
    if (const Reason failed = startPicture(input, picture, header.width, header.height, bitsPerPixel(header))) {
        return failed;
    }
    setPalette(picture, header);
    return readPixels(input, header, picture);
}

// Files of this format may simply follow one another. A pipe is waited for: whether it brings more must not depend on
// who is faster.
void warnOfMorePictures(Input& input) {
    if (nextVisible(input) != 'P') return;
    const int digit = nextByte(input);
    if (digit >= kPlainBits && digit <= kAnyMap) warn(input, "several pictures; the first is taken");
}

}  // namespace

Reason readPnm(Input& input, Picture& picture) {
    Header header = {};
    if (const Reason failed = readHeader(input, header)) return failed;
    if (!canHold(input, fewestBytes(header))) return reportShortRead(input);
    const bool mayStay = isColours(header.kind) && lieAsTheyWill(header);
    if (!mayStay || !leaveInFile(input, picture, header.width, header.height)) {
        if (const Reason failed = readIntoMemory(input, header, picture)) return failed;
    }
    warnOfMorePictures(input);
    return doneUnlessStopped(input);
}

}  // namespace imageio
