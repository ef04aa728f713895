// lzw.h: one segment of LZW code from rows of pixels. Called by the writer of bands and by the spool; the exported
// calls take one contiguous run instead.
#ifndef TOLVA_OUTPUT_LZW_H
#define TOLVA_OUTPUT_LZW_H

#include <cstdint>

#include <tolva/output.h>
#include "host/handle.h"

namespace tolva {

constexpr int32_t kWorkBytes = 264;  // the least a work buffer holds: a group of sub-block data and what a step adds
// Kept: one less than the format allows; all files that hosts compare theirs with are cut so.
constexpr int32_t kSubBlockBytes = 254;

struct Encoder;  // lzw.cpp's

// One segment, fed row by row in the order of the file: what CompressAndWrite does in one call. `pixels` is how many
// will come in all. The work buffer is used from begin to end; nothing may point into it.
Encoder& beginSegment(Handle stream, int64_t pixels, uint8_t* work, bool first, uint32_t* carry);
void encodeRow(Encoder& e, const uint8_t* row, int64_t pixels);
int32_t endSegment(Encoder& e, bool last);

// The encoder's block stays for the image's next segment; who ends the image frees it.
void freeEncoder();

}  // namespace tolva

#endif
