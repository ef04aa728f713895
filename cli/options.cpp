// options.cpp: from the words of the command line to Options; every value is checked here, once. Called by main.

#include "cli/options.h"

#include <charconv>
#include <cstdio>
#include <cstring>

#include <getopt.h>

#include "settings/settings.h"

namespace cli {
namespace {

// What a settings block may hold, in inches.
constexpr double kSmallestInches = 0.03125;
constexpr double kLargestInches = 22.0;

enum LongOption {  // beyond every character
    kOptInterlace = 256,
    kOptTransparent,
    kOptBackground,
    kOptTone,
    kOptDither,
    kOptMaxPixels,
    kOptFit,
    kOptSize,
    kOptResolution,
    kOptLibrary,
    kOptHelp,
    kOptVersion
};

constexpr char kShortOptions[] = ":o:fqv";
// clang-format off
constexpr option kLongOptions[] = {
    {"interlace",   no_argument,       nullptr, kOptInterlace},
    {"transparent", required_argument, nullptr, kOptTransparent},
    {"background",  required_argument, nullptr, kOptBackground},
    {"tone",        required_argument, nullptr, kOptTone},
    {"dither",      required_argument, nullptr, kOptDither},
    {"max-pixels",  required_argument, nullptr, kOptMaxPixels},
    {"fit",         required_argument, nullptr, kOptFit},
    {"size",        required_argument, nullptr, kOptSize},
    {"resolution",  required_argument, nullptr, kOptResolution},
    {"library",     required_argument, nullptr, kOptLibrary},
    {"help",        no_argument,       nullptr, kOptHelp},
    {"version",     no_argument,       nullptr, kOptVersion},
    {nullptr,       0,                 nullptr, 0},
};
// clang-format on

struct ToneWord {
    const char* word;
    ConversionMode tone;
};

constexpr ToneWord kToneWords[] = {{"normal", kConvertNothing},
                                   {"invert", kConvertInvert},
                                   {"invert-greys", kConvertInvertGreys},
                                   {"grey", kConvertGrey},
                                   {"invert-grey", kConvertInvertGrey}};

constexpr char kHelp[] =
    "Usage: tolva [OPTION]... PICTURE -o FILE\n"
    "Writes PICTURE as a GIF. PICTURE is a PNM, PNG or JPEG file, told by its content; - is standard\n"
    "input. More than 256 colours are reduced to 256.\n"
    "\n"
    "  -o FILE                 the GIF; - is standard output\n"
    "  -f                      overwrite FILE\n"
    "      --interlace         write the rows in four passes, coarse to fine\n"
    "      --transparent RRGGBB\n"
    "                          the colour nearest to this, after --tone, becomes this and\n"
    "                          transparent\n"
    "      --background RRGGBB the GIF's background colour, and what half-transparent\n"
    "                          colours are laid over (FFFFFF)\n"
    "      --tone TONE         normal, invert, invert-greys, grey or invert-grey\n"
    "      --dither 2|16       black and white, or 16 colours, by error diffusion\n"
    "      --fit WxH           fit into a box of pixels; the aspect is kept\n"
    "      --size WxH          fit into a box of inches, 0.03125 to 22\n"
    "      --resolution DPI    dots per inch for --size, 32 to 400 (96)\n"
    "      --max-pixels N      refuse larger pictures (200000000)\n"
    "      --library PATH      the library to load; otherwise the one beside this program,\n"
    "                          in ../lib, or where the system finds it\n"
    "  -q                      print errors only\n"
    "  -v                      tell what is done\n"
    "      --help              print this\n"
    "      --version           print the versions of program and library\n"
    "\n"
    "Exit status: 0 done, 1 export failed, 2 wrong usage, 3 picture refused, 4 GIF not written,\n"
    "5 stopped by the user.\n";

template <class Number>
bool parseNumber(const char* begin, const char* end, Number lowest, Number highest, Number& number) {
    const std::from_chars_result result = std::from_chars(begin, end, number);
    return result.ec == std::errc() && result.ptr == end && number >= lowest && number <= highest;
}

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

bool parseColour(const char* text, std::optional<Colour>& colour) {
    constexpr size_t kDigits = 6;
    uint32_t value = 0;
    if (std::strlen(text) != kDigits) return false;
    const std::from_chars_result result = std::from_chars(text, text + kDigits, value, 16);
    if (result.ec != std::errc() || result.ptr != text + kDigits) return false;
    colour = Colour{static_cast<uint8_t>(value >> 16), static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
    return true;
}

ExitStatus refuse(const char* option, const char* value, const char* wanted) {
    return fail(kExitWrongUsage, "%s %s: %s is wanted", option, value, wanted);
}

ExitStatus takeColour(const char* option, const char* value, std::optional<Colour>& colour) {
    return parseColour(value, colour) ? kExitDone
                                      : refuse(option, value, "a colour of six hexadecimal digits, RRGGBB,");
}

ExitStatus takeTone(const char* value, ConversionMode& tone) {
    for (const ToneWord& row : kToneWords) {
        if (std::strcmp(value, row.word) != 0) continue;
        tone = row.tone;
        return kExitDone;
    }
    return refuse("--tone", value, "normal, invert, invert-greys, grey or invert-grey");
}

ExitStatus takeDither(const char* value, DitherWish& dither) {
    if (std::strcmp(value, "2") != 0 && std::strcmp(value, "16") != 0) return refuse("--dither", value, "2 or 16");
    dither = value[0] == '2' ? DitherWish::kBlackAndWhite : DitherWish::kSixteenColours;
    return kExitDone;
}

ExitStatus takeMaxPixels(const char* value, uint64_t& mostPixels) {
    const bool good = parseNumber<uint64_t>(value, value + std::strlen(value), 1, UINT32_MAX, mostPixels);
    return good ? kExitDone : refuse("--max-pixels", value, "a whole number from 1 to 4294967295");
}

ExitStatus takeSize(Options& options, SizeWish wish, const char* value) {
    if (options.sizeWish != SizeWish::kAsPicture) return fail(kExitWrongUsage, "--fit and --size exclude each other");
    options.sizeWish = wish;
    if (wish == SizeWish::kFitPixels) {
        return parseBox<int>(value, 1, kLargestExtent, options.box)
                   ? kExitDone
                   : refuse("--fit", value, "WIDTHxHEIGHT, whole pixels from 1 to 65535,");
    }
    return parseBox<double>(value, kSmallestInches, kLargestInches, options.box)
               ? kExitDone
               : refuse("--size", value, "WIDTHxHEIGHT, inches from 0.03125 to 22,");
}

ExitStatus takeResolution(Options& options, const char* value) {
    const bool good =
        parseNumber<int>(value, value + std::strlen(value), kLowestResolution, kHighestResolution, options.resolution);
    return good ? kExitDone : refuse("--resolution", value, "a whole number from 32 to 400");
}

// clang-format off
ExitStatus takeOption(int option, const char* value, Options& options) {
    switch (option) {
        case 'o': options.output = value; return kExitDone;
        case 'f': options.overwrite = true; return kExitDone;
        case 'q': options.verbosity = kQuiet; return kExitDone;
        case 'v': options.verbosity = kVerbose; return kExitDone;
        case kOptInterlace: options.interlace = true; return kExitDone;
        case kOptTransparent: return takeColour("--transparent", value, options.transparent);
        case kOptBackground: return takeColour("--background", value, options.background);
        case kOptTone: return takeTone(value, options.tone);
        case kOptDither: return takeDither(value, options.dither);
        case kOptMaxPixels: return takeMaxPixels(value, options.mostPixels);
        case kOptFit: return takeSize(options, SizeWish::kFitPixels, value);
        case kOptSize: return takeSize(options, SizeWish::kFitInches, value);
        case kOptResolution: return takeResolution(options, value);
        case kOptLibrary: options.library = value; return kExitDone;
        case kOptHelp: options.command = Command::kShowHelp; return kExitDone;
        case kOptVersion: options.command = Command::kShowVersion; return kExitDone;
        default: return kExitWrongUsage;
    }
}
// clang-format on

ExitStatus takeOperand(int count, char** words, Options& options) {
    if (options.command != Command::kExport) return kExitDone;
    if (count == 0) return fail(kExitWrongUsage, "no picture is named (see --help)");
    if (count > 1) return fail(kExitWrongUsage, "one picture at a time: %s is one too many", words[1]);
    if (options.output == nullptr || options.output[0] == '\0') {
        return fail(kExitWrongUsage, "the output is not named: -o FILE (see --help)");
    }
    if (options.resolution != 0 && options.sizeWish != SizeWish::kFitInches) {
        return fail(kExitWrongUsage, "--resolution goes with --size");
    }
    if (options.resolution == 0) options.resolution = kDefaultResolution;
    options.picture = words[0];
    return kExitDone;
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
        if (option == '?' && optopt > 0 && optopt < kOptInterlace) {
            return fail(kExitWrongUsage, "-%c is no option (see --help)", optopt);
        }
        if (option == '?') return fail(kExitWrongUsage, "%s is no option (see --help)", words[optind - 1]);
        const ExitStatus status = takeOption(option, optarg, options);
        if (status != kExitDone) return status;
    }
    return takeOperand(count - optind, words + optind, options);
}

ExitStatus printHelp() {
    return std::fputs(kHelp, stdout) >= 0 && std::fflush(stdout) == 0 ? kExitDone : kExitOutputFailed;
}

}  // namespace cli
