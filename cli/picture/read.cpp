// read.cpp: asks imageio/ for the picture and tells the user what it answers. Called by the export and info commands.

#include "cli/picture/read.h"

#include <string>

#include "cli/terminal/bar.h"
#include "cli/terminal/stop.h"
#include "imageio/read_picture.h"

namespace cli {
namespace {

void passWarning(const char* path, const char* text) { warn("%s: %s", inputName(path), text); }

}  // namespace

bool isStandard(const char* path) { return imageio::isStandard(path); }

const char* inputName(const char* path) { return isStandard(path) ? "standard input" : path; }

ExitStatus readPicture(const ReadOrder& order, Picture& picture) {
    const imageio::ReadRequest request = {.background = order.background,
                                          .keepTransparency = order.keepTransparency,
                                          .raw = order.raw,
                                          .looksOnly = order.looksOnly,
                                          .willScale = order.willScale,
                                          .asker = order.asker,
                                          .mostPixels = order.mostPixels,
                                          .mostPixelsName = "--max-pixels",
                                          .stopped = stopRequested,
                                          .warn = passWarning,
                                          .advanced = showPart};
    std::string text;
    enterStage(Stage::kReading);
    switch (imageio::readPicture(order.path, request, picture, text)) {
        case imageio::kDone: return kExitDone;
        case imageio::kStopped: return kExitStopped;
        default: return fail(kExitInputRefused, "%s: %s", inputName(order.path), text.c_str());
    }
}

ExitStatus checkFile(const Picture& picture) {
    if (!liesInFile(picture)) return kExitDone;
    const char* const why = imageio::whyUnreadable(picture.file);
    return why == nullptr ? kExitDone : fail(kExitInputRefused, "%s: %s", inputName(picture.file.path), why);
}

}  // namespace cli
