// picture.cpp: limits and memory of a picture. Called by the readers; the one place where extents are multiplied.

#include "cli/picture.h"

#include <cinttypes>
#include <cstdlib>
#include <limits>

#include "raster/raster.h"
#include "settings/settings.h"

namespace cli {
namespace {

constexpr int32_t kIndexBits = 8;
constexpr uint64_t kMostPixelBytes = std::numeric_limits<uint32_t>::max();

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
    // calloc's pages come zeroed from the system and cost nothing until the reader fills them.
    void* const pixels =
        bytes <= std::numeric_limits<size_t>::max() ? std::calloc(static_cast<size_t>(bytes), 1) : nullptr;
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
