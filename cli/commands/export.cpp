// export.cpp: where does the GIF go, load the library and the settings, read the picture, plan its size, prepare it,
// drive the device, put the file in its place. Called by main.

#include "cli/commands/commands.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/library/library.h"
#include "cli/library/output_size.h"
#include "cli/library/session.h"
#include "cli/output/output_file.h"
#include "cli/picture/key_colour.h"
#include "cli/picture/raw.h"
#include "cli/picture/read.h"
#include "cli/picture/tone.h"
#include "cli/settings/profile.h"
#include "cli/terminal/bar.h"

namespace cli {
namespace {

constexpr Colour kWhite = {255, 255, 255};

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

ExitStatus writePicture(const Options& options, const Library& library, const Settings& settings, Picture& picture,
                        OutputFile& output) {
    notePicture(inputName(options.picture), picture);
    OutputSize size = {};
    if (const ExitStatus failed = planOutputSize(library, options.way, options.mostPixels, picture, size)) {
        return failed;
    }
    RawOrder prepare = {options.dither, toneOf(*settings.setup), options.background.value_or(kWhite)};
    if (const ExitStatus failed = prepareRaw(library, prepare, size, picture)) return failed;
    std::optional<Colour> transparent;
    if (const ExitStatus failed = chooseTransparency(options, library, prepare.tone, picture, transparent)) {
        return failed;
    }
    if (options.way == Way::kExport) {  // on the other ways the driver converts colours as they come
        if (const ExitStatus failed = applyTone(library, prepare.tone, picture)) return failed;
    }
    if (const ExitStatus failed = openOutput(output, !options.writeByLibrary)) return failed;
    startBar(options.verbosity != kQuiet);
    const ExportOrder order = {.way = options.way,
                               .setup = settings.handle,
                               .picture = &picture,
                               .sizeReached = size.reached,
                               .interlace = options.interlace,
                               .tone = prepare.tone,
                               .transparent = transparent,
                               .background = options.background,
                               .fileName = output.libraryName.c_str(),
                               .hostFile = output.throughHost ? &output.hostFile : nullptr};
    if (const ExitStatus failed = runSession(library, order)) return failed;
    return placeOutput(output);
}

}  // namespace

ExitStatus exportPicture(const Options& options, const char* programWord) {
    OutputFile output;
    Library library = {};
    Settings settings;
    Picture picture;
    if (const ExitStatus failed = checkTarget(options)) return failed;
    if (const ExitStatus failed = locateOutput(output, options.output, options.overwrite)) return failed;
    if (const ExitStatus failed = loadLibrary(library, options.library, programWord)) return failed;
    note("library: %s, version 0x%08x", library.path.c_str(), library.version);
    if (const ExitStatus failed = loadSettings(library, options.profile, settings)) return failed;
    if (const ExitStatus failed = applyOptions(options, *settings.setup)) return failed;
    const Colour background = options.background.value_or(kWhite);
    if (const ExitStatus failed =
            readPicture(options.picture, background, !options.transparent, options.mostPixels, picture)) {
        return failed;
    }
    return writePicture(options, library, settings, picture, output);
}

}  // namespace cli
