// read_picture.cpp: opens the picture, recognises it by content and hands it to its reader. Called once a picture.

#include "cli/read_picture.h"

#include <cstring>

namespace cli {
namespace {

constexpr uint8_t kPngSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

bool isPng(const Input& input) {
    return input.end >= sizeof kPngSignature && std::memcmp(input.buffer, kPngSignature, sizeof kPngSignature) == 0;
}

bool isPnm(const Input& input) {
    return input.end >= 2 && input.buffer[0] == 'P' && input.buffer[1] >= '1' && input.buffer[1] <= '6';
}

ExitStatus readByContent(Input& input, const ReadWishes& wishes, Picture& picture) {
    if (lookAhead(input, sizeof kPngSignature) == 0) return reportShortRead(input);
    if (isPnm(input)) return readPnm(input, picture);
    if (!isPng(input))
        return fail(kExitInputRefused, "%s: not a picture that is read here: PNM (P1 to P6) or PNG", input.name);
#ifdef TOLVA_HAS_PNG
    return readPng(input, wishes, picture);
#else
    static_cast<void>(wishes);
    return fail(kExitInputRefused, "%s: this tolva was built without PNG", input.name);
#endif
}

}  // namespace

ExitStatus readPicture(const char* path, const ReadWishes& wishes, Picture& picture) {
    static Input input;  // too large for a stack, and one picture is read at a time
    picture.pixels = nullptr;
    ExitStatus status = openInput(input, path);
    if (status == kExitDone) status = readByContent(input, wishes, picture);
    closeInput(input);
    if (status != kExitDone) freePicture(picture);
    return status;
}

}  // namespace cli
