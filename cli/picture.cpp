// picture.cpp: limits and memory of a picture. Called by the readers; the one place where extents are multiplied.

#include "cli/picture.h"

#include <cinttypes>
#include <cstdlib>
#include <limits>

#include <sys/mman.h>

#include "raster/raster.h"
#include "settings/settings.h"

namespace cli {
namespace {

constexpr int32_t kIndexBits = 8;
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

uint64_t paddedRow(uint64_t width) { return (width + kRowAlignment - 1) / kRowAlignment * kRowAlignment; }

}  // namespace

ExitStatus checkExtents(const char* name, uint64_t width, uint64_t height) {
    if (width == 0 || height == 0) return fail(kExitInputRefused, "%s: the picture has no pixels", name);
    if (width > kLargestExtent || height > kLargestExtent) {
        return fail(kExitInputRefused, "%s: %" PRIu64 " x %" PRIu64 " pixels; the limit is %d in either direction",
                    name, width, height, kLargestExtent);
    }
    if (paddedRow(width) * height > kMostPixelBytes) {
        return fail(kExitInputRefused, "%s: %" PRIu64 " bytes of pixels; the limit is %" PRIu64, name,
                    paddedRow(width) * height, kMostPixelBytes);
    }
    return kExitDone;
}

ExitStatus makePicture(Picture& picture, const char* name, uint64_t width, uint64_t height) {
    const uint64_t bytes = paddedRow(width) * height;
    void* const pixels = bytes <= std::numeric_limits<size_t>::max() ? allocPixels(static_cast<size_t>(bytes)) : nullptr;
    if (pixels == nullptr) {
        return fail(kExitInputRefused, "%s: no memory for the picture's %" PRIu64 " bytes", name, bytes);
    }
    picture = Picture{.width = static_cast<uint32_t>(width),
                      .height = static_cast<uint32_t>(height),
                      .stride = static_cast<uint32_t>(paddedRow(width)),
                      .bitsPerPixel = kIndexBits,
                      .pixels = static_cast<uint8_t*>(pixels),
                      .palette = {},
                      .colours = 0,
                      .transparentIndex = kNoTransparency};
    return kExitDone;
}

void freePicture(Picture& picture) {
    std::free(picture.pixels);
    picture.pixels = nullptr;
}

}  // namespace cli
