/** @file
 * The raster imaging library. Bitmaps are plain argument groups: {pixel data handle or pointer, width in
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
    kTolvaTripleBytes = 3,          /**< red, green, blue */
    kTolvaLargestColourTable = 256, /**< entries */
    kTolvaMonoColours = 8,
    kTolvaMustHaveColours = 8,
    kTolvaClampBytes = 512,
    kTolvaClampBase = 128,
    kTolvaGreyTolerance = 4 /**< components this close make a colour grey for the nearest-colour search */
};

/** What rev_rgb does to a pixel. */
enum TolvaConversionMode {
    kTolvaConvertNothing = 0,
    kTolvaConvertInvert = 1,
    kTolvaConvertInvertGreys = 2, /**< those whose components lie at most 10 apart */
    kTolvaConvertGrey = 3,        /**< (3 red + 6 green + blue) / 10 */
    kTolvaConvertInvertGrey = 4
};

/** A part of the colours, for median cut. */
typedef struct TolvaColourBox {
    uint16_t first;    /**< colour-list entry */
    uint16_t last;     /**< the last one, inclusive */
    uint32_t pixels;   /**< in all of them */
    uint8_t redMin;    /**< in 5-bit units, as the next five */
    uint8_t redMax;    /**< inclusive */
    uint8_t greenMin;  /**< inclusive */
    uint8_t greenMax;  /**< inclusive */
    uint8_t blueMin;   /**< inclusive */
    uint8_t blueMax;   /**< inclusive */
    uint8_t axis;      /**< to be split: 0 red, 1 green, 2 blue */
    uint8_t meanRed;   /**< in 5-bit units, as the next two */
    uint8_t meanGreen; /**< weighted by pixels */
    uint8_t meanBlue;  /**< weighted by pixels */
} TolvaColourBox;

/** A colour and how often it was met. */
typedef struct TolvaColourEntry {
    uint16_t key;    /**< red << 10 | green << 5 | blue, 5 bits each */
    uint16_t pixels; /**< saturates */
} TolvaColourEntry;

/** What median cut keeps between its calls; behind the handle of InitColorLib. */
typedef struct TolvaColourContext {
    TolvaHandle histogram; /**< kTolvaColourKeys 16-bit counters, allocated on first use */
    TolvaHandle boxes;     /**< TolvaColourBox, one a slot */
    TolvaHandle boxStatus; /**< 16 bits a slot: kTolvaSlotFree, kTolvaBoxFinal, or the slot's own number */
    uint16_t distinct;     /**< keys whose counter is not zero */
    uint16_t boxCount;     /**< in use */
    uint16_t currentBox;   /**< slot of the one that was split last, with the next three */
    uint16_t currentFirst; /**< its first entry */
    uint16_t currentLast;  /**< its last entry */
    uint16_t median;       /**< where it was split */
} TolvaColourContext;

enum {
    kTolvaColourKeys = 32768,
    kTolvaBuildTable = 1,    /**< flag of direct_indexed: makes a table */
    kTolvaKeepHistogram = 2, /**< flag of direct_indexed: what was counted stays for the next call */
    kTolvaSlotFree = 0xFFFF, /**< status of a box slot; below 0x8000 the box may be split */
    kTolvaBoxFinal = 0xFFFE  /**< one that may not */
};

#ifndef TOLVA_TYPES_ONLY

/** The default 256-colour palette, published for hosts; nothing here reads it. */
extern const uint8_t ZUNLColorTable[kTolvaLargestColourTable * kTolvaTripleBytes];
/** Debug level, 0 at load; raised by a host, it makes the library print its progress. */
extern int16_t _debug_color_res;

/* ---- Memory ---------------------------------------------------------------------------------------------------- */

/** A zero-filled block of `count` elements, the caller's; 0 where the bytes do not fit a block. */
TolvaHandle rlGetMemory(uint16_t elementSize, uint32_t count);
void* rlLockMemory(TolvaHandle h);               /**< the block's address; null for 0 */
int32_t rlUnlockMemory(TolvaHandle h);           /**< 0; nothing is held */
int32_t rlFreeNewData(TolvaHandle h);            /**< frees the block: 1, or 0 for a 0 handle */
TolvaHandle rlPointertoHandle(const void* data); /**< as GlobalHandle */
int32_t rlFreeColormap(TolvaHandle map);         /**< frees a map of rlBuildColormap; always 0 */

/* ---- Rows and pixels ------------------------------------------------------------------------------------------- */

/** Bytes a row, padded. Saturates where it does not fit. */
int32_t rlBytesPerLine(int32_t width, int16_t bitsPerPixel);
/** Bytes a bitmap. Saturates where it does not fit. */
uint32_t rlCalcNewSize(int32_t width, int32_t height, int16_t bitsPerPixel);
/** The value at (x, y): an index, or red, green, blue and the fourth byte from the top down. 0 for other depths. The
 * place must lie in the bitmap: it is not checked. */
uint32_t rlGetPixel(const uint8_t* data, int32_t bytesPerLine, int32_t x, int32_t y, int16_t bitsPerPixel);
/** Writes a pixel, whose place must lie in the bitmap; always 0.
 *
 * @param data         the rows
 * @param bytesPerLine from a row to the next
 * @param x            column
 * @param y            row
 * @param bitsPerPixel 1, 4, 8, 24 or 32; for others nothing is written
 * @param value        as rlGetPixel gives it
 * @param map          null, or what the value stands for: it must be an index into the map then
 * @param table        null, or the colours: without a map an index becomes the nearest entry's, with one a pixel of 24
 * or 32 bits the entry that the map names
 * @param tableCount   entries of the table */
int32_t rlSetPixel(uint8_t* data, int32_t bytesPerLine, int32_t x, int32_t y, int16_t bitsPerPixel, uint32_t value,
                   const uint32_t* map, const uint8_t* table, uint16_t tableCount);

/* ---- Colours --------------------------------------------------------------------------------------------------- */

/** The nearest entry's index, by squared distance: greys match only greys, colours only colours, the first of equals
 * wins; 0 where there is none. A colour is grey where its components lie at most kTolvaGreyTolerance apart, an entry
 * where they are equal. */
int32_t rlNearestRGBIndex(int16_t red, int16_t green, int16_t blue, const uint8_t* table, uint16_t count);
/** A map of 32-bit words from source index to destination index or (24 bits) packed colour, the caller's to free by
 * rlFreeColormap; 0 for a source of 24 bits or more. The source table must have 2^srcBits entries. */
TolvaHandle rlBuildColormap(const uint8_t* srcTable, int16_t srcBits, const uint8_t* dstTable, int16_t dstBits,
                            uint16_t dstCount);
/** Converts `width` pixels of 24 bits in place, by a TolvaConversionMode; others change nothing. */
void rev_rgb(int32_t width, uint8_t* row, int32_t mode);

/* ---- Depths ---------------------------------------------------------------------------------------------------- */

/* What a bitmap's block does not hold is not read: such a bitmap counts as empty, and what is made of it is black. */

/** A new bitmap of another depth, or 0 where its bytes do not fit a block: reduced by median cut from 24 bits to 8,
 * dithered below 8, otherwise pixel by pixel. The bitmap stays the caller's; so does the table that goes in.
 *
 * @param bits    the bitmap
 * @param width   pixels
 * @param height  rows
 * @param srcBits bits a pixel
 * @param dstBits bits a pixel of the new one
 * @param table   in: the source's table, or 0; out: the one made, the caller's, or 0 */
TolvaHandle rlChangeColorResolution(TolvaHandle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits,
                                    TolvaHandle* table);
/** A new bitmap of another depth, pixel by pixel through the tables, or 0 where its bytes do not fit a block. What a
 * source table lacks counts as black. All handles that go in stay the caller's. */
TolvaHandle rlConvertBitmapDepth(TolvaHandle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits,
                                 TolvaHandle srcTable, TolvaHandle dstTable, uint16_t dstCount);

/** In place, 4 bytes a pixel, black 0. */
void rlRGB4toCMYK(TolvaHandle bits, int32_t width, int32_t height);
/** In place, from 4 bytes a pixel to 3: the pixels then follow one another without padding, width x 3 bytes a row. A
 * channel is 255 less the greater of its ink and black. */
void rlCMYKtoRGB(TolvaHandle bits, int32_t width, int32_t height);
/** The same without the fourth byte; the others stay. */
void rlALPHAtoRGB(TolvaHandle bits, int32_t width, int32_t height);

/* ---- Median cut ------------------------------------------------------------------------------------------------ */

/** A new table of at most *count colours for a 24-bit bitmap, the caller's; *count receives how many it has. */
TolvaHandle rlReduceColorTable(TolvaHandle bits, int32_t width, int32_t height, uint16_t* count);

/** A new context for direct_indexed, which TermColorLib frees. */
TolvaHandle InitColorLib(void);
/** Frees a context: 0, also for a 0 handle. */
int32_t TermColorLib(TolvaHandle context);
/** Counts the pixels and, by the flags, builds the table.
 *
 * @param pixels  24 bits each, rows padded to 4 bytes; must be as many as width and height say
 * @param width   pixels
 * @param height  rows
 * @param count   in: entries wanted; out: those produced
 * @param flags   kTolvaBuildTable and kTolvaKeepHistogram
 * @param table   room for the entries wanted
 * @param context of InitColorLib
 * @return 0, or -1 without a context */
int32_t direct_indexed(const uint8_t* pixels, int32_t width, int32_t height, uint16_t* count, uint16_t flags,
                       uint8_t* table, TolvaHandle context);

/** @name Steps of median cut
 * On lists, boxes and statuses as the context has them. */
/**@{*/
/** Fills a box for the entries `first` to `last`, inclusive. */
void getCRectData(TolvaColourBox* box, const TolvaColourEntry* list, uint16_t first, uint16_t last);
/** Sorts n entries along an axis, not stably; the list must have one more behind them, which takes part. */
void HeapSort(TolvaColourEntry* list, int32_t axis, int32_t n);
/** Lets the entry at `root` sink in the heap that ends with `last`, inclusive. */
void AdjustHeap(TolvaColourEntry* list, int32_t axis, int32_t root, int32_t last);
/** Exchanges two entries. */
void clrswap(TolvaColourEntry* a, TolvaColourEntry* b);
/** The entry at which a sorted box is split. */
uint16_t find_median(const TolvaColourEntry* list, const TolvaColourBox* box);
/** Puts the halves of the box in `slot` into free slots of the `count`, and frees its own. Always 1. */
int32_t split(TolvaColourBox* boxes, uint16_t slot, uint16_t median, uint16_t* boxCount, uint16_t* status,
              const TolvaColourEntry* list, uint16_t count);
/** The slot of the box with most pixels among those that may be split; 0 where there is none. */
uint16_t GetMaxHistSum(const TolvaColourBox* boxes, const uint16_t* status, uint16_t count);
/**@}*/

/* ---- Dithering ------------------------------------------------------------------------------------------------- */

extern const uint8_t MonoTable[kTolvaMonoColours * kTolvaTripleBytes];            /**< for two and four colours */
extern const uint8_t must_have_colors[kTolvaMustHaveColours * kTolvaTripleBytes]; /**< behind every reduced table */
/** Clamps -128 to 383 to a byte, through its base kTolvaClampBase entries in. */
extern const uint8_t BOUNDARY_CHK[kTolvaClampBytes];

/** A new bitmap of dstBits by error diffusion, or 0 where a depth is no table's (0 to 15 bits) or bytes do not fit a
 * block. The bitmap is only read, and stays the caller's, as the tables that go in do.
 *
 * @param bits     the bitmap
 * @param width    pixels
 * @param height   rows
 * @param srcBits  bits a pixel
 * @param dstBits  bits a pixel of the new one; 1: turned to grey first
 * @param srcTable the bitmap's table, below 24 bits
 * @param table    in: the colours wanted, or 0; out: the table used, the caller's */
TolvaHandle rlDitherBitmap(TolvaHandle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits,
                           TolvaHandle srcTable, TolvaHandle* table);
/** Only chooses the table, the caller's, with its count; one that goes in is kept below 8 colours alone. */
void rlDitherGetCT(TolvaHandle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits,
                   TolvaHandle srcTable, TolvaHandle* table, uint16_t* count);
/** Dithers against a given table of `count` colours: a new bitmap, or 0. */
TolvaHandle rlDitherGivenCT(TolvaHandle bits, int32_t width, int32_t height, int16_t srcBits, int16_t dstBits,
                            TolvaHandle srcTable, TolvaHandle table, uint16_t count);
/** One row of `width` pixels of 24 bits, in place; `next` is the row below it, or null. */
void _rlDitherOneLine(uint8_t* current, uint8_t* next, const uint8_t* table, int32_t width, uint16_t count);

/* ---- Scaling: replication and point sampling ------------------------------------------------------------------- */

/** Both entries do the same: a new bitmap, the caller's, stretched where it grows and sampled where it shrinks; 0 where
 * its bytes do not fit a block. */
/**@{*/
TolvaHandle rlShrinkBitmap(TolvaHandle bits, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t srcHeight,
                           uint32_t dstWidth, uint32_t dstHeight);
TolvaHandle rlStretchBitmap(TolvaHandle bits, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t srcHeight,
                            uint32_t dstWidth, uint32_t dstHeight);
/**@}*/
/** Rows by sampling and by replication, from the one address to the other, which must have room; always 0. Columns are
 * replicated where they become more. */
/**@{*/
int32_t Shrink(const uint8_t* src, uint8_t* dst, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t srcHeight,
               uint32_t dstWidth, uint32_t dstHeight);
int32_t Stretch(const uint8_t* src, uint8_t* dst, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t srcHeight,
                uint32_t dstWidth, uint32_t dstHeight);
/**@}*/
/** The pixels of `rows` rows by sampling and by replication; always 0. */
/**@{*/
int32_t ShrinkX(const uint8_t* src, uint8_t* dst, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t rows,
                uint32_t dstWidth);
int32_t StretchX(const uint8_t* src, uint8_t* dst, int16_t bitsPerPixel, uint32_t srcWidth, uint32_t rows,
                 uint32_t dstWidth);
/**@}*/
/** Mirrors in place; returns the handle. Horizontally the partner of pixel x is width - x, so that pixel 0 trades with
 * the place behind the row's end, which reads as 0 where it lies outside the bitmap. */
TolvaHandle rlFlipBitmap(TolvaHandle bits, int16_t bitsPerPixel, int32_t width, int32_t height, int16_t horizontal,
                         int16_t vertical);

#endif

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
