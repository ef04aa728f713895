/* raster.h: the raster imaging library. Bitmaps are plain argument groups: {pixel data handle or pointer, width in
 * pixels, height in rows, bits per pixel (1, 4, 8, 24 or 32)}, rows padded to 4 bytes, 1- and 4-bit pixels most
 * significant bits first, 24- and 32-bit pixels red, green, blue (, fourth byte). Colour tables are handles or
 * pointers of red, green, blue triples with a separate 16-bit count. New bitmaps and tables belong to the caller.
 * Readable as C and as C++. */
#ifndef TOLVA_RASTER_H
#define TOLVA_RASTER_H

#include <stdint.h>

#include <tolva/host.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

enum {
    kTolvaRowAlignment = 4,
    kTolvaTripleBytes = 3,          /* red, green, blue */
    kTolvaLargestColourTable = 256, /* entries */
    kTolvaMonoColours = 8,
    kTolvaMustHaveColours = 8,
    kTolvaClampBytes = 512,
    kTolvaClampBase = 128,
    kTolvaGreyTolerance = 4 /* components this close make a colour grey for the nearest-colour search */
};

/* What rev_rgb does to a pixel. */
enum TolvaConversionMode {
    kTolvaConvertNothing = 0,
    kTolvaConvertInvert = 1,
    kTolvaConvertInvertGreys = 2,
    kTolvaConvertGrey = 3,
    kTolvaConvertInvertGrey = 4
};

typedef struct TolvaColourBox {
    uint16_t first; /* colour-list entries, inclusive */
    uint16_t last;
    uint32_t pixels;                                              /* in all of them */
    uint8_t redMin, redMax, greenMin, greenMax, blueMin, blueMax; /* in 5-bit units */
    uint8_t axis;                                                 /* to be split: 0 red, 1 green, 2 blue */
    uint8_t meanRed, meanGreen, meanBlue;
} TolvaColourBox;

typedef struct TolvaColourEntry {
    uint16_t key;    /* red << 10 | green << 5 | blue, 5 bits each */
    uint16_t pixels; /* saturates */
} TolvaColourEntry;

typedef struct TolvaColourContext {
    TolvaHandle histogram; /* kTolvaColourKeys 16-bit counters, allocated on first use */
    TolvaHandle boxes;
    TolvaHandle boxStatus;
    uint16_t distinct; /* keys whose counter is not zero */
    uint16_t boxCount;
    uint16_t currentBox;
    uint16_t currentFirst;
    uint16_t currentLast;
    uint16_t median;
} TolvaColourContext;

enum {
    kTolvaColourKeys = 32768,
    kTolvaBuildTable = 1, /* flags of direct_indexed */
    kTolvaKeepHistogram = 2,
    kTolvaSlotFree = 0xFFFF, /* status of a box slot; below 0x8000 the box may be split */
    kTolvaBoxFinal = 0xFFFE
};

#ifndef TOLVA_TYPES_ONLY

/* The default 256-colour palette, published for hosts; nothing here reads it. */
extern const uint8_t ZUNLColorTable[kTolvaLargestColourTable * kTolvaTripleBytes];
/* Debug level, 0 at load; raised by a host, it makes the library print its progress. */
extern int16_t _debug_color_res;

/* ---- Memory ---------------------------------------------------------------------------------------------------- */

TolvaHandle rlGetMemory(uint16_t elementSize, uint32_t count); /* 0 where the bytes do not fit a block */
void* rlLockMemory(TolvaHandle h);
int32_t rlUnlockMemory(TolvaHandle h);
int32_t rlFreeNewData(TolvaHandle h); /* 1, or 0 for a 0 handle */
TolvaHandle rlPointertoHandle(const void* data);
int32_t rlFreeColormap(TolvaHandle map); /* always 0 */

/* ---- Rows and pixels ------------------------------------------------------------------------------------------- */

/* Bytes a row, padded. Saturates where it does not fit. */
int32_t rlBytesPerLine(int32_t width, int16_t bitsPerPixel);
/* Bytes a bitmap. Saturates where it does not fit. */
uint32_t rlCalcNewSize(int32_t width, int32_t height, int16_t bitsPerPixel);
/* The value at (x, y): an index, or red, green, blue and the fourth byte from the top down. 0 for other depths. */
uint32_t rlGetPixel(const uint8_t* data, int32_t bytesPerLine, int32_t x, int32_t y, int16_t bitsPerPixel);
/* Writes a pixel, through a colour map or to the nearest of a table where one is given; always 0. */
int32_t rlSetPixel(uint8_t* data, int32_t bytesPerLine, int32_t x, int32_t y, int16_t bitsPerPixel, uint32_t value,
                   const uint32_t* map, const uint8_t* table, uint16_t tableCount);

/* ---- Colours --------------------------------------------------------------------------------------------------- */

/* The nearest entry's index: greys match only greys, colours only colours, the first of equals wins; 0 for none. */
int32_t rlNearestRGBIndex(int16_t red, int16_t green, int16_t blue, const uint8_t* table, uint16_t count);
/* A map from source index to destination index or packed colour; 0 for a source of 24 bits or more. */
TolvaHandle rlBuildColormap(const uint8_t* srcTable, int16_t srcBits, const uint8_t* dstTable, int16_t dstBits,
                            uint16_t dstCount);
/* Converts `width` pixels of 24 bits in place. */
void rev_rgb(int32_t width, uint8_t* row, int32_t mode);

/* ---- Depths ---------------------------------------------------------------------------------------------------- */

/* A new bitmap of another depth; `table` goes in as the source's and comes back as the one made, or 0. */
TolvaHandle rlChangeColorResolution(TolvaHandle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits,
                                    TolvaHandle* table);
/* A new bitmap of another depth, pixel by pixel through the tables. What a source table lacks counts as black. */
TolvaHandle rlConvertBitmapDepth(TolvaHandle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits,
                                 TolvaHandle srcTable, TolvaHandle dstTable, uint16_t dstCount);

/* In place, 4 bytes a pixel; rows are padded, as everywhere. */
void rlRGB4toCMYK(TolvaHandle bits, int32_t width, int32_t height);
/* In place, from 4 bytes a pixel to 3: the pixels then follow one another without padding, width x 3 bytes a row. */
void rlCMYKtoRGB(TolvaHandle bits, int32_t width, int32_t height);
void rlALPHAtoRGB(TolvaHandle bits, int32_t width, int32_t height);

/* ---- Median cut ------------------------------------------------------------------------------------------------ */

/* A new table of at most *count colours for a 24-bit bitmap; *count receives how many it has. */
TolvaHandle rlReduceColorTable(TolvaHandle bits, int32_t width, int32_t height, uint16_t* count);

TolvaHandle InitColorLib(void);
int32_t TermColorLib(TolvaHandle context); /* 0, or -1 when the context does not lock */
/* Counts the pixels and, by the flags, builds the table: *count colours in, those produced out. 0 or -1. */
int32_t direct_indexed(const uint8_t* pixels, int32_t width, int32_t height, uint16_t* count, uint16_t flags,
                       uint8_t* table, TolvaHandle context);
void getCRectData(TolvaColourBox* box, const TolvaColourEntry* list, uint16_t first, uint16_t last);
void HeapSort(TolvaColourEntry* list, int32_t axis, int32_t n);
void AdjustHeap(TolvaColourEntry* list, int32_t axis, int32_t root, int32_t last);
void clrswap(TolvaColourEntry* a, TolvaColourEntry* b);
uint16_t find_median(const TolvaColourEntry* list, const TolvaColourBox* box);
/* Always 1. */
int32_t split(TolvaColourBox* boxes, uint16_t slot, uint16_t median, uint16_t* boxCount, uint16_t* status,
              const TolvaColourEntry* list, uint16_t count);
uint16_t GetMaxHistSum(const TolvaColourBox* boxes, const uint16_t* status, uint16_t count);

/* ---- Dithering ------------------------------------------------------------------------------------------------- */

extern const uint8_t MonoTable[kTolvaMonoColours * kTolvaTripleBytes];
extern const uint8_t must_have_colors[kTolvaMustHaveColours * kTolvaTripleBytes];
/* Clamps -128 to 383 to a byte, through its base kTolvaClampBase entries in. */
extern const uint8_t BOUNDARY_CHK[kTolvaClampBytes];

/* A new bitmap of dstBits by error diffusion. *table: a caller's colour table or 0; receives the one used, the
 * caller's. */
TolvaHandle rlDitherBitmap(TolvaHandle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits,
                           TolvaHandle srcTable, TolvaHandle* table);
/* Only chooses the table, with its count. */
void rlDitherGetCT(TolvaHandle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits,
                   TolvaHandle srcTable, TolvaHandle* table, uint16_t* count);
/* Dithers against a given table of `count` colours. */
TolvaHandle rlDitherGivenCT(TolvaHandle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits,
                            TolvaHandle srcTable, TolvaHandle table, uint16_t count);
/* One row of 24 bits; `next` is the row below it, or null. */
void _rlDitherOneLine(uint8_t* current, uint8_t* next, const uint8_t* table, int32_t width, uint16_t count);

/* ---- Scaling: replication and point sampling ------------------------------------------------------------------- */

/* Both entries do the same: a new bitmap, stretched where it grows and sampled where it shrinks. */
TolvaHandle rlShrinkBitmap(TolvaHandle bits, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t srcHeight,
                           uint32_t dstWidth, uint32_t dstHeight);
TolvaHandle rlStretchBitmap(TolvaHandle bits, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t srcHeight,
                            uint32_t dstWidth, uint32_t dstHeight);
/* Rows by sampling and by replication; always 0. */
int32_t Shrink(const uint8_t* src, uint8_t* dst, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t srcHeight,
               uint32_t dstWidth, uint32_t dstHeight);
int32_t Stretch(const uint8_t* src, uint8_t* dst, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t srcHeight,
                uint32_t dstWidth, uint32_t dstHeight);
/* The pixels of `rows` rows by sampling and by replication; always 0. */
int32_t ShrinkX(const uint8_t* src, uint8_t* dst, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t rows,
                uint32_t dstWidth);
int32_t StretchX(const uint8_t* src, uint8_t* dst, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t rows,
                 uint32_t dstWidth);
/* Mirrors in place; returns the handle. */
TolvaHandle rlFlipBitmap(TolvaHandle bits, int16_t bitsPerPixel, int32_t width, int32_t height, int16_t horizontal,
                         int16_t vertical);

#endif

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
