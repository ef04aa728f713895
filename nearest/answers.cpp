// answers.cpp: how parts get their answers. The entries that can be nearest to something are narrowed down from the
// table to cubes of 32 x 32 x 32, to cells of 8 x 8 x 8, to parts. How much farther one entry is than another is linear
// in the colour: so an entry is out where at all corners it is farther than the one that is nearest to the middle; and
// inside a part candidates are told apart by sums of 16 bits, because they lie on both sides of 0 there.

#include "nearest/answers.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace tolva {
namespace {

constexpr int32_t kCubeSide = 32;
constexpr int32_t kCellSide = 8;
constexpr uint32_t kCodes = 4;  // candidates that 2 bits tell apart

int32_t square(int32_t x) { return x * x; }

// By how much entries are farther than another one: `at` the lowest colour of a cube, and so much more a step.
struct Margins {
    uint32_t count;
    int16_t at[kMostEntries];
    int16_t steps[3][kMostEntries];
    uint8_t entries[kMostEntries];
};

// The candidates among some entries in the cube of this lowest colour, in their order.
uint32_t narrow(const Answers& a, const uint8_t* from, uint32_t count, const uint8_t* lowest, int32_t side,
                uint8_t* to) {
    const int16_t(&c)[3][kMostEntries] = a.components;
    int32_t distances[kMostEntries];  // from the lowest colour
    int32_t least = INT32_MAX;
    uint32_t middle = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const int32_t red = c[0][from[i]] - lowest[0], green = c[1][from[i]] - lowest[1],
                      blue = c[2][from[i]] - lowest[2];
        distances[i] = red * red + green * green + blue * blue;
        const int32_t fromMiddle = distances[i] - side * (red + green + blue);  // but for what is the same for all
        if (fromMiddle >= least) continue;
        least = fromMiddle;
        middle = i;
    }
    const uint32_t m = from[middle];
    uint32_t kept = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t e = from[i];
        const auto gain = [&](int k) { return std::max(0, c[k][e] - c[k][m]); };  // a step to where the entry does best
        const int32_t margin = distances[i] - distances[middle] - 2 * (side - 1) * (gain(0) + gain(1) + gain(2));
        to[kept] = static_cast<uint8_t>(e);
        kept += margin < (i <= middle);
    }
    return kept;
}

// A candidate is nearer than the one that is nearest to the middle somewhere in the cell, and farther in its middle: so
// its margin to that one stays within 2 * 7 * 3 * 255 of 0, and that to another candidate within twice as much, which
// fits 16 bits. In a part it is within 2 * 3 * 3 * 255, four times of which do.
void takeMargins(const Answers& a, const uint8_t* lowest, Margins& m) {
    const int16_t(&c)[3][kMostEntries] = a.components;
    const uint32_t first = m.entries[0];
    for (uint32_t i = 0; i < m.count; ++i) {
        const uint32_t e = m.entries[i];
        int32_t at = 0;
        for (int k = 0; k < 3; ++k) {
            at += square(c[k][e] - lowest[k]) - square(c[k][first] - lowest[k]);
            m.steps[k][i] = static_cast<int16_t>(-2 * (c[k][e] - c[k][first]));
        }
        m.at[i] = static_cast<int16_t>(at);
    }
}

// Sums of 16 bits that are linear in the colour, eight at once: those of a part's two greens and all its blues. Spelt
// out as vectors, because g++ 12 gets the same loops over numbers wrong when it makes vectors of them.
using Lanes = int16_t __attribute__((vector_size(16)));
constexpr uint32_t kLanes = sizeof(Lanes) / sizeof(int16_t);
constexpr uint32_t kVectors = kPartColours / kLanes;
constexpr Lanes kGreens = {0, 0, 0, 0, 1, 1, 1, 1};
constexpr Lanes kBlues = {0, 1, 2, 3, 0, 1, 2, 3};
static_assert(kPartSide == 4 && kVectors == 8);

// Hands each vector of a part its sums.
template <class Take>
void forSums(int32_t at, int32_t red, int32_t green, int32_t blue, Take take) {
    const auto step = [](int32_t x) { return static_cast<int16_t>(x); };
    Lanes sums = kGreens * step(green) + kBlues * step(blue) + step(at);
    for (uint32_t i = 0; i < kVectors; i += 2) {
        take(i, sums);
        take(i + 1, sums + step(2 * green));
        sums += step(red);
    }
}

void lower(Lanes& least, const Lanes& sums) { least = sums < least ? sums : least; }

AnswerBlock& newBlock(Answers& a, uint32_t blocks) {
    AnswerBlock& block = a.room->blocks[a.used];
    a.used += blocks;
    return block;
}

// Where there are few candidates: four times the margin and the rank, whose least has the answer's rank below.
void answerFew(Answers& a, const Margins& m, AnswerBlock& block) {
    Lanes least[kVectors];
    std::fill(least, least + kVectors, Lanes{} + INT16_MAX);
    for (uint32_t rank = 0; rank < m.count; ++rank) {
        block.entries[rank] = a.indices[m.entries[rank]];
        forSums(m.at[rank] * 4 + static_cast<int32_t>(rank), m.steps[0][rank] * 4, m.steps[1][rank] * 4,
                m.steps[2][rank] * 4, [&](uint32_t i, const Lanes& sums) { lower(least[i], sums); });
    }
    for (uint32_t i = 0; i < 2; ++i) {
        const Lanes codes =
            (least[i] & 3) | (least[2 + i] & 3) << 2 | (least[4 + i] & 3) << 4 | (least[6 + i] & 3) << 6;
        for (uint32_t k = 0; k < kLanes; ++k) block.codes[i * kLanes + k] = static_cast<uint8_t>(codes[k]);
    }
}

void answerMany(const Answers& a, const Margins& m, uint8_t* answers) {
    Lanes least[kVectors], nearest[kVectors] = {};
    std::fill(least, least + kVectors, Lanes{} + INT16_MAX);
    for (uint32_t rank = 0; rank < m.count; ++rank) {
        const Lanes index = Lanes{} + int16_t{a.indices[m.entries[rank]]};
        forSums(m.at[rank], m.steps[0][rank], m.steps[1][rank], m.steps[2][rank],
                [&](uint32_t i, const Lanes& margins) {
                    nearest[i] = margins < least[i] ? index : nearest[i];
                    lower(least[i], margins);
                });
    }
    for (uint32_t i = 0; i < kPartColours; ++i) answers[i] = static_cast<uint8_t>(nearest[i / kLanes][i % kLanes]);
}

// The place of a block that gives these answers.
uint32_t keep(Answers& a, const uint8_t* answers) {
    AnswerBlock coded = {};
    uint32_t known = 0;
    for (uint32_t i = 0; i < kPartColours; ++i) {
        uint32_t code = 0;
        while (code < known && coded.entries[code] != answers[i]) ++code;
        if (code == kCodes) {
            const uint32_t place = a.used;
            std::memcpy(&newBlock(a, kBlocksOfPlainAnswers), answers, kPartColours);
            return place;
        }
        if (code == known) coded.entries[known++] = answers[i];
        coded.codes[i % 16] = static_cast<uint8_t>(coded.codes[i % 16] | code << i / 16 * 2);
    }
    if (known == 1) return kCodedAnswers | (1u + answers[0]);
    const uint32_t place = a.used;
    newBlock(a, 1) = coded;
    return kCodedAnswers | place;
}

// The candidates of a cell that are ones of a part, with their margins to the one that is nearest to its middle.
void narrowMargins(const Margins& cell, const int32_t* inCell, Margins& part) {
    int16_t at[kMostEntries];
    uint32_t middle = 0;
    int32_t least = INT16_MAX + 1;
    for (uint32_t i = 0; i < cell.count; ++i) {
        const auto step = [&](int k) { return int32_t{cell.steps[k][i]}; };
        const int32_t low = cell.at[i] + inCell[0] * step(0) + inCell[1] * step(1) + inCell[2] * step(2);
        at[i] = static_cast<int16_t>(low);
        const int32_t inMiddle = low + 2 * step(0) + step(1) + 2 * step(2);
        if (inMiddle < least) {
            least = inMiddle;
            middle = i;
        }
    }
    part.count = 0;
    for (uint32_t i = 0; i < cell.count; ++i) {
        const uint32_t n = part.count;
        // cppcheck-suppress uninitvar ; as many as were filled
        const int32_t margin = at[i] - at[middle];
        int32_t lowest = margin;
        for (int k = 0; k < 3; ++k) {
            const int32_t step = cell.steps[k][i] - cell.steps[k][middle];
            part.steps[k][n] = static_cast<int16_t>(step);
            lowest += (kPartSide - 1) * std::min(step, 0);
        }
        part.at[n] = static_cast<int16_t>(margin);
        part.entries[n] = cell.entries[i];
        part.count += lowest < (i <= middle);
    }
}

uint32_t fillPart(Answers& a, const Margins& cell, const uint8_t* lowest, const int32_t* inCell) {
    Margins part;
    narrowMargins(cell, inCell, part);
    const uint8_t corner[] = {static_cast<uint8_t>(lowest[0] + inCell[0]), static_cast<uint8_t>(lowest[1] + inCell[1]),
                              static_cast<uint8_t>(lowest[2] + inCell[2])};
    const bool amended = a.rule.concerns != nullptr && a.rule.concerns(corner);
    if (part.count == 1 && !amended) return kCodedAnswers | (1u + a.indices[part.entries[0]]);
    if (part.count <= kCodes && !amended) {
        const uint32_t place = a.used;
        answerFew(a, part, newBlock(a, 1));
        return kCodedAnswers | place;
    }
    uint8_t answers[kPartColours];
    answerMany(a, part, answers);
    if (amended) a.rule.amend(a.rule.with, corner, answers);
    return keep(a, answers);
}

void fillCell(Answers& a, const uint8_t* colour) {
    // Palettes of which so many parts have many answers are none that anyone has: what was known is worked out again.
    if (a.used + kPartsOfCell * kBlocksOfPlainAnswers > kBlocks) {
        std::memset(a.room->parts, 0, sizeof a.room->parts);
        a.used = kOwnBlocks;
    }
    uint8_t lowest[3];
    const auto lowestOf = [&](int32_t side) {
        for (int k = 0; k < 3; ++k) lowest[k] = static_cast<uint8_t>(colour[k] & -side);
        return placeOf(lowest);
    };
    uint32_t cubeNumber = 0;
    for (int k = 0; k < 3; ++k) cubeNumber = cubeNumber << 3 | colour[k] >> 5;
    CubeCandidates& cube = a.room->cubes[cubeNumber];
    if (cube.count == 0) {
        uint8_t all[kMostEntries];
        for (uint32_t i = 0; i < a.count; ++i) all[i] = static_cast<uint8_t>(i);
        lowestOf(kCubeSide);
        cube.count = static_cast<uint16_t>(narrow(a, all, a.count, lowest, kCubeSide, cube.entries));
    }
    const uint32_t firstPart = lowestOf(kCellSide) / kPartColours;
    Margins cell;
    cell.count = narrow(a, cube.entries, cube.count, lowest, kCellSide, cell.entries);
    takeMargins(a, lowest, cell);
    for (int32_t i = 0; i < static_cast<int32_t>(kPartsOfCell); ++i) {
        const int32_t inCell[] = {(i >> 2) * kPartSide, (i >> 1 & 1) * kPartSide, (i & 1) * kPartSide};
        a.room->parts[firstPart + static_cast<uint32_t>(i)] = fillPart(a, cell, lowest, inCell);
    }
}

constexpr int32_t kTogether = 8;

// Several pixels at a time: their look-ups do not wait for each other, and flat areas are told by one comparison.
template <int bytes>
void answerPixels(Answers& a, const uint8_t* from, uint8_t* to, int32_t width) {
    const AnswerRoom& room = *a.room;
    int32_t x = 0;
    for (; x + kTogether <= width; x += kTogether, from += kTogether * bytes) {
        // Where indices overwrite pixels, the one before is whole again from the second group on.
        if (x > 0 && std::memcmp(from, from - bytes, kTogether * bytes) == 0) {
            std::memset(to + x, to[x - 1], kTogether);
            continue;
        }
        uint32_t places[kTogether], parts[kTogether];
        uint32_t shared = kCodedAnswers;
        for (int i = 0; i < kTogether; ++i) {
            places[i] = placeOf(from + i * bytes);
            parts[i] = room.parts[places[i] / kPartColours];
            shared &= parts[i];
        }
        if (shared != 0) {
            for (int i = 0; i < kTogether; ++i) to[x + i] = codedAnswer(room.blocks[parts[i] & ~kCodedAnswers], places[i]);
        } else if (std::find(parts, parts + kTogether, 0u) == parts + kTogether) {
            for (int i = 0; i < kTogether; ++i) to[x + i] = eitherAnswer(room.blocks, parts[i], places[i]);
        } else {
            for (int i = 0; i < kTogether; ++i) to[x + i] = answer(a, from + i * bytes);
        }
    }
    for (; x < width; ++x, from += bytes) to[x] = answer(a, from);
}

}  // namespace

uint8_t answerSlowly(Answers& a, const uint8_t* colour) {
    const uint32_t place = placeOf(colour);
    const uint32_t& part = a.room->parts[place / kPartColours];
    if (part == 0) {
        fillCell(a, colour);
        return answer(a, colour);
    }
    return plainAnswer(a.room->blocks, part, place);
}

void beginAnswers(Answers& a, void* room, const uint8_t* table, const uint8_t* chosen, uint32_t count,
                  const AnswerRule& rule) {
    a.room = static_cast<AnswerRoom*>(room);
    a.used = kOwnBlocks;
    a.count = 0;
    a.rule = rule;
    a.owned = false;
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t* const c = table + chosen[i] * 3u;
        for (int k = 0; k < 3; ++k) a.components[k][a.count] = c[k];
        a.indices[a.count++] = chosen[i];
    }
    if (a.count == 0) {
        for (auto& component : a.components) component[0] = 0;
        a.indices[a.count++] = 0;
    }
    for (uint32_t i = 0; i < kMostEntries; ++i) {
        a.room->blocks[1 + i] = {};
        a.room->blocks[1 + i].entries[0] = static_cast<uint8_t>(i);
    }
}

bool makeAnswers(Answers& a, const uint8_t* table, uint32_t count) {
    void* const room = std::calloc(1, sizeof(AnswerRoom));
    if (room == nullptr) return false;
    uint8_t all[kMostEntries];
    for (uint32_t i = 0; i < count; ++i) all[i] = static_cast<uint8_t>(i);
    beginAnswers(a, room, table, all, count, {});
    a.owned = true;
    return true;
}

void freeAnswers(Answers& a) {
    if (a.owned) std::free(a.room);
}

void answerRow(Answers& a, const uint8_t* from, int bytesPerPixel, uint8_t* to, int32_t width) {
    if (bytesPerPixel == 3) {
        answerPixels<3>(a, from, to, width);
    } else {
        answerPixels<4>(a, from, to, width);
    }
}

}  // namespace tolva
