// source.cpp: reading a picture and asking for its size, which each needs the other: how it is read depends on whether
// it will be scaled. Called by the export and info commands.

#include "cli/commands/source.h"

namespace cli {
namespace {

struct Asker {
    const Options& options;
    const Library& library;
    const Settings& settings;
};

SizeQuestion settleQuestion(const Options& options, const Settings& settings, uint32_t width, uint32_t height) {
    settleFit(options, width, height, *settings.setup);
    return {options.way, options.raw, width, height, options.mostPixels};
}

bool willScale(uint32_t width, uint32_t height, void* context) {
    const Asker& asker = *static_cast<const Asker*>(context);
    const SizeQuestion question = settleQuestion(asker.options, asker.settings, width, height);
    const OutputSize size = askOutputSize(asker.library, question);
    return size.width != width || size.rows != height;
}

}  // namespace

ExitStatus readSource(const Options& options, const Library& library, const Settings& settings, bool scaled,
                      Picture& picture) {
    Asker asker = {options, library, settings};
    const ReadOrder order = {
        .path = options.picture,
        .background = options.background.value_or(kWhite),
        .keepTransparency = !options.transparent,
        .raw = options.raw,
        .looksOnly = !options.raw && !options.transparent && toneOf(*settings.setup) == kTolvaConvertNothing,
        .mostPixels = options.mostPixels,
        .willScale = scaled && !options.raw ? willScale : nullptr,
        .asker = &asker};
    return readPicture(order, picture);
}

ExitStatus planSource(const Options& options, const Library& library, const Settings& settings, const Picture& picture,
                      OutputSize& size) {
    return planOutputSize(library, settleQuestion(options, settings, picture.width, picture.height), size);
}

}  // namespace cli
