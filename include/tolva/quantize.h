/** @file
 * From true colour to a palette of at most 256 colours, in two passes over the rows; exact where the
 * picture has no more colours than that. Stages that a host may put before it sends 8-bit cells, which pass through
 * the library as they are. Beside what is prescribed: rlReduceColorTable and its relatives do not go through here.
 *
 *     tolvaQuantizeBegin      a quantizer
 *     tolvaQuantizeCount      first pass: rows, as often and in as many pieces as the host likes
 *     tolvaQuantizePalette    the palette
 *     tolvaQuantizeMap        second pass: the same rows from the top again, to indices
 *     tolvaQuantizeEnd        frees it
 *
 * The same rows give the same palette and indices on every machine. No call keeps a row, none takes memory in
 * proportion to the picture: a quantizer has at most 14 MB at a time (of which 8 MB are touched only for colours that
 * thousands of pixels have), and a few bytes a column for dithering. Several may stand at once, on several threads one
 * each. Nothing here ends the process or touches the device.
 * Readable as C and as C++. */
#ifndef TOLVA_QUANTIZE_H
#define TOLVA_QUANTIZE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

enum {
    kTolvaLargestPalette = 256, /**< entries */
    kTolvaSmallestPalette = 2,
    kTolvaManyColours = kTolvaLargestPalette + 1, /**< what more distinct colours are counted as */
    kTolvaNoKey = -1,                             /**< the index of a transparent entry that is not there */
    kTolvaHalfOpaque = 128                        /**< pixels of less alpha are the transparent entry */
};

/** What the calls answer. */
enum TolvaQuantizeResult {
    kTolvaQuantized = 0,
    kTolvaQuantizeNoMemory = 1,    /**< a quantizer that could not count or fit stays so */
    kTolvaQuantizeBadArgument = 2, /**< null, a number out of its range, rows of no width */
    kTolvaQuantizeWrongOrder = 3   /**< counted behind the palette, mapped before it */
};

/** How pixels lie in a row. */
enum TolvaPixelFormat {
    kTolvaRgb = 3,  /**< bytes red, green, blue */
    kTolvaRgbx = 4, /**< and one that is ignored */
    /** And the alpha, 255 opaque: below kTolvaHalfOpaque transparent, otherwise laid over the background. */
    kTolvaRgba = 5
};

/** Whether the error of a pixel is passed on to its neighbours. How much of it goes by how far neighbouring pixels of
 * the first pass differ: rows have to come from the top down in both passes for the same indices. */
enum TolvaDiffusion {
    kTolvaDiffuseNever = 0,
    kTolvaDiffuse = 1, /**< error diffusion with Floyd and Steinberg's weights, also where the palette is exact */
    kTolvaDiffuseUnlessExact = 2 /**< where it is not */
};

/** One picture on its way to a palette; what it holds is not the host's to see. */
typedef struct TolvaQuantizer TolvaQuantizer;

/** What is wanted. Taken by copy. */
typedef struct TolvaQuantizeOrder {
    uint32_t colours;      /**< at most so many in the palette, the transparent entry included; 2 to 256 */
    int32_t format;        /**< TolvaPixelFormat */
    int32_t diffusion;     /**< TolvaDiffusion */
    uint8_t background[3]; /**< red, green, blue, for kTolvaRgba */
} TolvaQuantizeOrder;

/** Rows of pixels, from the picture's top down. */
typedef struct TolvaPixelRows {
    uint8_t* pixels;     /**< the first row; 3 or 4 bytes a pixel, as the order's format says */
    intptr_t stride;     /**< bytes from a row to the next; negative where the bottom row lies first in memory */
    const uint8_t* mask; /**< null, or a bit a pixel, the first one highest: set where it is transparent in any case */
    intptr_t maskStride; /**< bytes from a row of the mask to the next */
    uint32_t width;      /**< pixels, at least 1 */
    uint32_t rows;       /**< may be 0 */
} TolvaPixelRows;

/** What tolvaQuantizePalette gives. */
typedef struct TolvaPalette {
    uint8_t colours[3 * kTolvaLargestPalette]; /**< red, green, blue; black behind `count` */
    uint32_t count;    /**< entries, the transparent one included; 0 where nothing was counted */
    int32_t key;       /**< the transparent entry's index, or kTolvaNoKey; the last entry, of the background's colour */
    uint32_t distinct; /**< colours in the picture, transparency as one; kTolvaManyColours for more than 256 */
    int32_t exact;     /**< 1 where the palette has all of them: the colours in order of first appearance */
} TolvaPalette;

#ifndef TOLVA_TYPES_ONLY

/** Makes a quantizer, which the caller frees by tolvaQuantizeEnd. `*quantizer` is null unless kTolvaQuantized is
 * answered. */
int32_t tolvaQuantizeBegin(const TolvaQuantizeOrder* order, TolvaQuantizer** quantizer);

/** First pass: adds rows to what the palette is made for. Every pixel counts, in sums of 64 bits. Costs about two
 * nanoseconds a pixel. Rows are only read. After kTolvaQuantizeNoMemory the quantizer can only be freed. */
int32_t tolvaQuantizeCount(TolvaQuantizer* quantizer, const TolvaPixelRows* rows);

/** Ends the first pass and gives the palette: the picture's own colours where they are no more than the order allows,
 * otherwise a fitted one. Asked again it gives the same. */
int32_t tolvaQuantizePalette(TolvaQuantizer* quantizer, TolvaPalette* palette);

/** Second pass: the index of the nearest entry for every pixel (least squared distance of red, green and blue, the
 * lowest index on a tie), or what diffusion makes of it. A row's indices go to `indices`, `indexStride` bytes from
 * row to row, a byte a pixel; they may stand at the start of the row's own pixels, which are overwritten then
 * (`indices` equal to the rows' pixels, both strides equal). Other rows than those of the first pass get indices
 * inside the palette, too. Transparent pixels get the key; without one (none was counted) the entry nearest to their
 * colour. With diffusion, rows must come from the top, all of one width; where the width changes the errors begin
 * anew; four or more rows at a time take half as long. */
int32_t tolvaQuantizeMap(TolvaQuantizer* quantizer, const TolvaPixelRows* rows, uint8_t* indices, intptr_t indexStride);

/** Frees it; null is allowed. */
void tolvaQuantizeEnd(TolvaQuantizer* quantizer);

#endif /* TOLVA_TYPES_ONLY */

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
