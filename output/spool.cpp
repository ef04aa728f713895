// spool.cpp: interlaced pictures that arrive in several bands. Rows are appended as they come, top row first, to a
// memory stream or, for large pictures, to a temporary file; at the end they are read back in interlace order and
// compressed, a buffer-load a segment.

#include "output/spool.h"

#include <tolva/driver.h>
#include <tolva/stream.h>
#include "host/handle.h"
#include "output/lzw.h"

using namespace tolva;

namespace {

constexpr uint32_t kSpoolBufferBytes = 65536;
constexpr int kLastPass = 3;

Handle openMemorySpool(CellBitmapState& state) {
    state.spoolBlock = GlobalAlloc(kTolvaMoveableZeroed, 1);
    state.spoolData = GlobalLock(state.spoolBlock);
    StreamDescriptor descriptor = {};
    descriptor.blockRef = reinterpret_cast<intptr_t>(&state.spoolData);
    descriptor.growBy = kTolvaUsualGrowth;
    return zunOpen(nullptr, &descriptor, kTolvaCreateAndWrite);
}

Handle openSpoolFile(CellBitmapState& state) {
    if (ZUNGetTempFileName(0, "", 0, state.spoolName) == 0) return 0;
    const Handle spool = zunOpen(state.spoolName, nullptr, kTolvaCreateAndWrite);
    if (spool == 0) {
        zunOpen(state.spoolName, nullptr, kTolvaDeleteFile);
        state.spoolName[0] = '\0';
    }
    return spool;
}

// Reads one row back. What the spool does not hold, or no stream position reaches, leaves the buffer as it is.
void readRow(const CellBitmapState& state, int32_t row, uint8_t* to) {
    const int64_t offset = int64_t{row} * state.bytesPerRow;
    if (offset > INT32_MAX || zunSeek(state.spool, static_cast<int32_t>(offset), kTolvaFromStart) == -1) return;
    zunRead(state.spool, to, static_cast<int32_t>(state.bytesPerRow));
}

struct Place {
    int pass;
    int64_t row;
};

// Fills the buffer with the rows of the current pass; the rows it took.
uint32_t fillBuffer(const CellBitmapState& state, Place& place, uint8_t* buffer) {
    const uint32_t most = kSpoolBufferBytes / state.bytesPerRow;
    uint32_t rows = 0;
    for (; rows < most && place.row < state.height; ++rows) {
        readRow(state, static_cast<int32_t>(place.row), buffer + rows * state.bytesPerRow);
        place.row += kInterlacePasses[place.pass].step;
    }
    return rows;
}

int32_t writePasses(const CellBitmapState& state, Handle stream, uint8_t* pixels, uint8_t* work) {
    uint32_t carry = 0;
    int32_t result = kTolvaNoError;
    bool first = true;
    // Kept: a pass that starts past the last row ends the picture, so one of 1 to 4 rows is never closed by an end
    // code; decoders stop at the trailer, and hosts have these files.
    for (Place place = {0, 0}; place.pass <= kLastPass && place.row < state.height; first = false) {
        const uint32_t rows = fillBuffer(state, place, pixels);
        const bool passDone = place.row >= state.height;
        const bool last = passDone && place.pass == kLastPass;
        const int64_t count = int64_t{rows} * state.bytesPerRow;
        Encoder& encoder = beginSegment(stream, count, work, first, &carry);
        encodeRow(encoder, pixels, count);
        result = endSegment(encoder, last);
        if (!passDone) continue;
        ++place.pass;
        if (place.pass <= kLastPass) place.row = kInterlacePasses[place.pass].start;
    }
    return result;
}

}  // namespace

namespace tolva {

void dropSpool(CellBitmapState& state) {
    if (state.spool != 0) GifCloseSpoolFile(&state);
    state.spool = 0;
}

void freeSpoolBlock(CellBitmapState& state) {
    // The handle goes stale when the stream grows its block; the data pointer follows it.
    if (state.spoolBlock != 0) GlobalFree(GlobalHandle(state.spoolData));
    state.spoolBlock = 0;
    state.spoolData = nullptr;
}

}  // namespace tolva

Handle GifOpenSpoolFile(CellBitmapState* state, int32_t pixels) {
    const Handle spool = pixels > kTolvaLargestMemorySpool ? openSpoolFile(*state) : openMemorySpool(*state);
    if (spool == 0) push_er(kTolvaStreamFailed);
    return spool;
}

int32_t GifWriteSpoolFile(Handle spool, const void* bytes, int32_t count) { return zunWrite(spool, bytes, count); }

int32_t GifCloseSpoolFile(CellBitmapState* state) { return zunCloseandDelete(state->spool, state->spoolName); }

int32_t GifInterlaceandWrite(CellBitmapState* state, Handle stream) {
    // No row fits, or rows of nothing: neither would ever make progress.
    if (state->bytesPerRow == 0 || state->bytesPerRow > kSpoolBufferBytes) return kTolvaNoError;
    const Handle hPixels = GlobalAlloc(kTolvaMoveableZeroed, kSpoolBufferBytes);
    const Handle hWork = GlobalAlloc(kTolvaMoveableZeroed, kSpoolBufferBytes);
    const int32_t result = writePasses(*state, stream, static_cast<uint8_t*>(GlobalLock(hPixels)),
                                       static_cast<uint8_t*>(GlobalLock(hWork)));
    freeEncoder();
    GlobalFree(hPixels);
    GlobalFree(hWork);
    return result;
}
