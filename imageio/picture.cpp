// picture.cpp: memory of a picture; the one place where its extents are multiplied.

#include "imageio/picture.h"

#include <cstdlib>
#include <cstring>
#include <limits>

#include <sys/mman.h>

namespace imageio {
namespace {

constexpr uint64_t kRowAlignment = 4;
constexpr size_t kHugePage = size_t{2} << 20;
constexpr size_t kMostBytes = std::numeric_limits<size_t>::max() / 2;  // nobody can have more

// Large pictures lie in huge pages where the system gives them: filling fresh memory costs a fault a page, which for
// small pages is several times what reading the bytes costs.
void* allocPixels(size_t bytes) {
    if (bytes < kHugePage / 2) return std::calloc(bytes, 1);
    const size_t rest = bytes % kHugePage;
    if (rest > kHugePage / 2 && bytes < kMostBytes) bytes += kHugePage - rest;  // most of one is cheaper as a whole
    void* pixels = nullptr;
    if (posix_memalign(&pixels, kHugePage, bytes) != 0) return nullptr;
    madvise(pixels, bytes, MADV_HUGEPAGE);
    return pixels;
}

}  // namespace

uint32_t rowBytes(uint64_t width, int32_t bitsPerPixel) {
    constexpr uint64_t kRowBits = 8 * kRowAlignment;
    return static_cast<uint32_t>((width * static_cast<uint64_t>(bitsPerPixel) + kRowBits - 1) / kRowBits *
                                 kRowAlignment);
}

bool makePicture(Picture& picture, uint32_t width, uint32_t height, int32_t bitsPerPixel) {
    picture.width = width;
    picture.height = height;
    picture.bitsPerPixel = bitsPerPixel;
    picture.stride = rowBytes(width, bitsPerPixel);
    const uint64_t bytes = uint64_t{picture.stride} * height;
    if (bytes > std::numeric_limits<size_t>::max()) return false;
    picture.pixels = static_cast<uint8_t*>(allocPixels(static_cast<size_t>(bytes)));
    return picture.pixels != nullptr;
}

Picture::~Picture() {
    unmapFile(file);
    std::free(pixels);
    std::free(mask);
    std::free(alpha);
}

void setGreyRamp(Picture& picture) {
    picture.colours = kPaletteEntries;
    for (uint32_t level = 0; level < kPaletteEntries; ++level) {
        const auto grey = static_cast<uint8_t>(level);
        picture.palette[level] = Colour{grey, grey, grey};
    }
}

bool makeMask(Picture& picture) {
    if (picture.mask != nullptr) return true;
    picture.mask = static_cast<uint8_t*>(std::calloc(picture.height, rowBytes(picture.width, kMaskBits)));
    return picture.mask != nullptr;
}

void dropMask(Picture& picture) {
    std::free(picture.mask);
    picture.mask = nullptr;
}

bool makeAlpha(Picture& picture) {
    if (picture.alpha != nullptr) return true;
    const uint64_t bytes = uint64_t{rowBytes(picture.width, kIndexBits)} * picture.height;
    if (bytes > std::numeric_limits<size_t>::max()) return false;
    picture.alpha = static_cast<uint8_t*>(allocPixels(static_cast<size_t>(bytes)));
    if (picture.alpha == nullptr) return false;
    std::memset(picture.alpha, kOpaque, static_cast<size_t>(bytes));
    return true;
}

void dropAlpha(Picture& picture) {
    std::free(picture.alpha);
    picture.alpha = nullptr;
}

}  // namespace imageio
