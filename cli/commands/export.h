// export.h: one export in its steps, for a command that makes many.
#ifndef TOLVA_CLI_COMMANDS_EXPORT_H
#define TOLVA_CLI_COMMANDS_EXPORT_H

#include <cstdint>

#include "cli/library/library.h"
#include "cli/options/options.h"
#include "cli/output/output_file.h"
#include "cli/settings/profile.h"
#include "cli/terminal/messages.h"

namespace cli {

// What is known of an export in the end. Plain, so that it may stand in memory that processes share.
struct ExportRecord {
    uint32_t width;  // of the picture, 0 until it is read
    uint32_t height;
    uint32_t colours;     // kTolvaManyColours for more than 256; 0 unless --json asks
    uint32_t gifColours;  // 0 where the library chose them
    GifSummary gif;
    char temporaryName[kTemporaryNameBytes];  // in the target's folder, from when it is made
    char error[8192];                         // what `fail` said last
};

ExitStatus startExports(const Options& options, const char* programWord, Library& library, Settings& settings);
// Changes the settings where --fit would enlarge.
ExitStatus exportOne(const Options& options, const Library& library, const Settings& settings, ExportRecord& record);

}  // namespace cli

#endif
