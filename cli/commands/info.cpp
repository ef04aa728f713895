// info.cpp: answers how large the GIF will be without writing it. Called by main. The library's answer to a
// host's dialog is rounded up where an export truncates: both are told.

#include "cli/commands/info.h"

#include <cmath>
#include <cstdio>

#include "cli/library/library.h"
#include "cli/library/output_size.h"
#include "cli/picture/read.h"
#include "cli/settings/profile.h"
#include "cli/terminal/json.h"
#include "cli/terminal/text.h"

namespace cli {
namespace {

struct Info {
    OutputSize size;
    int32_t answer[kTolvaInfoOutWords];
};

int32_t wholeDots(double inches, int16_t resolution) { return static_cast<int32_t>(std::lround(inches * resolution)); }

ExitStatus askLibrary(const Library& library, const Settings& settings, const Picture& picture, int32_t* answer) {
    GeometryCalls calls = {};
    const ExitStatus status = loadGeometryCalls(library, calls);
    if (status != kExitDone) return status;
    int32_t in[kTolvaInfoInWords] = {};
    in[kTolvaInfoDpi] = kPictureResolution;
    in[kTolvaInfoDots] = static_cast<int32_t>(picture.width);
    in[kTolvaInfoRows] = static_cast<int32_t>(picture.height);
    double width = 0;
    double height = 0;
    int16_t resolution = 0;
    calls.getDisplayInfo(&width, &height, &resolution, nullptr);
    if (resolution != 0) {
        in[kTolvaInfoDisplayDpi] = resolution;
        in[kTolvaInfoDisplayDots] = wholeDots(width, resolution);
        in[kTolvaInfoDisplayRows] = wholeDots(height, resolution);
    }
    calls.getRasterInfo(settings.handle, in, answer);
    return kExitDone;
}

void printObject(const Settings& settings, const char* name, const Picture& picture, const Info& info) {
    const bool loaded = settings.loaded;
    std::printf("{\"picture\": %s, \"pictureWidth\": %u, \"pictureHeight\": %u, \"profile\": %s, \"section\": %s, ",
                jsonText(name).c_str(), picture.width, picture.height,
                loaded ? jsonText(settings.setup->profilePath).c_str() : "null",
                loaded ? jsonText(settings.setup->sectionName).c_str() : "null");
    std::printf(
        "\"width\": %.0f, \"height\": %.0f, \"bitsPerPixel\": %d, \"roundedUpWidth\": %d, \"roundedUpHeight\": %d}\n",
        info.size.width, info.size.height, info.answer[kTolvaInfoBitsPerPixel], info.answer[kTolvaInfoPixelWidth],
        info.answer[kTolvaInfoPixelHeight]);
}

void printText(const char* name, const Picture& picture, const Info& info) {
    const int32_t* const answer = info.answer;
    std::printf("%s: %u x %u pixels\n", shownText(inputName(name)).c_str(), picture.width, picture.height);
    std::printf("GIF: %.0f x %.0f pixels of %d bits\n", info.size.width, info.size.height,
                answer[kTolvaInfoBitsPerPixel]);
    if (answer[kTolvaInfoPixelWidth] != info.size.width || answer[kTolvaInfoPixelHeight] != info.size.height) {
        std::printf("hosts are told, with fractions rounded up: %d x %d pixels\n", answer[kTolvaInfoPixelWidth],
                    answer[kTolvaInfoPixelHeight]);
    }
}

ExitStatus printInfo(const Library& library, const Settings& settings, const Options& options, const Picture& picture) {
    Info info = {};
    ExitStatus status = planOutputSize(library, options.road, options.mostPixels, picture, info.size);
    if (status == kExitDone) status = askLibrary(library, settings, picture, info.answer);
    if (status != kExitDone) return status;
    if (options.json) {
        printObject(settings, options.picture, picture, info);
    } else {
        printText(options.picture, picture, info);
    }
    return flushOutput();
}

}  // namespace

ExitStatus showInfo(const Options& options, const char* programWord) {
    Library library = {};
    Settings settings = {};
    Picture picture;
    ExitStatus status = loadLibrary(library, options.library, programWord);
    if (status == kExitDone) status = loadSettings(library, options.profile, settings);
    if (status == kExitDone) status = applyOptions(options, *settings.setup);
    if (status == kExitDone) {
        status = readPicture(options.picture, Colour{}, true, options.mostPixels, picture);
    }
    if (status == kExitDone) status = printInfo(library, settings, options, picture);
    dropSettings(library, settings);
    return status == kExitStopped ? fail(status, "stopped") : status;
}

}  // namespace cli
