// orientation.cpp: reads the orientation out of EXIF data, trusting none of its positions, and puts rows in place.
// Called by the JPEG reader.

#include "imageio/orientation.h"

#include <algorithm>
#include <cstring>

namespace imageio {
namespace {

constexpr char kExifName[] = {'E', 'x', 'i', 'f', 0, 0};
constexpr size_t kTiffHeaderBytes = 8;
constexpr size_t kFirstDirectoryAt = 4;
constexpr uint32_t kTiffNumber = 42;
constexpr size_t kEntryBytes = 12;
constexpr size_t kEntryTypeAt = 2;
constexpr size_t kEntryCountAt = 4;
constexpr size_t kEntryValueAt = 8;
constexpr uint32_t kOrientationTag = 0x0112;
constexpr uint32_t kShortType = 3;
constexpr uint32_t kHighestOrientation = 8;

// The TIFF structure inside the segment. Reading outside it gives 0, which is nothing's valid value here.
struct Tiff {
    const uint8_t* bytes;
    size_t size;
    bool bigEndian;
};

uint32_t numberAt(const Tiff& tiff, size_t at, size_t width) {
    if (at > tiff.size || tiff.size - at < width) return 0;
    uint32_t value = 0;
    for (size_t i = 0; i < width; ++i) {
        value = value << 8 | tiff.bytes[at + (tiff.bigEndian ? i : width - 1 - i)];
    }
    return value;
}
uint32_t shortAt(const Tiff& tiff, size_t at) { return numberAt(tiff, at, 2); }
uint32_t longAt(const Tiff& tiff, size_t at) { return numberAt(tiff, at, 4); }

void swapPixels(uint8_t* a, uint8_t* b, size_t bytes) { std::swap_ranges(a, a + bytes, b); }

}  // namespace

int orientationOf(const uint8_t* segment, size_t size) {
    if (size < sizeof kExifName + kTiffHeaderBytes) return kNoOrientation;
    if (std::memcmp(segment, kExifName, sizeof kExifName) != 0) return kNoOrientation;
    Tiff tiff = {segment + sizeof kExifName, size - sizeof kExifName, segment[sizeof kExifName] == 'M'};
    const uint8_t mark = tiff.bigEndian ? 'M' : 'I';
    if (tiff.bytes[0] != mark || tiff.bytes[1] != mark || shortAt(tiff, 2) != kTiffNumber) return kNoOrientation;
    const size_t directory = longAt(tiff, kFirstDirectoryAt);
    const uint32_t entries = shortAt(tiff, directory);
    for (uint32_t i = 0; i < entries; ++i) {
        const size_t entry = directory + 2 + i * kEntryBytes;
        if (shortAt(tiff, entry) != kOrientationTag) continue;
        const uint32_t value = shortAt(tiff, entry + kEntryValueAt);
        const bool good = shortAt(tiff, entry + kEntryTypeAt) == kShortType &&
                          longAt(tiff, entry + kEntryCountAt) == 1 && value >= kUpright && value <= kHighestOrientation;
        return good ? static_cast<int>(value) : kNoOrientation;
    }
    return kNoOrientation;
}

uint8_t* rowOfFile(const Picture& picture, uint32_t y, int orientation) {
    const bool fromTop = orientation == 1 || orientation == 2;
    return rowFromTop(picture, fromTop ? y : picture.height - 1 - y);
}

void mirrorRow(const Picture& picture, uint8_t* row, int orientation) {
    if (orientation != 2 && orientation != 3) return;
    const auto bytes = static_cast<size_t>(picture.bitsPerPixel / 8);
    uint8_t* right = row + (picture.width - 1) * bytes;
    for (uint8_t* left = row; left < right; left += bytes, right -= bytes) swapPixels(left, right, bytes);
}

void placeColumns(const Picture& picture, const uint8_t* rows, size_t stride, uint32_t y, uint32_t count,
                  int orientation) {
    const auto bytes = static_cast<size_t>(picture.bitsPerPixel / 8);
    const bool fromLeft = orientation == 5 || orientation == 8;
    const bool fromTop = orientation == 5 || orientation == 6;
    for (uint32_t x = 0; x < picture.height; ++x) {
        uint8_t* const row = rowFromTop(picture, fromTop ? x : picture.height - 1 - x);
        for (uint32_t k = 0; k < count; ++k) {
            const uint32_t column = fromLeft ? y + k : picture.width - 1 - y - k;
            uint8_t* const to = row + column * bytes;
            const uint8_t* const from = rows + k * stride + x * bytes;
            to[0] = from[0];
            if (bytes == 1) continue;
            to[1] = from[1];
            to[2] = from[2];
        }
    }
}

}  // namespace imageio
