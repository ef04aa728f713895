// options.h: the command line as a record.
#ifndef TOLVA_CLI_OPTIONS_H
#define TOLVA_CLI_OPTIONS_H

#include <cstdint>
#include <optional>

#include "cli/messages.h"
#include "cli/picture.h"
#include "cli/prepare.h"
#include "raster/raster.h"

namespace cli {

enum class Command { kExport, kShowHelp, kShowVersion };
enum class SizeWish { kAsPicture, kFitPixels, kFitInches };

inline constexpr uint64_t kDefaultMostPixels = 200'000'000;

struct Box {
    double width;
    double height;
};

struct Options {
    Command command;
    const char* picture;
    const char* output;
    const char* library;  // null: looked for
    bool overwrite;
    Verbosity verbosity;
    bool interlace;
    std::optional<Colour> transparent;
    std::optional<Colour> background;
    ConversionMode tone;
    DitherWish dither;
    uint64_t mostPixels;
    SizeWish sizeWish;
    Box box;         // pixels or inches
    int resolution;  // dots per inch, for a box in inches
};

ExitStatus parseOptions(int count, char** words, Options& options);
ExitStatus printHelp();

}  // namespace cli

#endif
