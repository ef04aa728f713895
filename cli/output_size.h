// output_size.h: how large the GIF will be, and what the driver has to be told so that it becomes that large.
#ifndef TOLVA_CLI_OUTPUT_SIZE_H
#define TOLVA_CLI_OUTPUT_SIZE_H

#include "cli/messages.h"
#include "cli/options.h"
#include "cli/picture.h"

namespace cli {

// The resolution that the picture itself is given. A power of two: the driver divides the picture's pixels by it and
// multiplies again, truncating, and with 100 or 300 some sizes would lose a row or a column.
inline constexpr int kPictureResolution = 128;

struct OutputSize {
    bool boxed;      // the box and the resolution count
    Box box;         // inches
    int resolution;  // dots per inch, both directions
    double width;    // pixels of the GIF
    double height;
};

// Refuses what the driver cannot draw or no decoder reads.
ExitStatus planOutputSize(const Options& options, const Picture& picture, OutputSize& size);

}  // namespace cli

#endif
