// export.cpp: where does the GIF go, load the library and the settings, read the picture, plan its size, prepare it,
// drive the device, put the file in its place. Called by main, and for each of many pictures by exportMany.

#include "cli/commands/export.h"

#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/commands/commands.h"
#include "cli/commands/source.h"
#include "cli/library/session.h"
#include "cli/picture/colours.h"
#include "cli/picture/prepare.h"
#include "cli/terminal/bar.h"

namespace cli {
namespace {

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

// No file is opened yet: the picture stays as it is whatever its other name, and whether overwriting is asked for or
// not.
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

// As it was read: scaling may leave more colours or fewer.
ExitStatus notePicture(const Options& options, const Library& library, const Picture& picture) {
    if (options.verbosity != kVerbose) return kExitDone;
    std::string colours = "true colour";
    if (!options.raw && hasEntries(library, EntryGroup::kQuantize)) {
        uint32_t count = 0;
        if (const ExitStatus failed = countColours(library, picture, count)) return failed;
        colours = colourCountText(count);
    } else if (picture.bitsPerPixel == kIndexBits) {
        colours = colourCountText(picture.colours);
    }
    note("%s: %u x %u pixels, %s", inputName(options.picture), picture.width, picture.height, colours.c_str());
    if (picture.converted) note("converted to sRGB from its colour profile or gamma");
    return kExitDone;
}

// Counting takes a pass over the pixels.
ExitStatus recordPicture(const Options& options, const Library& library, const Picture& picture, ExportRecord& record) {
    record.width = picture.width;
    record.height = picture.height;
    return options.json ? countColours(library, picture, record.colours) : kExitDone;
}

ExitStatus writePicture(const Options& options, const Library& library, const Settings& settings, Picture& picture,
                        OutputFile& output, ExportRecord& record) {
    if (const ExitStatus failed = notePicture(options, library, picture)) return failed;
    if (const ExitStatus failed = recordPicture(options, library, picture, record)) return failed;
    Prepared prepared = {.size = {}, .tone = toneOf(*settings.setup), .transparent = {}};
    if (const ExitStatus failed = planSource(options, library, settings, picture, prepared.size)) return failed;
    if (const ExitStatus failed = preparePicture(options, library, picture, prepared)) return failed;
    if (const ExitStatus failed = openOutput(output, !options.writeByLibrary)) return failed;
    const ExportOrder order = {.way = options.way,
                               .setup = settings.handle,
                               .picture = &picture,
                               .sizeReached = prepared.size.reached,
                               .interlace = options.interlace,
                               .tone = prepared.tone,
                               .transparent = prepared.transparent,
                               .background = options.background,
                               .fileName = output.libraryName.c_str(),
                               .hostFile = output.throughHost ? &output.hostFile : nullptr};
    if (const ExitStatus failed = runSession(library, order)) return failed;
    if (picture.bitsPerPixel == kIndexBits) record.gifColours = picture.colours;
    if (const ExitStatus failed = placeOutput(output)) return failed;
    record.gif = output.summary;
    return kExitDone;
}

ExitStatus locateTarget(const Options& options, OutputFile& output) {
    if (const ExitStatus failed = checkTarget(options)) return failed;
    return locateOutput(output, options.output, options.overwrite);
}

ExitStatus exportTo(OutputFile& output, const Options& options, const Library& library, const Settings& settings,
                    ExportRecord& record) {
    Picture picture;
    if (const ExitStatus failed = readSource(options, library, settings, true, picture)) return failed;
    return writePicture(options, library, settings, picture, output, record);
}

}  // namespace

ExitStatus startExports(const Options& options, const char* programWord, Library& library, Settings& settings) {
    if (const ExitStatus failed = loadLibrary(library, options.library, programWord)) return failed;
    note("library: %s, version 0x%08x", library.path.c_str(), library.version);
    if (const ExitStatus failed = loadSettings(library, options.profile, settings)) return failed;
    if (const ExitStatus failed = applyOptions(options, *settings.setup)) return failed;
    startBar(options.verbosity != kQuiet);
    return kExitDone;
}

ExitStatus exportOne(const Options& options, const Library& library, const Settings& settings, ExportRecord& record) {
    OutputFile output;
    if (const ExitStatus failed = locateTarget(options, output)) return failed;
    return exportTo(output, options, library, settings, record);
}

// The target is looked at before anything is loaded.
ExitStatus exportPicture(const Options& options, const char* programWord) {
    OutputFile output;
    Library library = {};
    Settings settings;
    ExportRecord record = {};
    if (const ExitStatus failed = locateTarget(options, output)) return failed;
    if (const ExitStatus failed = startExports(options, programWord, library, settings)) return failed;
    return exportTo(output, options, library, settings, record);
}

}  // namespace cli
