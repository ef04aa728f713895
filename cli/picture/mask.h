// mask.h: a picture's transparent pixels, while its colours change.
#ifndef TOLVA_CLI_PICTURE_MASK_H
#define TOLVA_CLI_PICTURE_MASK_H

#include "cli/picture/read.h"
#include "cli/terminal/messages.h"

namespace cli {

// The pixels of the transparent index; afterwards no index is.
ExitStatus makeMaskFromIndex(Picture& picture);
// Pixels of this very colour join the mask; tells whether there are any.
ExitStatus maskColour(Picture& picture, Colour colour, bool& found);
// Transparent pixels take a colour that the picture has anyway: they then cost no entry of a reduced palette.
void fillTransparentPixels(Picture& picture);
// Of a ramp of 256 greys, the index of a level that no opaque pixel has. Where every level has some, the rarest one's
// pixels move to its neighbour.
uint32_t freeLevel(Picture& picture);
// The mask's pixels get this index, and the mask goes.
void putTransparentIndex(Picture& picture, uint32_t index, Colour colour);

}  // namespace cli

#endif
