// output_size.h: how large the GIF will be under the settings.
#ifndef TOLVA_CLI_LIBRARY_OUTPUT_SIZE_H
#define TOLVA_CLI_LIBRARY_OUTPUT_SIZE_H

#include "cli/library/library.h"
#include "cli/library/way.h"
#include "cli/picture/read.h"
#include "cli/terminal/messages.h"

namespace cli {

// The resolution that the picture itself is given. A power of two: the driver divides the picture's pixels by it and
// multiplies again, truncating, and with 100 or 300 some sizes would lose a row or a column.
inline constexpr int kPictureResolution = 128;

struct OutputSize {
    double width;  // pixels of the GIF, whole
    double height;
    double rows;   // as the settings have them: the height, but for a row that the way adds
    bool reached;  // the picture has them already, whatever the settings say
};

struct SizeQuestion {
    Way way;
    bool raw;        // the library scales
    uint32_t width;  // of the picture
    uint32_t height;
    uint64_t mostPixels;
};

// Asks the library, which answers by the settings made last.
OutputSize askOutputSize(const Library& library, const SizeQuestion& question);
// Refuses what the driver cannot draw or no decoder reads, and more pixels than the user allows. Tells the user of a
// row that the way adds.
ExitStatus planOutputSize(const Library& library, const SizeQuestion& question, OutputSize& size);

}  // namespace cli

#endif
