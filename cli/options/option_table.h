// option_table.h: every option once. What is parsed and what --help prints come from here.
#ifndef TOLVA_CLI_OPTIONS_OPTION_TABLE_H
#define TOLVA_CLI_OPTIONS_OPTION_TABLE_H

#include <cstddef>

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
    const char* argument;  // as --help names it; null: the option has none
    const char* help;      // its lines, limits as names (help.cpp); null: not in --help
    unsigned commands;
    ExitStatus (*set)(const char* value, Options& options);  // says what is wanted where the value is none of that
};

inline constexpr size_t kOptionRows = 25;
extern const OptionRow kOptionTable[kOptionRows];  // in the order of --help

}  // namespace cli

#endif
