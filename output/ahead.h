// ahead.h: the search for the strings of pictures whose strings are short, such as photographs. Used by the encoder.
#ifndef TOLVA_OUTPUT_AHEAD_H
#define TOLVA_OUTPUT_AHEAD_H

#include <cstdint>

#include "output/dictionary.h"

namespace tolva {

struct Search {
    const uint8_t* next;  // the first pixel that was not taken
    String string;        // the current one
    uint32_t nextFree;    // code
};

// Takes pixels up to `stop`, where there is one more, or until the next free code is `threshold`. `emitted` gets codes,
// each at the code that was free next.
Search searchAhead(Dictionary& dictionary, const Search& from, const uint8_t* stop, uint32_t threshold,
                   uint16_t* emitted);

}  // namespace tolva

#endif
