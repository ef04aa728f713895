// prepare.h: from the picture as it was read to what the driver gets.
#ifndef TOLVA_CLI_PICTURE_PREPARE_H
#define TOLVA_CLI_PICTURE_PREPARE_H

#include <optional>

#include "cli/library/library.h"
#include "cli/library/output_size.h"
#include "cli/options/options.h"
#include "cli/picture/read.h"
#include "cli/terminal/messages.h"

namespace cli {

struct Prepared {
    OutputSize size;
    TolvaConversionMode tone;  // that the library has to apply
    std::optional<Colour> transparent;
};

// `prepared` comes with the size that is planned and the tone that the settings ask for.
ExitStatus preparePicture(const Options& options, const Library& library, Picture& picture, Prepared& prepared);

}  // namespace cli

#endif
