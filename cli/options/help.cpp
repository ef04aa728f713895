// help.cpp: what --help prints: the usage, a row for every option, and what cannot be told in a row.

#include <cstdio>
#include <string>
#include <utility>

#include "cli/options/option_table.h"

namespace cli {
namespace {

constexpr size_t kHelpColumn = 26;

constexpr char kUsage[] =
    "Usage: tolva [OPTION]... PICTURE -o FILE\n"
    "       tolva [OPTION]... -d FOLDER PICTURE...\n"
    "       tolva [OPTION]... info PICTURE\n"
    "       tolva [OPTION]... setup show | set KEY VALUE | unset KEY | path\n"
    "Writes PICTURE as a GIF. PICTURE is a PNM, PNG or JPEG file, told by its content; - is standard\n"
    "input. Of several pictures in it the first is taken. More than 256 colours are reduced to 256.\n"
    "\n";

constexpr char kRest[] =
    "\n"
    "COLOUR is RRGGBB or RGB in hexadecimal digits, with or without a # in front, black or white.\n"
    "\n"
    "info PICTURE tells how many pixels the GIF will have. A picture named info or setup is exported\n"
    "as ./info.\n"
    "\n"
    "setup show prints the settings in force, setup path where they stand; setup set changes one, and\n"
    "setup unset leaves it to its default:\n"
    "  colour-mode             a word of --tone\n"
    "  size-mode               picture, saved (width and height count) or screen\n"
    "  width, height           inches, {inches}\n"
    "  resolution-mode         picture, saved (the two below count) or screen\n"
    "  x-resolution, y-resolution\n"
    "                          dots per inch, {dots}\n"
    "\n"
    "Exit status: 0 done, 1 export failed, 2 wrong usage, 3 picture or profile refused, 4 GIF or\n"
    "profile not written, 5 stopped by the user; of many pictures the highest.\n";

// In two columns; a left one that does not fit has its own line.
void printRow(const OptionRow& row) {
    std::string left = row.letter != 0 ? std::string("  -") + row.letter + ", --" : "      --";
    left += row.name;
    if (row.argument != nullptr) left += std::string(" ") + row.argument;
    const std::string indent = '\n' + std::string(kHelpColumn, ' ');
    left += left.size() < kHelpColumn ? std::string(kHelpColumn - left.size(), ' ') : indent;
    for (const char c : withLimits(row.help)) left += c == '\n' ? indent : std::string(1, c);
    std::puts(left.c_str());
}

}  // namespace

std::string withLimits(std::string text) {
    const std::pair<std::string, std::string> limits[] = {{"{inches}", inchesLimits()},
                                                          {"{dots}", dotsLimits()},
                                                          {"{usual dots}", std::to_string(kTolvaDefaultResolution)},
                                                          {"{pixels}", std::to_string(kDefaultMostPixels)}};
    for (const auto& [name, limit] : limits) {
        for (size_t at = 0; (at = text.find(name)) != std::string::npos;) text.replace(at, name.size(), limit);
    }
    return text;
}

ExitStatus printHelp() {
    std::fputs(kUsage, stdout);
    for (const OptionRow& row : kOptionTable) {
        if (row.help != nullptr) printRow(row);
    }
    std::fputs(withLimits(kRest).c_str(), stdout);
    return flushOutput();
}

}  // namespace cli
