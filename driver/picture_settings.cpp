// picture_settings.cpp: what a host tells about a picture before and while it draws: window, viewport, scaling,
// colours; and the queries that give window and viewport back.

#include <algorithm>

#include <tolva/driver.h>
#include <tolva/raster.h>
#include "host/numbers.h"

namespace {

using namespace tolva;

constexpr int kViewportSlots[] = {0, 1, 3, 4};
constexpr int32_t kRefusesScaling = 128;  // a state bit the filter never sets
constexpr int16_t kScalingByUnit = 1;
constexpr int16_t kLastScalingMode = 2;
constexpr double kMillimetresAnInch = 25.4;
constexpr uint32_t kLengthBeforeColours = 2;
constexpr uint32_t kLengthTooLarge = kLengthBeforeColours + 65536 * kTolvaTripleBytes;

uint8_t* field(void* block, int at) { return static_cast<uint8_t*>(block) + at; }

}  // namespace

void* ds_dvwn(void* block) {
    if (lpEMData != nullptr) std::memcpy(lpEMData->window, field(block, kTolvaBlockData), sizeof lpEMData->window);
    return block;
}

void* ds_bgc(void* block) {
    if (lpEMData != nullptr) {
        std::memcpy(lpEMData->backgroundColour, field(block, kTolvaBlockData), sizeof lpEMData->backgroundColour);
    }
    return block;
}

void* ds_dvvp(void* block) {
    if (lpEMData == nullptr) return block;
    for (const int slot : kViewportSlots) {
        lpEMData->viewport[slot] =
            load<double>(field(block, kTolvaBlockData + slot * static_cast<int>(sizeof(double))));
    }
    return block;
}

void* ds_vpsm(void* block) {
    if (lpEMData == nullptr) return block;
    const int16_t mode = load<int16_t>(field(block, kTolvaScalingMode));
    if (mode < 0 || mode > kLastScalingMode || (lpEMData->state & kRefusesScaling) != 0) return block;
    const double unit = mode == kScalingByUnit ? load<double>(field(block, kTolvaScalingUnit)) : 0.0;
    lpEMData->resolution = unit == 0.0 ? 0 : truncated<int32_t>(kMillimetresAnInch / unit + 0.5);
    return block;
}

void* dq_dvwn(void* block) {
    if (lpEMData != nullptr) mov2buf(lpEMData->window, sizeof lpEMData->window);
    return block;
}

void* dq_dvvp(void* block) {
    if (lpEMData == nullptr) return block;
    // Kept: this order, with the third and sixth values unset (0 here); hosts take the reply apart by it.
    const double* const slots = lpEMData->viewport;
    const double values[] = {slots[0], slots[4], 0.0, slots[1], slots[3], 0.0};
    mov2buf(values, sizeof values);
    return block;
}

void* ds_ct(void* block) {
    if (lpEMData == nullptr) return block;
    const uint32_t length = load<uint32_t>(field(block, kTolvaTableLength));
    const uint32_t first = load<uint32_t>(field(block, kTolvaTableFirst));
    // A length that claims more colours than any host sends says nothing about the block: none of it is touched.
    if (length < kLengthBeforeColours || length >= kLengthTooLarge) return block;
    const uint32_t colours = (length - kLengthBeforeColours) / kTolvaTripleBytes;
    uint8_t* const triples = field(block, kTolvaTableColours);
    // Kept: the host's own block is converted, then copied from; hosts find in it the colours that are drawn.
    rev_rgb(static_cast<int32_t>(colours), triples, lpEMData->conversionMode);
    if (first >= kTolvaLargestColourTable) return block;
    const uint32_t stored = std::min(colours, kTolvaLargestColourTable - first);
    if (stored != 0) std::memcpy(lpEMData->colourTable[first], triples, size_t{stored} * kTolvaTripleBytes);
    return block;
}

// Known and without effect; their own handlers, so that hosts are told they are supported.
void* ds_axc(void* block) { return block; }
void* ds_tran(void* block) { return block; }
void* ds_clpr(void* block) { return block; }
void* ds_clip(void* block) { return block; }
void* ds_dm(void* block) { return block; }
void* ds_fl(void* block) { return block; }
