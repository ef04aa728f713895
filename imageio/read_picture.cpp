// read_picture.cpp: opens the picture, recognises it by content and hands it to its reader. Called once a picture.

#include "imageio/read_picture.h"

#include <cinttypes>
#include <cstring>
#include <limits>

#include "imageio/input.h"
#include "imageio/readers.h"

namespace imageio {
namespace {

constexpr uint8_t kPngSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr uint8_t kJpegSignature[] = {0xFF, 0xD8, 0xFF};
constexpr uint64_t kMostPixelBytes = std::numeric_limits<uint32_t>::max();

template <size_t Count>
bool beginsWith(const Input& input, const uint8_t (&signature)[Count]) {
    return input.end >= Count && std::memcmp(input.buffer, signature, Count) == 0;
}

bool isPnm(const Input& input) {
    return input.end >= 2 && input.buffer[0] == 'P' && input.buffer[1] >= '1' && input.buffer[1] <= '6';
}

Reason readByContent(Input& input, Picture& picture) {
    if (lookAhead(input, sizeof kPngSignature) == 0) return reportShortRead(input);
    if (isPnm(input)) return readPnm(input, picture);
    const bool isPng = beginsWith(input, kPngSignature);
    if (!isPng && !beginsWith(input, kJpegSignature)) {
        return refuse(input, "not a picture that is read here: PNM (P1 to P6), PNG or JPEG");
    }
#ifdef TOLVA_HAS_PICTURE_LIBRARIES
    return isPng ? readPng(input, picture) : readJpeg(input, picture);
#else
    return refuse(input, "this tolva was built without PNG and JPEG");
#endif
}

}  // namespace

Reason checkExtents(Input& input, uint64_t width, uint64_t height) {
    if (width == 0 || height == 0) return refuse(input, "the picture has no pixels");
    if (width > kLargestExtent || height > kLargestExtent) {
        return refuse(input, "%" PRIu64 " x %" PRIu64 " pixels; the limit is %d in either direction", width, height,
                      kLargestExtent);
    }
    if (width * height > input.request->mostPixels) {
        return refuse(input, "%" PRIu64 " pixels; %s allows %" PRIu64, width * height, input.request->mostPixelsName,
                      input.request->mostPixels);
    }
    return kDone;
}

bool willScale(const Input& input, uint64_t width, uint64_t height) {
    const ReadRequest& request = *input.request;
    if (request.raw || request.willScale == nullptr) return false;
    return request.willScale(static_cast<uint32_t>(width), static_cast<uint32_t>(height), request.asker);
}

bool leaveInFile(Input& input, Picture& picture, uint64_t width, uint64_t height) {
    const uint64_t stride = width * kColourBytes;
    if (stride * height > kMostPixelBytes || !input.request->looksOnly || willScale(input, width, height)) return false;
    if (!mapBytes(input, stride * height, picture.file)) return false;
    picture.width = static_cast<uint32_t>(width);
    picture.height = static_cast<uint32_t>(height);
    picture.stride = static_cast<uint32_t>(stride);
    picture.bitsPerPixel = kColourBits;
    return true;
}

Reason startPicture(Input& input, Picture& picture, uint64_t width, uint64_t height, int32_t bitsPerPixel) {
    const uint64_t bytes = rowBytes(width, bitsPerPixel) * height;
    if (bytes > kMostPixelBytes) {
        return refuse(input, "%" PRIu64 " bytes of pixels; the limit is %" PRIu64, bytes, kMostPixelBytes);
    }
    if (makePicture(picture, static_cast<uint32_t>(width), static_cast<uint32_t>(height), bitsPerPixel)) {
        return kDone;
    }
    return refuse(input, "no memory for the picture's %" PRIu64 " bytes", bytes);
}

Reason readPicture(const char* path, const ReadRequest& request, Picture& picture, std::string& text) {
    static Input input;  // too large for a stack, and one picture is read at a time
    Reason reason = openInput(input, path, request);
    if (reason == kDone) reason = readByContent(input, picture);
    closeInput(input);
    text = reason == kRefused ? input.refusal : "";
    return reason;
}

}  // namespace imageio
