// options.cpp: from the words of the command line to Options, by the table of options. Called by main.

#include "cli/options/options.h"

#include <cstring>
#include <string>

#include <getopt.h>

#include "cli/options/option_table.h"

namespace cli {
namespace {

constexpr int kFirstLong = 256;  // beyond every character; a row's number is added

struct GetoptTables {
    std::string letters = ":";  // a missing value is answered as ":"
    option names[kOptionRows + 1] = {};
};

GetoptTables makeTables() {
    GetoptTables tables;
    for (size_t i = 0; i < kOptionRows; ++i) {
        const OptionRow& row = kOptionTable[i];
        const int takes = row.argument != nullptr ? required_argument : no_argument;
        tables.names[i] = {row.name, takes, nullptr, kFirstLong + static_cast<int>(i)};
        if (row.letter == 0) continue;
        tables.letters += row.letter;
        if (row.argument != nullptr) tables.letters += ':';
    }
    return tables;
}

// Of the number of a long option, or a letter.
const OptionRow& rowOf(int option) {
    if (option >= kFirstLong) return kOptionTable[option - kFirstLong];
    const OptionRow* row = kOptionTable;
    while (row->letter != option) ++row;
    return *row;
}

ExitStatus takePicture(int count, char** words, Options& options) {
    if (count == 0) return fail(kExitWrongUsage, "no picture is named (see --help)");
    if (count > 1) return fail(kExitWrongUsage, "one picture at a time: %s is one too many", inputName(words[1]));
    options.picture = words[0];
    return kExitDone;
}

// What a list names is checked where it is read.
ExitStatus takeMany(int count, char** words, Options& options) {
    options.command = Command::kExportMany;
    if (options.output != nullptr) return fail(kExitWrongUsage, "-o and -d exclude each other");
    if (options.overwrite && options.skipExisting) {
        return fail(kExitWrongUsage, "--force and --skip-existing exclude each other");
    }
    if (options.namesEndInZero && options.namesFile == nullptr) {
        return fail(kExitWrongUsage, "--null goes with --files-from");
    }
    if (count == 0 && options.namesFile == nullptr) return fail(kExitWrongUsage, "no picture is named (see --help)");
    options.pictures = words;
    options.pictureCount = static_cast<size_t>(count);
    // What lies in the folder where a batch is started is not meant for it.
    options.profile.none = options.profile.file == nullptr && options.profile.section == nullptr;
    return kExitDone;
}

ExitStatus takeExport(int count, char** words, Options& options) {
    if (options.folder != nullptr) return takeMany(count, words, options);
    const char* const ofMany = options.namesFile != nullptr ? "--files-from"
                               : options.namesEndInZero     ? "--null"
                               : options.skipExisting       ? "--skip-existing"
                                                            : nullptr;
    if (ofMany != nullptr) return fail(kExitWrongUsage, "%s goes with -d", ofMany);
    if (count == 2 && options.output == nullptr) {
        return fail(kExitWrongUsage, "the output is named with -o: -o %s", words[1]);
    }
    if (const ExitStatus failed = takePicture(count, words, options)) return failed;
    if (options.json) return fail(kExitWrongUsage, "--json goes with info or -d");
    if (options.output == nullptr || options.output[0] == '\0') {
        return fail(kExitWrongUsage, "the output is not named: -o FILE (see --help)");
    }
    return kExitDone;
}

ExitStatus takeInfo(int count, char** words, Options& options) {
    options.command = Command::kShowInfo;
    if (options.exportOption != nullptr) {
        return fail(kExitWrongUsage, "info writes no GIF: --%s does not go with it", options.exportOption);
    }
    return takePicture(count, words, options);
}

ExitStatus takeSet(int count, char** words, Options& options) {
    const bool sets = std::strcmp(words[0], "set") == 0;
    options.command = sets ? Command::kSetSetting : Command::kUnsetSetting;
    if (count != (sets ? 3 : 2)) {
        return fail(kExitWrongUsage, "setup %s wants a key%s (see --help)", words[0], sets ? " and a value" : "");
    }
    if (options.profile.none) {
        return fail(kExitWrongUsage, "setup %s changes a profile: --no-profile excludes it", words[0]);
    }
    options.key = findSettingKey(words[1]);
    if (options.key == nullptr) return fail(kExitWrongUsage, "%s is no setting (see --help)", words[1]);
    return sets ? parseSetting(*options.key, options.key->word, words[2], options.value) : kExitDone;
}

ExitStatus takeSetup(int count, char** words, Options& options) {
    for (const char* const option : {options.pictureOption, options.exportOption}) {
        if (option != nullptr) return fail(kExitWrongUsage, "--%s does not go with setup", option);
    }
    const char* const verb = count == 0 ? "" : words[0];
    if (std::strcmp(verb, "set") == 0 || std::strcmp(verb, "unset") == 0) return takeSet(count, words, options);
    const bool shows = std::strcmp(verb, "show") == 0;
    if (count != 1 || (!shows && std::strcmp(verb, "path") != 0)) {
        return fail(kExitWrongUsage, "setup is followed by show, set KEY VALUE, unset KEY or path");
    }
    if (!shows && options.profile.none) return fail(kExitWrongUsage, "setup path and --no-profile exclude each other");
    options.command = shows ? Command::kShowSettings : Command::kShowProfilePath;
    return kExitDone;
}

// What only one of the two knows, the program's own stages or the library's.
ExitStatus checkRaw(const Options& options) {
    const bool rawDither = options.dither == Dither::kBlackAndWhite || options.dither == Dither::kSixteenColours;
    const char* const own = options.colours                                        ? "--colours"
                            : options.enlarge                                      ? "--enlarge"
                            : options.dither != Dither::kUnlessExact && !rawDither ? "--dither none or diffusion"
                                                                                   : nullptr;
    if (options.raw && own != nullptr) return fail(kExitWrongUsage, "--raw excludes %s", own);
    if (!options.raw && rawDither) {
        return fail(kExitWrongUsage, "--dither %d goes with --raw; otherwise --colours says how many there may be",
                    options.dither == Dither::kBlackAndWhite ? 2 : 16);
    }
    if (options.enlarge && options.sizeRequest != SizeRequest::kFitPixels) {
        return fail(kExitWrongUsage, "--enlarge goes with --fit");
    }
    return kExitDone;
}

ExitStatus takeOperands(int count, char** words, Options& options) {
    if (options.command != Command::kExport) return kExitDone;
    if (options.profile.none && (options.profile.file != nullptr || options.profile.section != nullptr)) {
        return fail(kExitWrongUsage, "--no-profile excludes --profile and --section");
    }
    if (options.resolution != 0 && options.sizeRequest == SizeRequest::kFitPixels) {
        return fail(kExitWrongUsage, "--resolution does not go with --fit");
    }
    if (const ExitStatus failed = checkRaw(options)) return failed;
    if (count > 0 && std::strcmp(words[0], "setup") == 0) return takeSetup(count - 1, words + 1, options);
    if (count > 0 && std::strcmp(words[0], "info") == 0) return takeInfo(count - 1, words + 1, options);
    return takeExport(count, words, options);
}

}  // namespace

ExitStatus parseOptions(int count, char** words, Options& options) {
    options = Options{};
    options.verbosity = kNormal;
    options.mostPixels = kDefaultMostPixels;
    const GetoptTables tables = makeTables();
    opterr = 0;
    for (;;) {
        const int option = getopt_long(count, words, tables.letters.c_str(), tables.names, nullptr);
        if (option == -1) break;
        if (option == ':') return fail(kExitWrongUsage, "%s lacks its value (see --help)", words[optind - 1]);
        if (option == '?' && optopt != 0 && optopt < kFirstLong) {
            return fail(kExitWrongUsage, "-%c is no option (see --help)", optopt);
        }
        if (option == '?') return fail(kExitWrongUsage, "%s is no option (see --help)", words[optind - 1]);
        const OptionRow& row = rowOf(option);
        if (row.commands == kForPictures) options.pictureOption = row.name;
        if (row.commands == kForExport) options.exportOption = row.name;
        if (const ExitStatus failed = row.set(optarg, options)) return failed;
    }
    return takeOperands(count - optind, words + optind, options);
}

}  // namespace cli
