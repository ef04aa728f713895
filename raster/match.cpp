// match.cpp: the rule of greys on top of ready answers. Colours are matched among the entries that are no exact greys;
// near-greys among those that are, and by their sum alone.

#include "raster/match.h"

#include <cstdlib>
#include <limits>

namespace tolva {
namespace {

static_assert(kTolvaLargestColourTable == kMostEntries);

bool isGreyEntry(const uint8_t* c) { return c[0] == c[1] && c[1] == c[2]; }

// By the sum s of a near-grey's components the nearest grey g is the one with the least |3g - s|: what the components
// differ among themselves adds the same to every distance.
void indexGreys(Matcher& m, const uint8_t* table, const uint8_t* greys, uint32_t known) {
    for (int32_t sum = 0; sum < static_cast<int32_t>(kGreySums); ++sum) {
        int32_t least = std::numeric_limits<int32_t>::max();
        m.greyIndex[sum] = 0;
        for (uint32_t k = 0; k < known; ++k) {
            const int32_t distance = std::abs(3 * table[greys[k] * kTolvaTripleBytes] - sum);
            if (distance >= least) continue;
            least = distance;
            m.greyIndex[sum] = greys[k];
        }
    }
}

// Whether a near-grey lies in a part: its extents are neighbours at most.
bool mayHoldGreys(const uint8_t* lowest) {
    constexpr int32_t side = kPartSide;
    static_assert(side >= kTolvaGreyTolerance);
    return isGreyWithin(side, lowest[0], lowest[1], lowest[2]);
}

void answerGreys(const void* greyIndex, const uint8_t* lowest, uint8_t* answers) {
    for (uint32_t i = 0; i < kPartColours; ++i) {
        const auto level = [&](uint32_t channel) {
            return static_cast<int32_t>(lowest[channel] + levelOf(i, channel));
        };
        const int32_t red = level(0), green = level(1), blue = level(2);
        if (!isGreyWithin(kTolvaGreyTolerance, red, green, blue)) continue;
        answers[i] = static_cast<const uint8_t*>(greyIndex)[red + green + blue];
    }
}

}  // namespace

bool makeMatcher(Matcher& m, const uint8_t* table, uint32_t count) {
    if (table == nullptr || count == 0 || count > kTolvaLargestColourTable) return false;
    uint8_t greys[kTolvaLargestColourTable], colours[kTolvaLargestColourTable];
    uint32_t greyCount = 0, colourCount = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t index = static_cast<uint8_t>(i);
        if (isGreyEntry(table + i * kTolvaTripleBytes)) {
            greys[greyCount++] = index;
        } else {
            colours[colourCount++] = index;
        }
    }
    indexGreys(m, table, greys, greyCount);
    m.hRoom = rlGetMemory(1, sizeof(AnswerRoom));
    beginAnswers(m.answers, GlobalLock(m.hRoom), table, colours, colourCount, {mayHoldGreys, answerGreys, m.greyIndex});
    return true;
}

void freeMatcher(Matcher& m) { GlobalFree(m.hRoom); }

}  // namespace tolva
