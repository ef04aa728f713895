/** @file
 * From a bitmap, or from bands of rows, to the one GIF image of the output stream.
 * Readable as C and as C++. */
#ifndef TOLVA_OUTPUT_H
#define TOLVA_OUTPUT_H

#include <stdint.h>

#include <tolva/host.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

enum {
    kTolvaSpoolNameBytes = 256,
    kTolvaLargestMemorySpool = 349999 /**< pixels; one more goes to a file */
};

/** A picture handed over whole, as the closing primitive and ExportCellData give it to DrawExportCellData. Both handles
 * stay with whoever filled it. */
typedef struct TolvaPictureDescriptor {
    int16_t depth;       /**< bits a pixel */
    uint16_t width;      /**< pixels */
    uint16_t height;     /**< rows */
    int16_t resolution;  /**< dots per inch, 0 = not given */
    double fullWidth;    /**< the width as a float: what the output's size is asked for with */
    double fullHeight;   /**< the height likewise */
    TolvaHandle palette; /**< triples, 0 for true colour */
    TolvaHandle bitmap;  /**< bottom row first */
} TolvaPictureDescriptor;

/** The picture as a platform's metafile: bounds in dots. */
typedef struct TolvaMetafilePicture {
    uintptr_t metafile;                           /**< 0 on this platform */
    int32_t left;                                 /**< of TolvaExportState.page, as the next three */
    int32_t top;                                  /**< the greater of the two */
    int32_t right;                                /**< the greater of the two */
    int32_t bottom;                               /**< see left */
    int32_t resolution;                           /**< dots per inch */
    int32_t unused;                               /**< 0 */
    intptr_t host[5];                             /**< words 7 to 11 of the status record */
    uintptr_t metafileWord;                       /**< TolvaExportState.metafileWord */
    uint8_t reserve[sizeof(void*) == 8 ? 8 : 28]; /**< 0 */
} TolvaMetafilePicture;

/** What the callback is called for, with which arguments, and what it answers. */
enum TolvaOffscreenOperation {
    kTolvaOffscreenQuery = 0, /**< host context, TolvaOffscreenQuery*: fills it */
    kTolvaOffscreenInit = 1,  /**< record, TolvaOffscreenInit*: fills the table; the rows of a band, 0 = no picture */
    kTolvaOffscreenTerm = 2,  /**< record */
    kTolvaOffscreenDraw = 3   /**< record, lower row, upper row (from the bottom): the band's bitmap, 0 = none */
};

/** The host's picture, drawn on demand: (operation, record, argument 1, argument 2). */
typedef intptr_t (*TolvaOffscreenCallback)(intptr_t operation, intptr_t record, intptr_t a, intptr_t b);

/** What the host answers to kTolvaOffscreenQuery. */
typedef struct TolvaOffscreenQuery {
    double width;       /**< with a resolution in inches, without one in pixels */
    double height;      /**< the same */
    int32_t resolution; /**< dots per inch, 0 = not given */
    int16_t value;      /**< handed on to the writer, which does not use it */
} TolvaOffscreenQuery;

/** What the host is told at kTolvaOffscreenInit. Five native words. */
typedef struct TolvaOffscreenInit {
    intptr_t width;    /**< pixels */
    intptr_t bandRows; /**< as many as are wanted at once */
    intptr_t depth;    /**< bits a pixel that bands must have */
    intptr_t colours;  /**< room in the table */
    uint8_t* palette;  /**< triples, to be filled */
} TolvaOffscreenInit;

/** One picture that is drawn on demand, from init to term. The library's. */
typedef struct TolvaOffscreenRecord {
    void* hostContext;               /**< as OutputPicture was given it */
    TolvaOffscreenCallback callback; /**< the host's */
    int16_t colours;                 /**< entries of the palette */
    uint8_t* palette;                /**< what the file's colour table is written from */
    int32_t width;                   /**< pixels */
    int32_t bandRows;                /**< as asked for */
    int16_t depth;                   /**< bits a pixel */
    TolvaHandle privateBlock;        /**< the callback's own */
    uint8_t flag;                    /**< 0 */
    uint8_t reserve[7];              /**< 0 */
} TolvaOffscreenRecord;

/** Which of ExportCellData's native words is what; the others are not looked at. */
enum TolvaExportArgument {
    kTolvaArgumentSetup = 2,  /**< handle of the Setup block, which becomes lpRaster */
    kTolvaArgumentStatus = 6, /**< address of a TolvaStatusRecord, or 0 */
    kTolvaExportArguments = 7 /**< as many words there must be */
};

/** One image being written. */
typedef struct CellBitmapState {
    uint32_t calls;                       /**< bands so far */
    int32_t height;                       /**< rows of the image */
    int32_t rowsToCome;                   /**< in later bands */
    uint32_t bytesPerRow;                 /**< of the rows that are compressed, without padding */
    uint32_t bitCarry;                    /**< bits of the last byte already written, 0 to 7 */
    void* spoolData;                      /**< memory spool: its block, wherever its stream moves it */
    TolvaHandle spoolBlock;               /**< memory spool: non-zero while there is one */
    char spoolName[kTolvaSpoolNameBytes]; /**< file spool: its path */
    TolvaHandle spool;                    /**< spool stream, 0 when none is open */
} CellBitmapState;

#ifndef TOLVA_TYPES_ONLY

/* ---- The pipeline ---------------------------------------------------------------------------------------------- */

/** Sizes a whole bitmap by the device's window and the settings, brings it to 8 bits and writes it as a GIF to the
 * device's output stream. Reports nothing; without a device nothing happens. Of a picture of four-byte pixels of
 * another model than RGB the bitmap is converted in place; otherwise it is only read, and it stays the caller's.
 *
 * @param bitmap       bottom row first, rows padded to 4 bytes
 * @param width        pixels
 * @param height       rows
 * @param resolution   dots per inch, 0 = none
 * @param bitsPerPixel 1 to 8, 24 or 32; below 24 the device's colour table counts
 * @param colourModel  of four-byte pixels: 2 = CMYK, 3 = RGB and alpha; anything else: RGB and a byte that is ignored
 */
void RasterWriteCellData(TolvaHandle bitmap, int32_t width, int32_t height, int32_t resolution, int16_t bitsPerPixel,
                         int16_t colourModel);

/* ---- Pictures drawn band by band -------------------------------------------------------------------------------- */

/** Asks the host for the picture's size, for colours and a band height, then for band after band, top band first, and
 * writes each as it comes to an open stream, which stays open and the host's; heights are made even. Of pictures in
 * several bands some cannot be decoded. The bands' memory is left alone. Neither this nor ExportCellData can begin in a
 * callback of a call that is under way.
 *
 * @return 0; kTolvaNoPicture when the host has none or no GIF has its size, and nothing is written; else the failing
 *         band's kTolvaExportFailed or kTolvaStreamFailed, or kTolvaStoppedByHost, and the stream holds a GIF without
 *         its trailer; from a callback kTolvaExportFailed, and nothing is done */
int32_t OutputPicture(TolvaHandle stream, void* hostContext, TolvaOffscreenCallback callback);
/** Writes a picture handed over whole, as one band, with the settings and the status record that the host's
 * arguments name: through the settings' output device, to the file, or (empty name) to memory, which is then found in
 * the Setup block's `exporting.memory`.
 *
 * @param fileName      null or empty: to memory
 * @param picture       receives the cells' size and resolution
 * @param cells         the bitmap and its palette, only read, the host's
 * @param hostArguments kTolvaExportArguments native words: see TolvaExportArgument
 * @return 0, whatever became of the picture; kTolvaStreamFailed without a stream, without a Setup block, or for a null
 *         record; kTolvaExportFailed from a callback */
int32_t ExportCellData(const char* fileName, TolvaPictureDescriptor* picture, const TolvaPictureDescriptor* cells,
                       const uintptr_t* hostArguments);
/** OutputPicture's callback for a TolvaPictureDescriptor, which is its host context: see TolvaOffscreenOperation. */
intptr_t DrawExportCellData(intptr_t operation, intptr_t record, intptr_t a, intptr_t b);
/** The same for a TolvaMetafilePicture. There is no metafile on this platform: it offers no band. */
intptr_t DrawPlatformMetafile(intptr_t operation, intptr_t record, intptr_t a, intptr_t b);

/** Has the host fill the query. */
void QueryPlatformOffscreen(TolvaOffscreenQuery* query, void* hostContext, TolvaOffscreenCallback callback);
/** A new record, which TermPlatformOffscreen frees, for the pictures that the callback draws.
 *
 * @param width       pixels
 * @param bandRows    in: as many as are wanted at once; out: what the host answered, 0 or less for none
 * @param depth       bits a pixel that bands must have
 * @param colours     entries of the palette
 * @param palette     triples for the host to fill; stays the caller's, who looks at the record for another one
 * @param hostContext the host's own
 * @param callback    the host's, called with kTolvaOffscreenInit
 * @param flag        stored */
TolvaOffscreenRecord* InitPlatformOffscreen(int32_t width, int32_t* bandRows, int16_t depth, int16_t colours,
                                            uint8_t* palette, void* hostContext, TolvaOffscreenCallback callback,
                                            uint8_t flag);
/** The bitmap of rows `lower` to `upper` - 1, counted from the bottom: the host's, until the next draw or the end. 0
 * for none. */
TolvaHandle DrawPlatformOffscreen(TolvaOffscreenRecord* record, int32_t lower, int32_t upper);
/** Tells the host the end and frees the record. */
void TermPlatformOffscreen(TolvaOffscreenRecord* record);

/** @name Metafiles
 * There are none on this platform. */
/**@{*/
/** Sets the words pointed at to 0 and answers `a`. */
intptr_t InitPlatformMetafileFilter(intptr_t a, intptr_t b, intptr_t c, uintptr_t* d, uintptr_t* e, uintptr_t* f,
                                    uintptr_t* g);
int32_t TermPlatformMetafileFilter(intptr_t a);      /**< 0 */
uintptr_t GetMetaFileHandle(intptr_t a, intptr_t b); /**< 0 */
int32_t DeleteMetaFileHandle(uintptr_t a);           /**< 0 */
/**@}*/

/* ---- The GIF writer -------------------------------------------------------------------------------------------- */

/** Writes everything of a GIF up to its image data, by the settings in force. That the writing failed is not told.
 *
 * @param stream       the output
 * @param width        pixels
 * @param height       rows, of all bands
 * @param bitsPerPixel 1 to 8, or 24 without a palette
 * @param palette      2^bits triples, room for 16; gets the transparent colour
 * @param state        receives the image's handle, for the next two calls, or 0 where there are no settings or depth
 * and palette do not go together, and nothing is written
 * @return always -1 */
int32_t BeginCellBitmap(TolvaHandle stream, int32_t width, int32_t height, int16_t bitsPerPixel, uint8_t* palette,
                        TolvaHandle* state);
/** Writes a band of `rows` rows, stored bottom row first with rows padded to 4 bytes. What the block does not hold
 * counts as 0. The band stays the caller's; its memory may be overwritten. 0; kTolvaExportFailed without a band,
 * without a state, or where its bytes do not fit 32 bits; kTolvaStreamFailed, as far as the band's last bytes show it.
 */
int32_t WriteCellBits(TolvaHandle stream, TolvaHandle band, int32_t width, int32_t rows, int16_t bitsPerPixel,
                      int16_t unused, TolvaHandle state);
/** Writes what is spooled, and the trailer; frees the state. 0, or kTolvaStreamFailed, also for no state. */
int32_t EndCellBitmap(TolvaHandle stream, TolvaHandle state);
/** A stream for the rows of an interlaced picture in several bands, which GifCloseSpoolFile closes: in memory, whose
 * block the state notes, or above kTolvaLargestMemorySpool pixels in a file of mode 0600 in /tmp, whose name it notes.
 * 0, and kTolvaStreamFailed pushed, where there is none. */
TolvaHandle GifOpenSpoolFile(CellBitmapState* state, int32_t pixels);
/** What zunWrite answers. */
int32_t GifWriteSpoolFile(TolvaHandle spool, const void* bytes, int32_t count);
/** Closes the state's spool and deletes its file; a block of memory stays in the state. 0, or -1 without a spool. */
int32_t GifCloseSpoolFile(CellBitmapState* state);
/** Compresses the spooled rows in interlace order, which needs rows of 1 to 65536 bytes, and leaves the spool open; the
 * last segment's result. */
int32_t GifInterlaceandWrite(CellBitmapState* state, TolvaHandle stream);
/** Like rlNearestRGBIndex, but always searches at least 16 entries, which the palette must have. */
int16_t get_nearest_rgb_index(int16_t red, int16_t green, int16_t blue, const uint8_t* palette, int16_t count);

/* ---- LZW ------------------------------------------------------------------------------------------------------- */

/** One segment of an image's code: its sub-blocks, then the block terminator (last) or the parked partial byte.
 *
 * @param stream the output; readable and seekable where segments are joined
 * @param pixels a byte each, only read
 * @param work   264 bytes, the caller's; overwritten
 * @param count  pixels; of a single one nothing is emitted
 * @param first  not 0: begins the image
 * @param last   not 0: ends it
 * @param carry  bits of the last byte already written, 0 to 7; 0 at the start, kept from segment to segment
 * @return 0, or kTolvaStreamFailed where the bytes behind the sub-blocks could not be written */
int32_t CompressAndWrite(TolvaHandle stream, const uint8_t* pixels, uint8_t* work, int32_t count, int32_t first,
                         int32_t last, uint32_t* carry);
/** The encoder alone, without what stands behind the sub-blocks, and without clearing the work buffer: returns the
 * bytes of its final flush, which is the partial byte's index in the work buffer. */
int32_t LZWCompression(TolvaHandle stream, const uint8_t* pixels, uint8_t* work, int32_t count, int32_t first,
                       int32_t last, uint32_t* carry);
/** ORs a code of `width` bits into the work buffer, least significant bit first, clears the two bytes ahead, and moves
 * the position on. */
void LZWPutCode(uint8_t* work, uint32_t* bitPosition, uint32_t code, uint16_t width);
/** Sub-blocks of at most 254 bytes; 0 or kTolvaStreamFailed. */
int32_t LZWWriteSubBlocks(TolvaHandle stream, const uint8_t* bytes, uint32_t count);

#endif

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
