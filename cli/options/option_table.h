// option_table.h: every option once. What is parsed, what --help prints, the manual page and the completion of shells
// come from here.
#ifndef TOLVA_CLI_OPTIONS_OPTION_TABLE_H
#define TOLVA_CLI_OPTIONS_OPTION_TABLE_H

#include <cstddef>
#include <string>

#include "cli/options/options.h"

namespace cli {

enum OptionCommands : unsigned {  // in which an option has an effect
    kForExport = 1,
    kForInfo = 2,
    kForSetup = 4,
    kForPictures = kForExport | kForInfo,
    kForAll = kForPictures | kForSetup
};

struct OptionRow {
    const char* name;
    char letter;           // or 0
    const char* argument;  // as --help names it, or the words it can be; null: the option has none
    const char* help;      // its lines, limits as names; null: not in --help
    unsigned commands;
    ExitStatus (*set)(const char* value, Options& options);  // says what is wanted where the value is none of that
};

inline constexpr size_t kOptionRows = 29;
extern const OptionRow kOptionTable[kOptionRows];  // in the order of --help

// Limits stand in the texts as names.
std::string withLimits(std::string text);

}  // namespace cli

#endif
