// orientation.h: which way up a photograph lies in its file, and where its rows therefore go. The eight orientations
// are EXIF's: 1 as it is, 2 mirrored, 3 upside down, 4 mirrored upside down, 5 to 8 with rows and columns exchanged.
#ifndef TOLVA_IMAGEIO_ORIENTATION_H
#define TOLVA_IMAGEIO_ORIENTATION_H

#include <cstddef>
#include <cstdint>

#include "imageio/picture.h"

namespace imageio {

inline constexpr int kUpright = 1;

// Out of an APP1 segment; nothing where it says nothing that can be believed.
inline constexpr int kNoOrientation = 0;
int orientationOf(const uint8_t* segment, size_t size);

inline bool exchangesAxes(int orientation) { return orientation > 4; }

// For orientations that exchange nothing: where row `y` of the file goes, and its mirroring there.
uint8_t* rowOfFile(const Picture& picture, uint32_t y, int orientation);
void mirrorRow(const Picture& picture, uint8_t* row, int orientation);
// For the others: `count` rows of the file from row `y` on become columns. Several at once, because neighbouring
// columns share cache lines.
void placeColumns(const Picture& picture, const uint8_t* rows, size_t stride, uint32_t y, uint32_t count,
                  int orientation);

}  // namespace imageio

#endif
