// main.cpp: the command-line host. One export is: where does the GIF go, load the library and the settings, read the
// picture, plan its size, prepare it, drive the device, keep the file. Everything else here is about starting and
// ending well.

#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/commands/info.h"
#include "cli/commands/setup.h"
#include "cli/library/library.h"
#include "cli/library/output_size.h"
#include "cli/library/session.h"
#include "cli/options/options.h"
#include "cli/output/output_file.h"
#include "cli/picture/key_colour.h"
#include "cli/picture/prepare.h"
#include "cli/picture/read.h"
#include "cli/settings/profile.h"
#include "cli/terminal/progress.h"
#include "cli/terminal/text.h"

namespace {

using namespace cli;

constexpr Colour kWhite = {255, 255, 255};

// A process may be started without its standard files; the first files opened would then take their numbers, and
// messages would go into the GIF. Opened for reading only, so that writing a GIF there fails as it should.
void occupyStandardFiles() {
    int file = -1;
    do {
        file = open("/dev/null", O_RDONLY);
    } while (file >= 0 && file <= STDERR_FILENO);
    if (file >= 0) close(file);
}

bool lookAt(const char* path, int standardFile, struct stat& about) {
    return (isStandard(path) ? fstat(standardFile, &about) : stat(path, &about)) == 0;
}

// Under any name of it.
bool isTerminal(const char* output) {
    struct stat about = {};
    if (isStandard(output)) return isatty(STDOUT_FILENO) != 0;
    if (stat(output, &about) != 0 || !S_ISCHR(about.st_mode)) return false;
    const int file = open(output, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    const bool is = file >= 0 && isatty(file) != 0;
    if (file >= 0) close(file);
    return is;
}

// No file is opened yet: the picture stays as it is whatever its other name, and whether overwriting is wished or not.
ExitStatus checkTarget(const Options& options) {
    if (isTerminal(options.output)) {
        return fail(kExitWrongUsage, "%s is a terminal, which shows no GIF: redirect it, or name a file",
                    isStandard(options.output) ? "standard output" : options.output);
    }
    struct stat from = {};
    struct stat to = {};
    if (!lookAt(options.picture, STDIN_FILENO, from) || !lookAt(options.output, STDOUT_FILENO, to)) return kExitDone;
    const bool keepsBytes = S_ISREG(from.st_mode) || S_ISBLK(from.st_mode);
    if (!keepsBytes || from.st_dev != to.st_dev || from.st_ino != to.st_ino) return kExitDone;
    return fail(kExitWrongUsage, "%s: is the picture itself, and is not overwritten",
                isStandard(options.output) ? "standard output" : options.output);
}

void notePicture(const char* name, const Picture& picture) {
    if (picture.bitsPerPixel == kColourBits) {
        note("%s: %u x %u pixels, true colour", name, picture.width, picture.height);
    } else {
        note("%s: %u x %u pixels, %u colours", name, picture.width, picture.height, picture.colours);
    }
}

// What the user asks for wins over what the picture brings.
ExitStatus chooseTransparency(const Options& options, const Library& library, TolvaConversionMode tone,
                              Picture& picture, std::optional<Colour>& transparent) {
    transparent = options.transparent;
    if (transparent || picture.transparentIndex == kNoTransparency) return kExitDone;
    return settleKey(library, tone, picture, transparent.emplace());
}

ExitStatus drawAndKeep(const Options& options, const Library& library, const Settings& settings, Picture& picture,
                       OutputFile& output) {
    notePicture(inputName(options.picture), picture);
    OutputSize size = {};
    ExitStatus status = planOutputSize(library, options.road, options.mostPixels, picture, size);
    if (status != kExitDone) return status;
    PrepareOrder prepare = {options.dither, toneOf(*settings.setup), options.background.value_or(kWhite)};
    status = preparePicture(library, prepare, size, picture);
    if (status != kExitDone) return status;
    std::optional<Colour> transparent;
    status = chooseTransparency(options, library, prepare.tone, picture, transparent);
    // On the other roads the driver converts colours as they come.
    if (status == kExitDone && options.road == Road::kExport) status = applyTone(library, prepare.tone, picture);
    if (status == kExitDone) status = openOutput(output, !options.writeByLibrary);
    if (status != kExitDone) return status;
    startBar(options.verbosity != kQuiet);
    status = runSession(library, ExportOrder{.road = options.road,
                                             .setup = settings.handle,
                                             .picture = &picture,
                                             .sizeReached = size.reached,
                                             .interlace = options.interlace,
                                             .tone = prepare.tone,
                                             .transparent = transparent,
                                             .background = options.background,
                                             .fileName = output.libraryName.c_str(),
                                             .hostFile = output.throughHost ? &output.hostFile : nullptr});
    return status == kExitDone ? keepOutput(output) : status;
}

ExitStatus exportPicture(const Options& options, const char* programWord) {
    OutputFile output;
    ExitStatus status = checkTarget(options);
    if (status != kExitDone) return status;
    status = locateOutput(output, options.output, options.overwrite);
    Picture picture;
    Library library = {};
    Settings settings = {};
    if (status == kExitDone) status = loadLibrary(library, options.library, programWord);
    if (status == kExitDone) {
        note("library: %s, version 0x%08x", library.path.c_str(), library.version);
        status = loadSettings(library, options.profile, settings);
    }
    if (status == kExitDone) status = applyOptions(options, *settings.setup);
    if (status == kExitDone) {
        status = readPicture(options.picture, options.background.value_or(kWhite), !options.transparent,
                             options.mostPixels, picture);
    }
    if (status == kExitDone) status = drawAndKeep(options, library, settings, picture, output);
    dropSettings(library, settings);
    closeOutput(output);
    return status == kExitStopped ? fail(status, "stopped") : status;
}

ExitStatus showVersion(const Options& options, const char* programWord) {
    std::printf("tolva %s\n", TOLVA_VERSION);
    Library library = {};
    const ExitStatus status = loadLibrary(library, options.library, programWord);
    if (status == kExitDone) std::printf("library 0x%08x, %s\n", library.version, shownText(library.path).c_str());
    const ExitStatus flushed = flushOutput();
    return status == kExitDone ? flushed : status;
}

}  // namespace

int main(int count, char** words) {
    occupyStandardFiles();
    Options options;
    const ExitStatus status = parseOptions(count, words, options);
    if (status != kExitDone) return status;
    setVerbosity(options.verbosity);
    const char* const programWord = count > 0 ? words[0] : "";
    if (options.command == Command::kShowHelp) return printHelp();
    if (options.command == Command::kShowVersion) return showVersion(options, programWord);
    catchStopSignals();
    if (options.command == Command::kExport) return exportPicture(options, programWord);
    return options.command == Command::kShowInfo ? showInfo(options, programWord) : runSetup(options, programWord);
}
