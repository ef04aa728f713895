// gif_export.h: the library as a host drives it.
#ifndef TOLVA_QT_GIF_EXPORT_H
#define TOLVA_QT_GIF_EXPORT_H

#include <QString>

#include "qt/indexed_picture.h"
#include "qt/memory_file.h"

namespace qtolva {

// The picture as a whole GIF in the empty `gif`; threads wait for one another. The transparent entry may get another
// colour, which nobody sees. A sentence where it cannot be done, else nothing.
QString exportGif(IndexedPicture& picture, bool interlace, MemoryFile& gif);

}  // namespace qtolva

#endif
