/* output.h: from a bitmap, or from bands of rows, to the one GIF image of the output stream.
 * Readable as C and as C++. */
#ifndef TOLVA_OUTPUT_OUTPUT_H
#define TOLVA_OUTPUT_OUTPUT_H

#include <stdint.h>

#include "host/host.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

enum {
    kSpoolNameBytes = 256,
    kLargestMemorySpool = 349999 /* pixels; one more goes to a file */
};

/* ---- The pipeline ---------------------------------------------------------------------------------------------- */

/* Writes a whole bitmap, bottom row first, to the device's output stream. Reports nothing. */
void RasterWriteCellData(Handle bitmap, int32_t width, int32_t height, int32_t resolution, int16_t bitsPerPixel,
                         int16_t colourModel);

/* The host's picture, drawn band by band: (operation, record, argument 1, argument 2). */
typedef intptr_t (*OffscreenCallback)(intptr_t operation, intptr_t record, intptr_t a, intptr_t b);
int32_t OutputPicture(Handle stream, void* hostContext, OffscreenCallback callback);
int32_t ExportCellData(const char* fileName, void* pictureInformation, void* cellBitmap, void* hostArguments);

/* ---- The GIF writer -------------------------------------------------------------------------------------------- */

/* One image being written. */
typedef struct CellBitmapState {
    uint32_t calls;         /* bands so far */
    int32_t height;
    int32_t rowsToCome;
    uint32_t bytesPerRow;
    uint32_t bitCarry;      /* bits of the last byte already written, 0 to 7 */
    void* spoolData;        /* memory spool: its block, kept up to date by its stream */
    Handle spoolBlock;      /* memory spool: non-zero while there is one */
    char spoolName[kSpoolNameBytes];
    Handle spool;           /* spool stream, 0 when none is open */
} CellBitmapState;

/* Writes everything up to the image data. The palette (2^bits triples, room for 16) gets the transparent colour.
 * Always -1; `state` receives the image's handle, or 0. */
int32_t BeginCellBitmap(Handle stream, int32_t width, int32_t height, int16_t bitsPerPixel, uint8_t* palette,
                        Handle* state);
/* Writes a band of rows, stored bottom row first with rows padded to 4 bytes. 0, 300 or 303. The band's memory may be
 * overwritten. */
int32_t WriteCellBits(Handle stream, Handle band, int32_t width, int32_t rows, int16_t bitsPerPixel, int16_t unused,
                      Handle state);
/* Writes what is spooled, and the trailer; frees the state. 0 or 303. */
int32_t EndCellBitmap(Handle stream, Handle state);
Handle GifOpenSpoolFile(CellBitmapState* state, int32_t pixels);
int32_t GifWriteSpoolFile(Handle spool, const void* bytes, int32_t count);
int32_t GifCloseSpoolFile(CellBitmapState* state);
/* Compresses the spooled rows in interlace order; the last segment's result. */
int32_t GifInterlaceandWrite(CellBitmapState* state, Handle stream);
/* Like rlNearestRGBIndex, but always searches at least 16 entries. */
int16_t get_nearest_rgb_index(int16_t red, int16_t green, int16_t blue, const uint8_t* palette, int16_t count);

/* ---- LZW ------------------------------------------------------------------------------------------------------- */

/* One segment: its sub-blocks, then the block terminator (last) or the parked partial byte. 0 or 303. */
int32_t CompressAndWrite(Handle stream, const uint8_t* pixels, uint8_t* work, int32_t count, int32_t first,
                         int32_t last, uint32_t* carry);
/* The encoder: returns the bytes of its final flush, which is the partial byte's index in the work buffer. */
int32_t LZWCompression(Handle stream, const uint8_t* pixels, uint8_t* work, int32_t count, int32_t first, int32_t last,
                       uint32_t* carry);
/* ORs a code into the work buffer, least significant bit first, and clears the bytes ahead. */
void LZWPutCode(uint8_t* work, uint32_t* bitPosition, uint32_t code, uint16_t width);
/* Sub-blocks of at most 254 bytes; 0 or 303. */
int32_t LZWWriteSubBlocks(Handle stream, const uint8_t* bytes, uint32_t count);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
