// info.cpp: answers how large the GIF will be without writing it. Called by main. The library's answer to a
// host's dialog is rounded up where an export truncates: both are told.

#include "cli/commands/commands.h"

#include <cmath>
#include <cstdio>

#include "cli/commands/json_line.h"
#include "cli/commands/source.h"
#include "cli/library/library.h"
#include "cli/library/output_size.h"
#include "cli/picture/colours.h"
#include "cli/picture/reduce.h"
#include "cli/settings/profile.h"
#include "cli/terminal/text.h"

namespace cli {
namespace {

struct Info {
    OutputSize size;
    int32_t answer[kTolvaInfoOutWords];
    uint32_t colours;  // of the picture; not counted under --raw
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

ExitStatus printObject(const Options& options, const Settings& settings, const Picture& picture, const Info& info) {
    Json object = pictureObject(options.picture);
    object["pictureWidth"] = picture.width;
    object["pictureHeight"] = picture.height;
    if (!options.raw) object["colours"] = countedColours(info.colours);
    object["profile"] = settings.loaded ? Json(settings.setup->profilePath) : Json();
    object["section"] = settings.loaded ? Json(settings.setup->sectionName) : Json();
    object["width"] = static_cast<int64_t>(info.size.width);
    object["height"] = static_cast<int64_t>(info.size.height);
    object["bitsPerPixel"] = info.answer[kTolvaInfoBitsPerPixel];
    object["roundedUpWidth"] = info.answer[kTolvaInfoPixelWidth];
    object["roundedUpHeight"] = info.answer[kTolvaInfoPixelHeight];
    return printLine(object);
}

// What an export would do, as far as it can be told without doing it.
std::string stagesText(const Options& options, const Picture& picture, const Info& info) {
    const bool scales = info.size.width != picture.width || info.size.rows != picture.height;
    const uint32_t most = options.colours.value_or(kTolvaLargestPalette);
    const std::string converted = picture.converted ? "converted to sRGB, " : "";
    const std::string reduced =
        "reduced to " + std::to_string(most) + " colours" + (options.dither == Dither::kNone ? "" : " and dithered");
    if (scales) return converted + "scaled, and " + reduced + " where there are more";
    if (keepsIndices(picture, most)) return converted + "the palette stays as it is";
    return converted + (info.colours <= most ? "all colours are kept" : reduced);
}

void printText(const Options& options, const Picture& picture, const Info& info) {
    const int32_t* const answer = info.answer;
    std::printf("%s: %u x %u pixels%s\n", shownText(inputName(options.picture)).c_str(), picture.width, picture.height,
                options.raw ? "" : (", " + colourCountText(info.colours)).c_str());
    std::printf("GIF: %.0f x %.0f pixels of %d bits\n", info.size.width, info.size.height,
                answer[kTolvaInfoBitsPerPixel]);
    if (answer[kTolvaInfoPixelWidth] != info.size.width || answer[kTolvaInfoPixelHeight] != info.size.height) {
        std::printf("hosts are told, with fractions rounded up: %d x %d pixels\n", answer[kTolvaInfoPixelWidth],
                    answer[kTolvaInfoPixelHeight]);
    }
    if (!options.raw) std::printf("on the way there: %s\n", stagesText(options, picture, info).c_str());
}

}  // namespace

ExitStatus showInfo(const Options& options, const char* programWord) {
    Library library = {};
    Settings settings;
    Picture picture;
    if (const ExitStatus failed = loadLibrary(library, options.library, programWord)) return failed;
    if (const ExitStatus failed = loadSettings(library, options.profile, settings)) return failed;
    if (const ExitStatus failed = applyOptions(options, *settings.setup)) return failed;
    if (const ExitStatus failed = readSource(options, library, settings, false, picture)) return failed;
    Info info = {};
    if (!options.raw) {
        if (const ExitStatus failed = countColours(library, picture, info.colours)) return failed;
    }
    if (const ExitStatus failed = planSource(options, library, settings, picture, info.size)) return failed;
    if (const ExitStatus failed = askLibrary(library, settings, picture, info.answer)) return failed;
    if (options.json) return printObject(options, settings, picture, info);
    printText(options, picture, info);
    return flushOutput();
}

}  // namespace cli
