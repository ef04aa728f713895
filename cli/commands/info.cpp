// info.cpp: answers how large the GIF will be without writing it. Called by main. The library's answer to a
// host's dialog is rounded up where an export truncates: both are told.

#include "cli/commands/commands.h"

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
    if (const ExitStatus failed = needEntries(library, EntryGroup::kGeometry)) return failed;
    int32_t in[kTolvaInfoInWords] = {};
    in[kTolvaInfoDpi] = kPictureResolution;
    in[kTolvaInfoDots] = static_cast<int32_t>(picture.width);
    in[kTolvaInfoRows] = static_cast<int32_t>(picture.height);
    double width = 0;
    double height = 0;
    int16_t resolution = 0;
    library.calls.GetDisplayInfo(&width, &height, &resolution, nullptr);
    if (resolution != 0) {
        in[kTolvaInfoDisplayDpi] = resolution;
        in[kTolvaInfoDisplayDots] = wholeDots(width, resolution);
        in[kTolvaInfoDisplayRows] = wholeDots(height, resolution);
    }
    library.calls.GetRasterInfo(settings.handle, in, answer);
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

}  // namespace

ExitStatus showInfo(const Options& options, const char* programWord) {
    Library library = {};
    Settings settings;
    Picture picture;
    if (const ExitStatus failed = loadLibrary(library, options.library, programWord)) return failed;
    if (const ExitStatus failed = loadSettings(library, options.profile, settings)) return failed;
    if (const ExitStatus failed = applyOptions(options, *settings.setup)) return failed;
    if (const ExitStatus failed = readPicture(options.picture, Colour{}, true, options.mostPixels, picture)) {
        return failed;
    }
    Info info = {};
    if (const ExitStatus failed = planOutputSize(library, options.way, options.mostPixels, picture, info.size)) {
        return failed;
    }
    if (const ExitStatus failed = askLibrary(library, settings, picture, info.answer)) return failed;
    if (options.json) {
        printObject(settings, options.picture, picture, info);
    } else {
        printText(options.picture, picture, info);
    }
    return flushOutput();
}

}  // namespace cli
