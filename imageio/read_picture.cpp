// read_picture.cpp: opens the picture, recognises it by content and hands it to its reader. Called once a picture.

#include "imageio/read_picture.h"

#include <cstring>

namespace cli {
namespace {

constexpr uint8_t kPngSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr uint8_t kJpegSignature[] = {0xFF, 0xD8, 0xFF};

template <size_t Count>
bool beginsWith(const Input& input, const uint8_t (&signature)[Count]) {
    return input.end >= Count && std::memcmp(input.buffer, signature, Count) == 0;
}

bool isPnm(const Input& input) {
    return input.end >= 2 && input.buffer[0] == 'P' && input.buffer[1] >= '1' && input.buffer[1] <= '6';
}

ExitStatus readByContent(Input& input, const ReadWishes& wishes, Picture& picture) {
    if (lookAhead(input, sizeof kPngSignature) == 0) return reportShortRead(input);
    if (isPnm(input)) return readPnm(input, wishes, picture);
    const bool isPng = beginsWith(input, kPngSignature);
    if (!isPng && !beginsWith(input, kJpegSignature))
        return fail(kExitInputRefused, "%s: not a picture that is read here: PNM (P1 to P6), PNG or JPEG", input.name);
#ifdef TOLVA_HAS_PICTURE_LIBRARIES
    return isPng ? readPng(input, wishes, picture) : readJpeg(input, wishes, picture);
#else
    return fail(kExitInputRefused, "%s: this tolva was built without PNG and JPEG", input.name);
#endif
}

}  // namespace

ExitStatus readPicture(const char* path, const ReadWishes& wishes, Picture& picture) {
    static Input input;  // too large for a stack, and one picture is read at a time
    picture.pixels = picture.mask = nullptr;
    ExitStatus status = openInput(input, path);
    if (status == kExitDone) status = readByContent(input, wishes, picture);
    closeInput(input);
    if (status != kExitDone) freePicture(picture);
    return status;
}

}  // namespace cli
