/* output.h: from a bitmap, or from bands of rows, to the one GIF image of the output stream.
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
    kTolvaLargestMemorySpool = 349999 /* pixels; one more goes to a file */
};

/* A picture handed over whole, as the closing primitive and ExportCellData give it to DrawExportCellData. */
typedef struct TolvaPictureDescriptor {
    int16_t depth;      /* bits a pixel */
    uint16_t width;     /* pixels */
    uint16_t height;    /* rows */
    int16_t resolution; /* dots per inch, 0 = not given */
    double fullWidth;   /* the same as floats: what the output's size is asked for with */
    double fullHeight;
    TolvaHandle palette; /* triples, 0 for true colour */
    TolvaHandle bitmap;  /* bottom row first */
} TolvaPictureDescriptor;

/* The picture as a platform's metafile: bounds in dots. */
typedef struct TolvaMetafilePicture {
    uintptr_t metafile;
    int32_t left, top, right, bottom;
    int32_t resolution;
    int32_t unused;
    intptr_t host[5]; /* words 7 to 11 of the status record */
    uintptr_t metafileWord;
    uint8_t reserve[sizeof(void*) == 8 ? 8 : 28];
} TolvaMetafilePicture;

/* What the callback is called for, with which arguments, and what it answers. */
enum TolvaOffscreenOperation {
    kTolvaOffscreenQuery = 0, /* host context, TolvaOffscreenQuery*: fills it */
    kTolvaOffscreenInit = 1,  /* record, TolvaOffscreenInit*: fills the table; the rows of a band, 0 = no picture */
    kTolvaOffscreenTerm = 2,  /* record */
    kTolvaOffscreenDraw = 3   /* record, lower row, upper row (from the bottom): the band's bitmap, 0 = none */
};

/* The host's picture, drawn on demand: (operation, record, argument 1, argument 2). */
typedef intptr_t (*TolvaOffscreenCallback)(intptr_t operation, intptr_t record, intptr_t a, intptr_t b);

typedef struct TolvaOffscreenQuery {
    double width; /* with a resolution in inches, without one in pixels */
    double height;
    int32_t resolution; /* dots per inch, 0 = not given */
    int16_t value;      /* handed on to the writer, which does not use it */
} TolvaOffscreenQuery;

/* Five native words. */
typedef struct TolvaOffscreenInit {
    intptr_t width;    /* pixels */
    intptr_t bandRows; /* as many as are wanted at once */
    intptr_t depth;    /* bits a pixel that bands must have */
    intptr_t colours;  /* room in the table */
    uint8_t* palette;  /* triples, to be filled */
} TolvaOffscreenInit;

typedef struct TolvaOffscreenRecord {
    void* hostContext;
    TolvaOffscreenCallback callback;
    int16_t colours;
    uint8_t* palette; /* what the file's colour table is written from */
    int32_t width;
    int32_t bandRows; /* as asked for */
    int16_t depth;
    TolvaHandle privateBlock; /* the callback's own */
    uint8_t flag;             /* 0 */
    uint8_t reserve[7];
} TolvaOffscreenRecord;

enum TolvaExportArgument {
    kTolvaArgumentSetup = 2,
    kTolvaArgumentStatus = 6,
    kTolvaExportArguments = 7
}; /* native words */

/* One image being written. */
typedef struct CellBitmapState {
    uint32_t calls; /* bands so far */
    int32_t height;
    int32_t rowsToCome;
    uint32_t bytesPerRow;
    uint32_t bitCarry;      /* bits of the last byte already written, 0 to 7 */
    void* spoolData;        /* memory spool: its block, wherever its stream moves it */
    TolvaHandle spoolBlock; /* memory spool: non-zero while there is one */
    char spoolName[kTolvaSpoolNameBytes];
    TolvaHandle spool; /* spool stream, 0 when none is open */
} CellBitmapState;

#ifndef TOLVA_TYPES_ONLY

/* ---- The pipeline ---------------------------------------------------------------------------------------------- */

/* Writes a whole bitmap, bottom row first, to the device's output stream. Reports nothing. */
void RasterWriteCellData(TolvaHandle bitmap, int32_t width, int32_t height, int32_t resolution, int16_t bitsPerPixel,
                         int16_t colourModel);

/* ---- Pictures drawn band by band -------------------------------------------------------------------------------- */

/* Asks the host for the picture's size, for colours and a band height, then for band after band, top band first, and
 * writes each as it comes; heights are made even. Of pictures in several bands some cannot be decoded. 0;
 * kTolvaNoPicture when the host has none or no GIF has its size, and nothing is written; else the failing band's
 * kTolvaExportFailed or kTolvaStreamFailed, or kTolvaStoppedByHost. The bands' memory is left alone. Neither this nor
 * ExportCellData can begin in a callback of a call that is under way: kTolvaExportFailed, and nothing is done. */
int32_t OutputPicture(TolvaHandle stream, void* hostContext, TolvaOffscreenCallback callback);
/* Writes a picture handed over whole, as one band, with the settings and the status record that the host's
 * arguments name: through the settings' output device, to the file, or (empty name) to memory. 0, whatever became of
 * the picture; kTolvaStreamFailed without a stream. `picture` receives its size and resolution. */
int32_t ExportCellData(const char* fileName, TolvaPictureDescriptor* picture, const TolvaPictureDescriptor* cells,
                       const uintptr_t* hostArguments);
/* OutputPicture's callbacks for a TolvaPictureDescriptor and for a metafile; there is none on this platform, so that
 * the second offers no band. */
intptr_t DrawExportCellData(intptr_t operation, intptr_t record, intptr_t a, intptr_t b);
intptr_t DrawPlatformMetafile(intptr_t operation, intptr_t record, intptr_t a, intptr_t b);

void QueryPlatformOffscreen(TolvaOffscreenQuery* query, void* hostContext, TolvaOffscreenCallback callback);
/* A new record; *bandRows comes in as wanted and goes out as the host answered. */
TolvaOffscreenRecord* InitPlatformOffscreen(int32_t width, int32_t* bandRows, int16_t depth, int16_t colours,
                                            uint8_t* palette, void* hostContext, TolvaOffscreenCallback callback,
                                            uint8_t flag);
TolvaHandle DrawPlatformOffscreen(TolvaOffscreenRecord* record, int32_t lower, int32_t upper);
void TermPlatformOffscreen(TolvaOffscreenRecord* record);

/* Metafiles: nothing on this platform. The words pointed at become 0; the answers are `a`, 0, 0 and 0. */
intptr_t InitPlatformMetafileFilter(intptr_t a, intptr_t b, intptr_t c, uintptr_t* d, uintptr_t* e, uintptr_t* f,
                                    uintptr_t* g);
int32_t TermPlatformMetafileFilter(intptr_t a);
uintptr_t GetMetaFileHandle(intptr_t a, intptr_t b);
int32_t DeleteMetaFileHandle(uintptr_t a);

/* ---- The GIF writer -------------------------------------------------------------------------------------------- */

/* Writes everything up to the image data. The palette (2^bits triples, room for 16) gets the transparent colour.
 * Always -1; `state` receives the image's handle, or 0. */
int32_t BeginCellBitmap(TolvaHandle stream, int32_t width, int32_t height, int16_t bitsPerPixel, uint8_t* palette,
                        TolvaHandle* state);
/* Writes a band of rows, stored bottom row first with rows padded to 4 bytes. 0, 300 or 303. The band's memory may be
 * overwritten. */
int32_t WriteCellBits(TolvaHandle stream, TolvaHandle band, int32_t width, int32_t rows, int16_t bitsPerPixel,
                      int16_t unused, TolvaHandle state);
/* Writes what is spooled, and the trailer; frees the state. 0 or 303. */
int32_t EndCellBitmap(TolvaHandle stream, TolvaHandle state);
TolvaHandle GifOpenSpoolFile(CellBitmapState* state, int32_t pixels);
int32_t GifWriteSpoolFile(TolvaHandle spool, const void* bytes, int32_t count);
int32_t GifCloseSpoolFile(CellBitmapState* state);
/* Compresses the spooled rows in interlace order; the last segment's result. */
int32_t GifInterlaceandWrite(CellBitmapState* state, TolvaHandle stream);
/* Like rlNearestRGBIndex, but always searches at least 16 entries. */
int16_t get_nearest_rgb_index(int16_t red, int16_t green, int16_t blue, const uint8_t* palette, int16_t count);

/* ---- LZW ------------------------------------------------------------------------------------------------------- */

/* One segment: its sub-blocks, then the block terminator (last) or the parked partial byte. 0 or 303. */
int32_t CompressAndWrite(TolvaHandle stream, const uint8_t* pixels, uint8_t* work, int32_t count, int32_t first,
                         int32_t last, uint32_t* carry);
/* The encoder: returns the bytes of its final flush, which is the partial byte's index in the work buffer. */
int32_t LZWCompression(TolvaHandle stream, const uint8_t* pixels, uint8_t* work, int32_t count, int32_t first,
                       int32_t last, uint32_t* carry);
/* ORs a code into the work buffer, least significant bit first, and clears the bytes ahead. */
void LZWPutCode(uint8_t* work, uint32_t* bitPosition, uint32_t code, uint16_t width);
/* Sub-blocks of at most 254 bytes; 0 or 303. */
int32_t LZWWriteSubBlocks(TolvaHandle stream, const uint8_t* bytes, uint32_t count);

#endif

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
