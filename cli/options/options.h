// options.h: the command line as a record.
#ifndef TOLVA_CLI_OPTIONS_OPTIONS_H
#define TOLVA_CLI_OPTIONS_OPTIONS_H

#include <cstdint>
#include <optional>

#include "cli/library/way.h"
#include "cli/picture/read.h"
#include "cli/picture/reduce.h"
#include "cli/settings/setting_keys.h"
#include "cli/terminal/messages.h"

namespace cli {

enum class Command {
    kExport,
    kExportMany,
    kShowHelp,
    kShowVersion,
    kShowSettings,
    kSetSetting,
    kUnsetSetting,
    kShowProfilePath,
    kShowInfo
};
enum class SizeRequest { kAsPicture, kFitPixels, kFitInches };

inline constexpr uint64_t kDefaultMostPixels = 200'000'000;

struct Box {
    double width;
    double height;
};

struct ProfileChoice {
    const char* file;     // null: the one named after the library
    const char* section;  // null: the one that the profile names
    bool none;
};

struct Options {
    Command command;
    ProfileChoice profile;
    const SettingKey* key;  // to set or unset
    double value;
    bool json;
    const char* picture;
    const char* output;
    const char* folder;  // of the GIFs of many pictures; null: there is one
    char** pictures;     // those of the command line
    size_t pictureCount;
    const char* namesFile;  // that names more of them, or null
    bool namesEndInZero;    // not with their line
    bool skipExisting;
    const char* library;  // null: looked for
    bool overwrite;
    Verbosity verbosity;
    bool interlace;
    bool writeByLibrary;  // into a file that it opens itself; for tests and measurements
    std::optional<Colour> transparent;
    std::optional<Colour> background;
    std::optional<int32_t> colourMode;
    std::optional<uint32_t> colours;  // at most, the transparent one included
    Dither dither;
    bool enlarge;  // also what fits into the box
    bool raw;      // scaling, reduction and dithering are the library's, as its hosts know them
    Way way;
    uint64_t mostPixels;
    SizeRequest sizeRequest;
    Box box;                    // pixels or inches
    int resolution;             // dots per inch; 0: as the settings say
    const char* pictureOption;  // the last option that only pictures have, or null
    const char* exportOption;   // and that only exports have
};

ExitStatus parseOptions(int count, char** words, Options& options);
ExitStatus printHelp();

}  // namespace cli

#endif
