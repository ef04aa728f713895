// lzw.h: one segment of LZW code from rows of pixels, in whatever order they are to be written. Called by the GIF
// writer and its spool; the exported calls take one contiguous run instead.
#ifndef TOLVA_OUTPUT_LZW_H
#define TOLVA_OUTPUT_LZW_H

#include <cstdint>

#include "output/output.h"

namespace tolva {

constexpr int32_t kWorkBytes = 264;  // the least a work buffer holds: a group of sub-block data and what a step adds
constexpr int32_t kSubBlockBytes = 254;  // kept: never 255

// Where a segment's pixels come from: `next` hands out the rows in writing order, one call a row.
struct SegmentRows {
    const uint8_t* (*next)(void* context);
    void* context;
    int64_t rows;
    int64_t rowBytes;
};

// CompressAndWrite on rows. The rows may lie in the work buffer's own memory only if `work` is a copy of it. The
// encoder's block stays for the image's next segment: who ends the image frees it.
int32_t compressRows(Handle stream, const SegmentRows& rows, uint8_t* work, bool first, bool last, uint32_t* carry);
// The same on one contiguous run of pixels.
int32_t compressRun(Handle stream, const uint8_t* pixels, int32_t count, uint8_t* work, bool first, bool last,
                    uint32_t* carry);
void freeEncoder();

}  // namespace tolva

#endif
