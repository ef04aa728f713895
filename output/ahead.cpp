// ahead.cpp: a search without jumps that cannot be foretold. Where strings are short it is chance whether one goes on,
// and a jump that was foretold wrongly costs more than several look-ups. So both slots that the next pixel may need are
// read before it is known which one that is: the slot of the string that goes on, and that of the one that the last
// pixel begins. Codes come last, out of the way.

#include "output/ahead.h"

#include <array>

namespace tolva {
namespace {

constexpr auto kAlone = [] {
    std::array<uint16_t, kPixels> strings{};
    for (uint32_t pixel = 0; pixel < kPixels; ++pixel) strings[pixel] = static_cast<uint16_t>(alone(pixel));
    return strings;
}();

// Hidden from compilers, which would make a jump of several choices that hang on the same number.
uint32_t either(uint32_t differs, uint32_t same, uint32_t other) {
    asm("" : "+r"(differs));
    return differs != 0 ? other : same;
}

// Whether another string of this generation stands there, by how it differs from what is sought.
bool isOther(uint32_t differs) { return differs - 1 < kOneGeneration - 1; }

// In the order of codes: a string's prefix may have been entered just before it. `emitted` has the prefixes' slots.
void giveCodes(Dictionary& d, const uint16_t* entered, uint32_t code, uint32_t end, uint16_t* emitted) {
    for (; code < end; ++code) {
        emitted[code] = d.codes[emitted[code]];
        d.codes[entered[code]] = static_cast<uint16_t>(code);
    }
}

}  // namespace

Search searchAhead(Dictionary& d, const Search& from, const uint8_t* stop, uint32_t threshold, uint16_t* emitted) {
    uint16_t entered[kCodes];  // slots, by code
    const uint8_t* p = from.next;
    String string = from.string;
    uint32_t next = from.nextFree;
    Place place = firstPlace(d, string, *p);
    uint32_t held = d.slots[place.slot];
    while (p < stop && next < threshold) {
        uint32_t differs = held ^ place.content;
        while (isOther(differs)) {
            place = nextPlace(place);
            held = d.slots[place.slot];
            differs = held ^ place.content;
        }
        // As if it were new. If it is known, that changes nothing, and the code stays free.
        enter(d, place);
        emitted[next] = static_cast<uint16_t>(string);
        entered[next] = static_cast<uint16_t>(place.slot);
        next += differs != 0;

        const String fresh = kAlone[*p++];
        const Place longer = firstPlace(d, place.slot, *p);
        const Place pair = firstPlace(d, fresh, *p);
        const uint32_t heldByLonger = d.slots[longer.slot];
        const uint32_t heldByPair = d.slots[pair.slot];
        string = either(differs, place.slot, fresh);
        held = either(differs, heldByLonger, heldByPair);
        place = {either(differs, longer.slot, pair.slot), longer.content};
    }
    giveCodes(d, entered, from.nextFree, next, emitted);
    return {p, string, next};
}

}  // namespace tolva
