#include "quantize/distinct.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace tolva {
namespace {

constexpr uint32_t kSlotBits = 11;
constexpr uint32_t kSlots = 1u << kSlotBits;
static_assert(kMostDistinct < kSlots, "the search for a free slot ends");
constexpr uint32_t kTogether = 8;  // pixels; in flat areas all of them are told by one comparison

uint32_t hashOf(uint32_t colour) { return colour * 0x9E3779B1u >> (32 - kSlotBits); }

// A colour's slot, or the free one where it would stand.
DistinctSlot& slotOf(const Distinct& d, uint32_t colour) {
    uint32_t slot = hashOf(colour);
    while (d.slots[slot].colour != colour && d.slots[slot].place != 0) slot = (slot + 1) % kSlots;
    return d.slots[slot];
}

// Null where the colour is new and the list is full.
DistinctColour* entryOf(Distinct& d, uint32_t colour) {
    DistinctSlot& slot = slotOf(d, colour);
    if (slot.place == 0) {
        if (d.count == kMostDistinct) return nullptr;
        d.colours[d.count++] = {.colour = colour, .pixels = 0};
        slot = {.colour = colour, .place = d.count};
    }
    return &d.colours[slot.place - 1];
}

// Hands over each colour, and counts of pixels that repeat the one before; until a colour is not taken.
template <uint32_t step, class Take, class Repeat>
uint32_t forPixels(const uint8_t* pixels, uint32_t width, Take take, Repeat repeat) {
    for (uint32_t x = 0; x < width;) {
        const uint32_t n = std::min(kTogether, width - x);
        const uint8_t* p = pixels + size_t{x} * step;
        if (x > 0 && n == kTogether && std::memcmp(p, p - step, kTogether * step) == 0) {
            repeat(x, n);
            x += n;
            continue;
        }
        for (const uint32_t end = x + n; x < end; ++x, p += step) {
            if (!take(x, uint32_t{p[0]} << 16 | uint32_t{p[1]} << 8 | p[2])) return x;
        }
    }
    return width;
}

template <uint32_t step>
uint32_t listPixels(Distinct& d, const uint8_t* pixels, uint32_t width) {
    DistinctColour* entry = nullptr;
    const auto take = [&](uint32_t, uint32_t colour) {
        entry = entryOf(d, colour);
        if (entry != nullptr) ++entry->pixels;
        return entry != nullptr;
    };
    return forPixels<step>(pixels, width, take, [&](uint32_t, uint32_t n) { entry->pixels += n; });
}

template <uint32_t step>
uint32_t indexPixels(const Distinct& d, const uint8_t* pixels, uint8_t* to, uint32_t width) {
    const auto take = [&](uint32_t x, uint32_t colour) {
        const uint32_t place = slotOf(d, colour).place;
        if (place != 0) to[x] = static_cast<uint8_t>(place - 1);
        return place != 0;
    };
    return forPixels<step>(pixels, width, take, [&](uint32_t x, uint32_t n) { std::memset(to + x, to[x - 1], n); });
}

}  // namespace

bool makeDistinct(Distinct& d) {
    d.colours = static_cast<DistinctColour*>(std::malloc(kMostDistinct * sizeof(DistinctColour)));
    d.slots = static_cast<DistinctSlot*>(std::calloc(kSlots, sizeof(DistinctSlot)));
    d.count = 0;
    return d.colours != nullptr && d.slots != nullptr;
}

void freeDistinct(Distinct& d) {
    std::free(d.colours);
    std::free(d.slots);
    d = {};
}

uint32_t listColours(Distinct& d, const uint8_t* pixels, int bytesPerPixel, uint32_t width) {
    return bytesPerPixel == 3 ? listPixels<3>(d, pixels, width) : listPixels<4>(d, pixels, width);
}

uint32_t indexColours(const Distinct& d, const uint8_t* pixels, int bytesPerPixel, uint8_t* to, uint32_t width) {
    return bytesPerPixel == 3 ? indexPixels<3>(d, pixels, to, width) : indexPixels<4>(d, pixels, to, width);
}

}  // namespace tolva
