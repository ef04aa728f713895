// read.cpp: asks imageio/ for the picture and tells the user what it answers. Called by the export and info commands.

#include "cli/picture/read.h"

#include <string>

#include "cli/terminal/stop.h"
#include "imageio/read_picture.h"

namespace cli {
namespace {

void passWarning(const char* path, const char* text) { warn("%s: %s", inputName(path), text); }

}  // namespace

bool isStandard(const char* path) { return imageio::isStandard(path); }

const char* inputName(const char* path) { return isStandard(path) ? "standard input" : path; }

ExitStatus readPicture(const char* path, Colour background, bool keepTransparency, uint64_t mostPixels,
                       Picture& picture) {
    const imageio::ReadRequest request = {.background = background,
                                          .keepTransparency = keepTransparency,
                                          .raw = true,
                                          .willScale = nullptr,
                                          .asker = nullptr,
                                          .mostPixels = mostPixels,
                                          .mostPixelsName = "--max-pixels",
                                          .stopped = stopRequested,
                                          .warn = passWarning};
    std::string text;
    switch (imageio::readPicture(path, request, picture, text)) {
        case imageio::kDone: return kExitDone;
        case imageio::kStopped: return kExitStopped;
        default: return fail(kExitInputRefused, "%s: %s", inputName(path), text.c_str());
    }
}

}  // namespace cli
