// options.cpp: from the words of the command line to Options; every value is checked here, once. Called by main.

#include "cli/options/options.h"

#include <charconv>
#include <cstring>
#include <string>

#include <getopt.h>

#include <tolva/settings.h>
#include "cli/options/numbers.h"
#include "imageio/input.h"

namespace cli {
namespace {

enum LongOption {  // beyond every character; in the table's order, those that only pictures have first
    kOptInterlace = 256,
    kOptTransparent,
    kOptBackground,
    kOptTone,
    kOptDither,
    kOptRoad,
    kOptMaxPixels,
    kOptWriteByLibrary,
    kOptFit,
    kOptSize,
    kOptResolution,
    kOptProfile,
    kOptSection,
    kOptNoProfile,
    kOptJson,
    kOptLibrary,
    kOptOutput,
    kOptForce,
    kOptQuiet,
    kOptVerbose,
    kOptHelp,
    kOptVersion
};

constexpr char kShortOptions[] = ":o:fqvhV";
// clang-format off
constexpr option kLongOptions[] = {
    {"interlace",   no_argument,       nullptr, kOptInterlace},
    {"transparent", required_argument, nullptr, kOptTransparent},
    {"background",  required_argument, nullptr, kOptBackground},
    {"tone",        required_argument, nullptr, kOptTone},
    {"dither",      required_argument, nullptr, kOptDither},
    {"road",        required_argument, nullptr, kOptRoad},
    {"max-pixels",  required_argument, nullptr, kOptMaxPixels},
    {"write-by-library", no_argument,  nullptr, kOptWriteByLibrary},  // not in --help
    {"fit",         required_argument, nullptr, kOptFit},
    {"size",        required_argument, nullptr, kOptSize},
    {"resolution",  required_argument, nullptr, kOptResolution},
    {"profile",     required_argument, nullptr, kOptProfile},
    {"section",     required_argument, nullptr, kOptSection},
    {"no-profile",  no_argument,       nullptr, kOptNoProfile},
    {"json",        no_argument,       nullptr, kOptJson},
    {"library",     required_argument, nullptr, kOptLibrary},
    {"output",      required_argument, nullptr, kOptOutput},
    {"force",       no_argument,       nullptr, kOptForce},
    {"quiet",       no_argument,       nullptr, kOptQuiet},
    {"verbose",     no_argument,       nullptr, kOptVerbose},
    {"help",        no_argument,       nullptr, kOptHelp},
    {"version",     no_argument,       nullptr, kOptVersion},
    {nullptr,       0,                 nullptr, 0},
};
// clang-format on

struct RoadWord {
    const char* word;
    Road road;
};
constexpr RoadWord kRoadWords[] = {{"cells", Road::kCells}, {"bracket", Road::kBracket}, {"export", Road::kExport}};

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

ExitStatus refuse(const char* option, const char* value, const char* wanted) {
    return fail(kExitWrongUsage, "%s %s: %s is wanted", option, value, wanted);
}

ExitStatus takeColour(const char* option, const char* value, std::optional<Colour>& colour) {
    return parseColour(value, colour)
               ? kExitDone
               : refuse(option, value, "a colour, RRGGBB or RGB in hexadecimal digits, black or white,");
}

ExitStatus takeTone(const char* value, std::optional<int32_t>& colourMode) {
    double mode = 0;
    const ExitStatus status = parseSetting(kColourModeKey, "--tone", value, mode);
    if (status == kExitDone) colourMode = static_cast<int32_t>(mode);
    return status;
}

ExitStatus takeDither(const char* value, DitherWish& dither) {
    if (std::strcmp(value, "2") != 0 && std::strcmp(value, "16") != 0) return refuse("--dither", value, "2 or 16");
    dither = value[0] == '2' ? DitherWish::kBlackAndWhite : DitherWish::kSixteenColours;
    return kExitDone;
}

ExitStatus takeRoad(const char* value, Road& road) {
    for (const RoadWord& known : kRoadWords) {
        if (std::strcmp(value, known.word) != 0) continue;
        road = known.road;
        return kExitDone;
    }
    return refuse("--road", value, "cells, bracket or export");
}

ExitStatus takeMaxPixels(const char* value, uint64_t& mostPixels) {
    const bool good = parseNumber<uint64_t>(value, 1, UINT32_MAX, mostPixels);
    return good ? kExitDone : refuse("--max-pixels", value, "a whole number from 1 to 4294967295");
}

ExitStatus takeSize(Options& options, SizeWish wish, const char* value) {
    if (options.sizeWish != SizeWish::kAsPicture) return fail(kExitWrongUsage, "--fit and --size exclude each other");
    options.sizeWish = wish;
    if (wish == SizeWish::kFitPixels) {
        return parseBox<int>(value, 1, kTolvaLargestExtent, options.box)
                   ? kExitDone
                   : refuse("--fit", value, "WIDTHxHEIGHT, whole pixels from 1 to 65535,");
    }
    return parseBox<double>(value, kSmallestInches, kLargestInches, options.box)
               ? kExitDone
               : refuse("--size", value, "WIDTHxHEIGHT, inches from 0.03125 to 22,");
}

ExitStatus takeResolution(Options& options, const char* value) {
    const bool good = parseNumber<int>(value, kTolvaLowestResolution, kTolvaHighestResolution, options.resolution);
    return good ? kExitDone : refuse("--resolution", value, "a whole number from 32 to 400");
}

// A name that came back changed from a profile would not be found again.
ExitStatus takeSection(const char* value, const char*& section) {
    const size_t length = std::strlen(value);
    bool good = length > 0 && length < kTolvaSettingsNameBytes && value[0] != ' ' && value[length - 1] != ' ';
    for (size_t i = 0; i < length; ++i) {
        good = good && static_cast<uint8_t>(value[i]) >= ' ' && std::strchr("\"[];", value[i]) == nullptr;
    }
    section = value;
    return good ? kExitDone : refuse("--section", value, "a name of 1 to 143 bytes without \" [ ] ; tabs or line ends");
}

ExitStatus takeProfile(const char* value, const char*& file) {
    file = value;
    return value[0] != '\0' ? kExitDone : refuse("--profile", "\"\"", "a file");
}

// clang-format off
ExitStatus takeOption(int option, const char* value, Options& options) {
    switch (option) {
        case 'o':
        case kOptOutput: options.output = value; return kExitDone;
        case 'f':
        case kOptForce: options.overwrite = true; return kExitDone;
        case 'q':
        case kOptQuiet: options.verbosity = kQuiet; return kExitDone;
        case 'v':
        case kOptVerbose: options.verbosity = kVerbose; return kExitDone;
        case kOptInterlace: options.interlace = true; return kExitDone;
        case kOptTransparent: return takeColour("--transparent", value, options.transparent);
        case kOptBackground: return takeColour("--background", value, options.background);
        case kOptTone: return takeTone(value, options.colourMode);
        case kOptDither: return takeDither(value, options.dither);
        case kOptRoad: return takeRoad(value, options.road);
        case kOptMaxPixels: return takeMaxPixels(value, options.mostPixels);
        case kOptWriteByLibrary: options.writeByLibrary = true; return kExitDone;
        case kOptFit: return takeSize(options, SizeWish::kFitPixels, value);
        case kOptSize: return takeSize(options, SizeWish::kFitInches, value);
        case kOptResolution: return takeResolution(options, value);
        case kOptProfile: return takeProfile(value, options.profile.file);
        case kOptSection: return takeSection(value, options.profile.section);
        case kOptNoProfile: options.profile.none = true; return kExitDone;
        case kOptJson: options.json = true; return kExitDone;
        case kOptLibrary: options.library = value; return kExitDone;
        case 'h':
        case kOptHelp: options.command = Command::kShowHelp; return kExitDone;
        case 'V':
        case kOptVersion: options.command = Command::kShowVersion; return kExitDone;
        default: return kExitWrongUsage;
    }
}
// clang-format on

ExitStatus takePicture(int count, char** words, Options& options) {
    if (count == 0) return fail(kExitWrongUsage, "no picture is named (see --help)");
    if (count > 1) return fail(kExitWrongUsage, "one picture at a time: %s is one too many", inputName(words[1]));
    options.picture = words[0];
    return kExitDone;
}

ExitStatus takeExport(int count, char** words, Options& options) {
    if (count == 2 && options.output == nullptr) {
        return fail(kExitWrongUsage, "the output is named with -o: -o %s", words[1]);
    }
    const ExitStatus status = takePicture(count, words, options);
    if (status != kExitDone) return status;
    if (options.json) return fail(kExitWrongUsage, "--json goes with info");
    if (options.output == nullptr || options.output[0] == '\0') {
        return fail(kExitWrongUsage, "the output is not named: -o FILE (see --help)");
    }
    return kExitDone;
}

ExitStatus takeInfo(int count, char** words, Options& options) {
    options.command = Command::kShowInfo;
    if (options.output != nullptr) return fail(kExitWrongUsage, "info writes no GIF: -o does not go with it");
    return takePicture(count, words, options);
}

ExitStatus takeSet(int count, char** words, Options& options) {
    options.command = Command::kSetSetting;
    if (count != 2) return fail(kExitWrongUsage, "setup set wants a key and a value (see --help)");
    if (options.profile.none) return fail(kExitWrongUsage, "setup set changes a profile: --no-profile excludes it");
    options.key = findSettingKey(words[0]);
    if (options.key == nullptr) return fail(kExitWrongUsage, "%s is no setting (see --help)", words[0]);
    return parseSetting(*options.key, options.key->word, words[1], options.value);
}

ExitStatus takeSetup(int count, char** words, Options& options) {
    if (options.pictureOption != nullptr) {
        return fail(kExitWrongUsage, "--%s does not go with setup", options.pictureOption);
    }
    if (options.json || options.output != nullptr || options.overwrite) {
        return fail(kExitWrongUsage, "%s does not go with setup", options.json ? "--json" : "-o or -f");
    }
    const char* const verb = count == 0 ? "" : words[0];
    if (std::strcmp(verb, "set") == 0) return takeSet(count - 1, words + 1, options);
    const bool shows = std::strcmp(verb, "show") == 0;
    if (count != 1 || (!shows && std::strcmp(verb, "path") != 0)) {
        return fail(kExitWrongUsage, "setup is followed by show, by set KEY VALUE or by path");
    }
    if (!shows && options.profile.none) return fail(kExitWrongUsage, "setup path and --no-profile exclude each other");
    options.command = shows ? Command::kShowSettings : Command::kShowProfilePath;
    return kExitDone;
}

ExitStatus takeOperands(int count, char** words, Options& options) {
    if (options.command != Command::kExport) return kExitDone;
    if (options.profile.none && (options.profile.file != nullptr || options.profile.section != nullptr)) {
        return fail(kExitWrongUsage, "--no-profile excludes --profile and --section");
    }
    if (options.resolution != 0 && options.sizeWish == SizeWish::kFitPixels) {
        return fail(kExitWrongUsage, "--resolution does not go with --fit");
    }
    if (count > 0 && std::strcmp(words[0], "setup") == 0) return takeSetup(count - 1, words + 1, options);
    if (count > 0 && std::strcmp(words[0], "info") == 0) return takeInfo(count - 1, words + 1, options);
    return takeExport(count, words, options);
}

}  // namespace

ExitStatus parseOptions(int count, char** words, Options& options) {
    options = Options{};
    options.verbosity = kNormal;
    options.mostPixels = kDefaultMostPixels;
    opterr = 0;
    for (;;) {
        const int option = getopt_long(count, words, kShortOptions, kLongOptions, nullptr);
        if (option == -1) break;
        if (option == ':') return fail(kExitWrongUsage, "%s lacks its value (see --help)", words[optind - 1]);
        if (option == '?' && optopt != 0 && optopt < kOptInterlace) {
            return fail(kExitWrongUsage, "-%c is no option (see --help)", optopt);
        }
        if (option == '?') return fail(kExitWrongUsage, "%s is no option (see --help)", words[optind - 1]);
        if (option >= kOptInterlace && option <= kOptResolution) {
            options.pictureOption = kLongOptions[option - kOptInterlace].name;
        }
        const ExitStatus status = takeOption(option, optarg, options);
        if (status != kExitDone) return status;
    }
    return takeOperands(count - optind, words + optind, options);
}

}  // namespace cli
