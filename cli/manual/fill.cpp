// fill.cpp: a program of the build's own: copies a template of the manual page or of a shell's completion to standard
// output and puts the options in, from their one table, where a line is a mark. fill TEMPLATE > FILE

#include <cstring>
#include <fstream>
#include <iostream>
#include <string>

#include "cli/options/option_table.h"

namespace cli {
namespace {

bool takesFile(const OptionRow& row) {
    return row.argument != nullptr &&
           (std::strcmp(row.argument, "FILE") == 0 || std::strcmp(row.argument, "PATH") == 0);
}

bool takesFolder(const OptionRow& row) { return row.argument != nullptr && std::strcmp(row.argument, "FOLDER") == 0; }

// The argument's words, one of which is wanted, with a space between them; empty where there are none to choose from.
std::string wordsOf(const OptionRow& row) {
    if (row.argument == nullptr || std::strchr(row.argument, '|') == nullptr) return {};
    std::string words = row.argument;
    for (char& c : words) c = c == '|' ? ' ' : c;
    return words;
}

std::string namesOf(const OptionRow& row, const char* between) {
    std::string names = std::string("--") + row.name;
    if (row.letter != 0) names = std::string("-") + row.letter + between + names;
    return names;
}

std::string oneLine(const OptionRow& row) {
    std::string text = withLimits(row.help == nullptr ? "" : row.help);
    for (char& c : text) c = c == '\n' ? ' ' : c;
    return text;
}

std::string replaced(std::string text, const std::string& what, const std::string& with) {
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size()) {
        text.replace(at, what.size(), with);
    }
    return text;
}

// Hyphens are minus signs, for they are typed.
std::string roff(const std::string& text) { return replaced(replaced(text, "\\", "\\e"), "-", "\\-"); }

void printManualRow(const OptionRow& row) {
    if (row.help == nullptr) return;
    std::cout << ".TP\n\\fB" << replaced(roff(namesOf(row, ", ")), ", ", "\\fR, \\fB") << "\\fR";
    if (row.argument != nullptr) std::cout << " \\fI" << roff(row.argument) << "\\fR";
    std::cout << '\n' << roff(oneLine(row)) << '\n';
}

void printBashRow(const OptionRow& row) {
    if (row.argument == nullptr) return;
    std::cout << "    " << namesOf(row, " | ") << ")\n";
    if (takesFile(row)) {
        std::cout << "      _filedir\n";
    } else if (takesFolder(row)) {
        std::cout << "      _filedir -d\n";
    } else if (!wordsOf(row).empty()) {
        std::cout << "      mapfile -t COMPREPLY < <(compgen -W '" << wordsOf(row) << "' -- \"$cur\")\n";
    }
    std::cout << "      return\n      ;;\n";
}

void printBashNames(const OptionRow& row) {
    if (row.help != nullptr) std::cout << "      " << namesOf(row, " ") << '\n';
}

void printZshRow(const OptionRow& row) {
    if (row.help == nullptr) return;
    const std::string value = row.argument == nullptr ? "" : "=";
    const std::string name = std::string("--") + row.name + value;
    const std::string told = replaced(replaced(replaced(oneLine(row), "'", "'\\''"), "[", "\\["), "]", "\\]");
    std::string ending = '[' + told + ']';
    if (takesFile(row)) {
        ending += ":file:_files";
    } else if (takesFolder(row)) {
        ending += ":folder:_files -/";
    } else if (!wordsOf(row).empty()) {
        ending += ":word:(" + wordsOf(row) + ')';
    } else if (row.argument != nullptr) {
        ending += std::string(":") + row.argument + ": ";
    }
    if (row.letter == 0) {
        std::cout << "    '" << name << ending << "' \\\n";
        return;
    }
    const std::string letter = std::string("-") + row.letter;
    std::cout << "    '(" << letter << " --" << row.name << ")'{" << letter << ',' << name << "}'" << ending
              << "' \\\n";
}

struct Mark {
    const char* line;
    void (*print)(const OptionRow& row);
};

constexpr Mark kMarks[] = {{"@manual@", printManualRow},
                           {"@bash cases@", printBashRow},
                           {"@bash names@", printBashNames},
                           {"@zsh@", printZshRow}};

void printLine(const std::string& line) {
    for (const Mark& mark : kMarks) {
        if (line != mark.line) continue;
        for (const OptionRow& row : kOptionTable) mark.print(row);
        return;
    }
    std::cout << replaced(withLimits(line), "@version@", TOLVA_VERSION) << '\n';
}

}  // namespace
}  // namespace cli

int main(int count, char** words) {
    std::ifstream from(count == 2 ? words[1] : "");
    if (!from) return 1;
    for (std::string line; std::getline(from, line);) cli::printLine(line);
    return std::cout.flush() ? 0 : 1;
}
