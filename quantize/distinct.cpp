#include "quantize/distinct.h"

#include <cstdlib>

#include "quantize/runs.h"

namespace tolva {
namespace {

constexpr uint32_t kSlotBits = 10;
constexpr uint32_t kSlots = 1u << kSlotBits;
static_assert(kMostDistinct < kSlots, "a place + 1 fits a slot, and the search for a free one ends");

uint32_t hashOf(uint32_t colour) { return colour * 0x9E3779B1u >> (32 - kSlotBits); }

// Null where the colour is new and the list is full.
DistinctColour* entryOf(Distinct& d, uint32_t colour) {
    uint32_t slot = hashOf(colour);
    for (; d.slots[slot] != 0; slot = (slot + 1) % kSlots) {
        DistinctColour& known = d.colours[d.slots[slot] - 1];
        if (known.colour == colour) return &known;
    }
    if (d.count == kMostDistinct) return nullptr;
    DistinctColour& added = d.colours[d.count++];
    added = {.colour = colour, .pixels = 0};
    d.slots[slot] = static_cast<uint16_t>(d.count);
    return &added;
}

}  // namespace

bool makeDistinct(Distinct& d) {
    d.colours = static_cast<DistinctColour*>(std::malloc(kMostDistinct * sizeof(DistinctColour)));
    d.slots = static_cast<uint16_t*>(std::calloc(kSlots, sizeof(uint16_t)));
    d.count = 0;
    return d.colours != nullptr && d.slots != nullptr;
}

void freeDistinct(Distinct& d) {
    std::free(d.colours);
    std::free(d.slots);
    d = {};
}

uint32_t listColours(Distinct& d, const uint8_t* pixels, int bytesPerPixel, uint32_t width) {
    for (uint32_t x = 0; x < width;) {
        const uint8_t* const p = pixels + size_t{x} * static_cast<uint32_t>(bytesPerPixel);
        DistinctColour* const entry = entryOf(d, uint32_t{p[0]} << 16 | uint32_t{p[1]} << 8 | p[2]);
        if (entry == nullptr) return x;
        const uint32_t run = runLength(p, bytesPerPixel, width - x);
        entry->pixels += run;
        x += run;
    }
    return width;
}

}  // namespace tolva
