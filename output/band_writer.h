// band_writer.h: the image data of one band. Its rows are asked for in the order of the file, so that a row can go to
// the encoder from where it lies, or from where it is made: turning a whole copy would cost another picture's worth of
// memory.
#ifndef TOLVA_OUTPUT_BAND_WRITER_H
#define TOLVA_OUTPUT_BAND_WRITER_H

#include "output/lzw.h"
#include "settings/current.h"

namespace tolva {

inline bool isInterlaced(const Setup& setup) { return setup.interlaceChoice == kTolvaInterlaced; }
inline int64_t bandRowBytes(int32_t width, int16_t bits) { return (int64_t{width} * bits + 7) / 8; }

struct BandWriter {
    CellBitmapState* image;
    Encoder* encoder;  // null where rows go to the image's spool
    int64_t rowBytes;
    int64_t rows;
    int64_t imageRow;  // the next one, from the band's top
    bool interlaced;   // the band is the whole image, and its rows are wanted in interlace order
    int pass;
    bool last;
    uint8_t work[kWorkBytes];
};

// Counts the band as the image's next. `work` is what the encoder's work buffer holds at first, or null for zeros.
void beginBand(BandWriter& band, Handle stream, CellBitmapState& image, int64_t rowBytes, int32_t rows,
               const uint8_t* work);
// The row to be put next, counted from the band's bottom as bitmaps lie; -1 behind the last.
int64_t nextRow(const BandWriter& band);
void putRow(BandWriter& band, const uint8_t* row);
int32_t endBand(BandWriter& band);

// WriteCellBits for a band of 8 bits that is not the writer's: its memory is left alone.
int32_t writeReadOnlyBand(Handle stream, Handle band, int32_t width, int32_t rows, Handle state);

}  // namespace tolva

#endif
