// picture.cpp: limits and memory of a picture. Called by the readers; the one place where extents are multiplied.

#include "imageio/picture.h"

#include <cinttypes>
#include <cstdlib>
#include <limits>

#include <sys/mman.h>

#include <tolva/raster.h>
#include <tolva/settings.h>

namespace cli {
namespace {

constexpr uint64_t kMostPixelBytes = std::numeric_limits<uint32_t>::max();

constexpr size_t kHugePage = size_t{2} << 20;

// Large pictures lie in huge pages where the system gives them: filling fresh memory costs a fault a page, which for
// small pages is several times what reading the bytes costs.
void* allocPixels(size_t bytes) {
    if (bytes < kHugePage / 2) return std::calloc(bytes, 1);
    void* pixels = nullptr;
    if (posix_memalign(&pixels, kHugePage, bytes) != 0) return nullptr;
    madvise(pixels, bytes, MADV_HUGEPAGE);
    return pixels;
}

}  // namespace

uint32_t rowBytes(uint64_t width, int32_t bitsPerPixel) {
    constexpr uint64_t kRowBits = 8 * kTolvaRowAlignment;
    return static_cast<uint32_t>((width * static_cast<uint64_t>(bitsPerPixel) + kRowBits - 1) / kRowBits *
                                 kTolvaRowAlignment);
}

ExitStatus checkExtents(const char* name, uint64_t width, uint64_t height, uint64_t mostPixels) {
    if (width == 0 || height == 0) return fail(kExitInputRefused, "%s: the picture has no pixels", name);
    if (width > kTolvaLargestExtent || height > kTolvaLargestExtent) {
        return fail(kExitInputRefused, "%s: %" PRIu64 " x %" PRIu64 " pixels; the limit is %d in either direction",
                    name, width, height, kTolvaLargestExtent);
    }
    if (width * height > mostPixels) {
        return fail(kExitInputRefused, "%s: %" PRIu64 " pixels; --max-pixels allows %" PRIu64, name, width * height,
                    mostPixels);
    }
    return kExitDone;
}

ExitStatus makePicture(Picture& picture, const char* name, uint64_t width, uint64_t height, int32_t bitsPerPixel) {
    const uint32_t stride = rowBytes(width, bitsPerPixel);
    const uint64_t bytes = stride * height;
    if (bytes > kMostPixelBytes) {
        return fail(kExitInputRefused, "%s: %" PRIu64 " bytes of pixels; the limit is %" PRIu64, name, bytes,
                    kMostPixelBytes);
    }
    void* const pixels =
        bytes <= std::numeric_limits<size_t>::max() ? allocPixels(static_cast<size_t>(bytes)) : nullptr;
    if (pixels == nullptr) {
        return fail(kExitInputRefused, "%s: no memory for the picture's %" PRIu64 " bytes", name, bytes);
    }
    picture = Picture{.width = static_cast<uint32_t>(width),
                      .height = static_cast<uint32_t>(height),
                      .stride = stride,
                      .bitsPerPixel = bitsPerPixel,
                      .pixels = static_cast<uint8_t*>(pixels),
                      .mask = nullptr,
                      .palette = {},
                      .colours = 0,
                      .transparentIndex = kNoTransparency};
    return kExitDone;
}

void freePicture(Picture& picture) {
    std::free(picture.pixels);
    std::free(picture.mask);
    picture.pixels = picture.mask = nullptr;
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

}  // namespace cli
