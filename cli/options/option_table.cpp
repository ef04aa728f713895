// option_table.cpp: the options and the reading of their values; every value is checked here, once.

#include "cli/options/option_table.h"

#include <charconv>
#include <cstring>
#include <string>

#include <tolva/quantize.h>
#include <tolva/settings.h>
#include "cli/options/numbers.h"

namespace cli {
namespace {

struct DitherWord {
    const char* word;
    Dither dither;
};
constexpr DitherWord kDitherWords[] = {{"none", Dither::kNone},
                                       {"diffusion", Dither::kDiffusion},
                                       {"2", Dither::kBlackAndWhite},
                                       {"16", Dither::kSixteenColours}};

struct WayWord {
    const char* word;
    Way way;
};
constexpr WayWord kWayWords[] = {{"cells", Way::kCells}, {"bracket", Way::kBracket}, {"export", Way::kExport}};

template <class Number>
bool parseBox(const char* text, Number lowest, Number highest, Box& box) {
    const char* const cross = std::strchr(text, 'x');
    Number width = {};
    Number height = {};
    if (cross == nullptr || !parseNumber(text, cross, lowest, highest, width)) return false;
    if (!parseNumber(cross + 1, text + std::strlen(text), lowest, highest, height)) return false;
    box = Box{static_cast<double>(width), static_cast<double>(height)};
    return true;
}

// Of three digits each counts twice.
bool parseColour(const char* text, std::optional<Colour>& colour) {
    constexpr size_t kDigits = 6;
    std::string digits = text[0] == '#' ? text + 1 : text;
    if (std::strcmp(text, "black") == 0) digits = "000000";
    if (std::strcmp(text, "white") == 0) digits = "FFFFFF";
    if (digits.size() == kDigits / 2) {
        digits = {digits[0], digits[0], digits[1], digits[1], digits[2], digits[2]};
    }
    uint32_t value = 0;
    const char* const end = digits.data() + digits.size();
    const std::from_chars_result result = std::from_chars(digits.data(), end, value, 16);
    if (digits.size() != kDigits || result.ec != std::errc() || result.ptr != end) return false;
    colour = Colour{static_cast<uint8_t>(value >> 16), static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
    return true;
}

ExitStatus refuse(const char* option, const char* value, const std::string& wanted) {
    return fail(kExitWrongUsage, "%s %s: %s is wanted", option, value, wanted.c_str());
}

ExitStatus takeColour(const char* option, const char* value, std::optional<Colour>& colour) {
    if (parseColour(value, colour)) return kExitDone;
    return refuse(option, value, "a colour, RRGGBB or RGB in hexadecimal digits, black or white,");
}

ExitStatus takeTone(const char* value, Options& options) {
    double mode = 0;
    if (const ExitStatus failed = parseSetting(kColourModeKey, "--tone", value, mode)) return failed;
    options.colourMode = static_cast<int32_t>(mode);
    return kExitDone;
}

ExitStatus takeDither(const char* value, Options& options) {
    for (const DitherWord& known : kDitherWords) {
        if (std::strcmp(value, known.word) != 0) continue;
        options.dither = known.dither;
        return kExitDone;
    }
    return refuse("--dither", value, "none or diffusion, or with --raw 2 or 16,");
}

ExitStatus takeColours(const char* value, Options& options) {
    const bool good =
        parseNumber<uint32_t>(value, kTolvaSmallestPalette, kTolvaLargestPalette, options.colours.emplace());
    return good ? kExitDone : refuse("--colours", value, "a whole number from 2 to 256");
}

ExitStatus takeWay(const char* value, Options& options) {
    for (const WayWord& known : kWayWords) {
        if (std::strcmp(value, known.word) != 0) continue;
        options.way = known.way;
        return kExitDone;
    }
    return refuse("--road", value, "cells, bracket or export");
}

ExitStatus takeMaxPixels(const char* value, Options& options) {
    const bool good = parseNumber<uint64_t>(value, 1, UINT32_MAX, options.mostPixels);
    return good ? kExitDone : refuse("--max-pixels", value, "a whole number from 1 to " + std::to_string(UINT32_MAX));
}

ExitStatus chooseSize(SizeRequest request, Options& options) {
    if (options.sizeRequest != SizeRequest::kAsPicture)
        return fail(kExitWrongUsage, "--fit and --size exclude each other");
    options.sizeRequest = request;
    return kExitDone;
}

ExitStatus takeFit(const char* value, Options& options) {
    if (const ExitStatus failed = chooseSize(SizeRequest::kFitPixels, options)) return failed;
    if (parseBox<int>(value, 1, kTolvaLargestExtent, options.box)) return kExitDone;
    return refuse("--fit", value, "WIDTHxHEIGHT, whole pixels from 1 to " + std::to_string(kTolvaLargestExtent) + ",");
}

ExitStatus takeSize(const char* value, Options& options) {
    if (const ExitStatus failed = chooseSize(SizeRequest::kFitInches, options)) return failed;
    if (parseBox<double>(value, kSmallestInches, kLargestInches, options.box)) return kExitDone;
    return refuse("--size", value, "WIDTHxHEIGHT, inches from " + inchesLimits() + ",");
}

ExitStatus takeResolution(const char* value, Options& options) {
    const bool good = parseNumber<int>(value, kTolvaLowestResolution, kTolvaHighestResolution, options.resolution);
    return good ? kExitDone : refuse("--resolution", value, "a whole number from " + dotsLimits());
}

// A name that came back changed from a profile would not be found again.
ExitStatus takeSection(const char* value, Options& options) {
    const size_t length = std::strlen(value);
    bool good = length > 0 && length < kTolvaSettingsNameBytes && value[0] != ' ' && value[length - 1] != ' ';
    for (size_t i = 0; i < length; ++i) {
        good = good && static_cast<uint8_t>(value[i]) >= ' ' && std::strchr("\"[];", value[i]) == nullptr;
    }
    options.profile.section = value;
    return good ? kExitDone : refuse("--section", value, "a name of 1 to 143 bytes without \" [ ] ; tabs or line ends");
}

ExitStatus takeProfile(const char* value, Options& options) {
    options.profile.file = value;
    return value[0] != '\0' ? kExitDone : refuse("--profile", "\"\"", "a file");
}

}  // namespace

// clang-format off
const OptionRow kOptionTable[kOptionRows] = {
    {"output",           'o', "FILE",    "the GIF; - is standard output, unless that is a terminal",
     kForExport, [](const char* value, Options& o) { o.output = value; return kExitDone; }},
    {"force",            'f', nullptr,   "overwrite FILE, but never PICTURE itself",
     kForExport, [](const char*, Options& o) { o.overwrite = true; return kExitDone; }},
    {"directory",        'd', "FOLDER",  "export many pictures, in a process each: the GIF of PICTURE goes to\n"
                                        "FOLDER under its name with .gif for its ending; a profile is read\n"
                                        "only where one is named; at the end stands a summary",
     kForExport, [](const char* value, Options& o) { o.folder = value; return kExitDone; }},
    {"files-from",       0,   "FILE",    "of FILE, or of - for standard input, each line names a PICTURE",
     kForExport, [](const char* value, Options& o) { o.namesFile = value; return kExitDone; }},
    {"null",             0,   nullptr,   "a zero byte ends each name there, not the line (find -print0)",
     kForExport, [](const char*, Options& o) { o.namesEndInZero = true; return kExitDone; }},
    {"skip-existing",    0,   nullptr,   "leave out pictures whose GIF is there, to resume; -f makes them anew",
     kForExport, [](const char*, Options& o) { o.skipExisting = true; return kExitDone; }},
    {"json",             0,   nullptr,   "with info, and with -d for each picture: print a JSON object a line",
     kForPictures, [](const char*, Options& o) { o.json = true; return kExitDone; }},
    {"interlace",        0,   nullptr,   "write the rows in four passes, coarse to fine",
     kForPictures, [](const char*, Options& o) { o.interlace = true; return kExitDone; }},
    {"transparent",      0,   "COLOUR",  "pixels of this colour, after --tone, become transparent; of a\n"
                                        "palette that stays, the entry nearest to it",
     kForPictures, [](const char* value, Options& o) { return takeColour("--transparent", value, o.transparent); }},
    {"background",       0,   "COLOUR",  "the GIF's background colour, and what half-transparent\n"
                                        "colours are laid over (white)",
     kForPictures, [](const char* value, Options& o) { return takeColour("--background", value, o.background); }},
    {"tone",             0,   "normal|invert|invert-greys|grey|invert-grey",
                                        "which colours become others",
     kForPictures, takeTone},
    {"colours",          0,   "N",       "at most so many, 2 to 256, the transparent one included (256)",
     kForPictures, takeColours},
    {"dither",           0,   "none|diffusion",
                                        "what becomes of colours that the palette lacks: the nearest of it,\n"
                                        "or a mixture (diffusion); with --raw, 2 or 16 colours of its own",
     kForPictures, takeDither},
    {"fit",              0,   "WxH",     "shrink into a box of pixels; the aspect is kept",
     kForPictures, takeFit},
    {"enlarge",          0,   nullptr,   "let --fit make smaller pictures larger",
     kForPictures, [](const char*, Options& o) { o.enlarge = true; return kExitDone; }},
    {"size",             0,   "WxH",     "fit into a box of inches, {inches}",
     kForPictures, takeSize},
    {"resolution",       0,   "DPI",     "dots per inch for --size, {dots} (the profile's, or {usual dots})",
     kForPictures, takeResolution},
    {"raw",              0,   nullptr,   "leave scaling, reducing and dithering to the library, as its hosts\n"
                                        "know it: to compare, and for bug reports",
     kForPictures, [](const char*, Options& o) { o.raw = true; return kExitDone; }},
    {"road",             0,   "cells|bracket|export",
                                        "how the picture goes to the library: cells (one call writes it),\n"
                                        "bracket (collected piece by piece) or export (without a device);\n"
                                        "the last two round odd heights up",
     kForPictures, takeWay},
    {"max-pixels",       0,   "N",       "refuse larger pictures and larger GIFs, and a JPEG whose scans add up\n"
                                        "to more than 20 times as much ({pixels})",
     kForPictures, takeMaxPixels},
    {"write-by-library", 0,   nullptr,   nullptr,  // for tests and measurements
     kForPictures, [](const char*, Options& o) { o.writeByLibrary = true; return kExitDone; }},
    {"profile",          0,   "FILE",    "settings to start from, under the options above (libtolva.ini in\n"
                                        "the folder that INIDIR names, or in the current one)",
     kForAll, takeProfile},
    {"section",          0,   "NAME",    "its section (the one that ~Mode in [TOLVA] names)",
     kForAll, takeSection},
    {"no-profile",       0,   nullptr,   "start from the defaults",
     kForAll, [](const char*, Options& o) { o.profile.none = true; return kExitDone; }},
    {"library",          0,   "PATH",    "the library to load; otherwise the one beside this program,\n"
                                        "in ../lib, or where the system finds it",
     kForAll, [](const char* value, Options& o) { o.library = value; return kExitDone; }},
    {"quiet",            'q', nullptr,   "print errors only",
     kForAll, [](const char*, Options& o) { o.verbosity = kQuiet; return kExitDone; }},
    {"verbose",          'v', nullptr,   "tell what is done",
     kForAll, [](const char*, Options& o) { o.verbosity = kVerbose; return kExitDone; }},
    {"help",             'h', nullptr,   "print this",
     kForAll, [](const char*, Options& o) { o.command = Command::kShowHelp; return kExitDone; }},
    {"version",          'V', nullptr,   "print the versions of program and library",
     kForAll, [](const char*, Options& o) { o.command = Command::kShowVersion; return kExitDone; }},
};
// clang-format on

}  // namespace cli
