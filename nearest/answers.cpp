// answers.cpp: how parts get their answers. The entries that can be nearest to something are narrowed down from the
// table to cubes of 32 x 32 x 32, to cells of 8 x 8 x 8, to the eight parts of a cell, side by side. Inside a part
// candidates are told apart by sums of 16 bits, because they lie on both sides of 0 there.

#include "nearest/answers.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <numeric>

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

// Eight numbers of 16 bits, spelt out as vectors, because g++ 12 gets the same loops over numbers wrong when it makes
// vectors of them.
using Lanes = int16_t __attribute__((vector_size(16)));
constexpr uint32_t kLanes = sizeof(Lanes) / sizeof(int16_t);

int16_t narrowed(int32_t x) { return static_cast<int16_t>(x); }

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
            m.steps[k][i] = narrowed(-2 * (c[k][e] - c[k][first]));
        }
        m.at[i] = narrowed(at);
    }
}

// ---- Of a cell's parts, side by side ----

constexpr Lanes kPartReds = {0, 0, 0, 0, 4, 4, 4, 4};  // the lowest ones, from the cell's
constexpr Lanes kPartGreens = {0, 0, 4, 4, 0, 0, 4, 4};
constexpr Lanes kPartBlues = {0, 4, 0, 4, 0, 4, 0, 4};
static_assert(kPartSide == 4 && kPartsOfCell == kLanes);

struct PartCandidates {
    Lanes nearest;  // to the part's middle: the rank in the cell
    Lanes counts;
    uint8_t ranks[kPartsOfCell][kMostEntries];
};

// A vector goes by reference: not every machine has a convention for one as a result.
void takeAtParts(const Margins& cell, uint32_t rank, Lanes& at) {
    at = kPartReds * cell.steps[0][rank] + kPartGreens * cell.steps[1][rank] + kPartBlues * cell.steps[2][rank] +
         cell.at[rank];
}

// The candidates of a cell that are ones of its parts.
void narrowToParts(const Margins& cell, PartCandidates& parts) {
    Lanes least = Lanes{} + INT16_MAX, at = {}, steps[3] = {};
    parts.nearest = Lanes{};
    parts.counts = Lanes{};
    for (uint32_t rank = 0; rank < cell.count; ++rank) {
        Lanes low;
        takeAtParts(cell, rank, low);
        const Lanes inMiddle = low + narrowed(2 * cell.steps[0][rank] + cell.steps[1][rank] + 2 * cell.steps[2][rank]);
        const auto nearer = inMiddle < least;
        least = nearer ? inMiddle : least;
        at = nearer ? low : at;
        for (int k = 0; k < 3; ++k) steps[k] = nearer ? Lanes{} + cell.steps[k][rank] : steps[k];
        parts.nearest = nearer ? Lanes{} + narrowed(static_cast<int32_t>(rank)) : parts.nearest;
    }
    for (uint32_t rank = 0; rank < cell.count; ++rank) {
        Lanes low, gains = {};
        takeAtParts(cell, rank, low);
        for (int k = 0; k < 3; ++k) {
            const Lanes gain = cell.steps[k][rank] - steps[k];
            gains += gain < 0 ? gain : Lanes{};
        }
        const Lanes lowest = low - at + gains * (kPartSide - 1);
        const auto first = narrowed(static_cast<int32_t>(rank)) <= parts.nearest;
        const auto kept = lowest + first < 0;  // also where both are equally far, and this one's index is lower
        for (uint32_t part = 0; part < kPartsOfCell; ++part)
            parts.ranks[part][parts.counts[part]] = static_cast<uint8_t>(rank);
        parts.counts -= kept;
    }
}

// Relative to the one that is nearest to the part's middle.
void takeMarginsOfPart(const Margins& cell, const PartCandidates& parts, uint32_t part, Margins& m) {
    const auto nearest = static_cast<uint32_t>(parts.nearest[part]);
    const auto margin = [&](uint32_t rank) {
        return cell.at[rank] + kPartReds[part] * cell.steps[0][rank] + kPartGreens[part] * cell.steps[1][rank] +
               kPartBlues[part] * cell.steps[2][rank];
    };
    m.count = static_cast<uint32_t>(parts.counts[part]);
    for (uint32_t i = 0; i < m.count; ++i) {
        const uint32_t rank = parts.ranks[part][i];
        m.at[i] = narrowed(margin(rank) - margin(nearest));
        for (int k = 0; k < 3; ++k) m.steps[k][i] = narrowed(cell.steps[k][rank] - cell.steps[k][nearest]);
        m.entries[i] = cell.entries[rank];
    }
}

// ---- Of a part's colours, a vector for the eight of each cube of 2 levels ----

constexpr uint32_t kVectors = kPartColours / kLanes;
constexpr Lanes kReds = {0, 0, 0, 0, 1, 1, 1, 1};
constexpr Lanes kGreens = {0, 0, 1, 1, 0, 0, 1, 1};
constexpr Lanes kBlues = {0, 1, 0, 1, 0, 1, 0, 1};
static_assert(kVectors == 8);

// Hands each vector of a part its sums.
template <class Take>
void forSums(int32_t at, int32_t red, int32_t green, int32_t blue, Take take) {
    const Lanes sums = kReds * narrowed(red) + kGreens * narrowed(green) + kBlues * narrowed(blue) + narrowed(at);
    for (int32_t i = 0; i < static_cast<int32_t>(kVectors); ++i)
        take(i, sums + narrowed(2 * ((i >> 2) * red + (i >> 1 & 1) * green + (i & 1) * blue)));
}

void storeBytes(uint8_t* to, const Lanes& lanes) {
    using Bytes = uint8_t __attribute__((vector_size(kLanes)));
    const Bytes bytes = __builtin_convertvector(lanes, Bytes);
    std::memcpy(to, &bytes, sizeof bytes);
}

void lower(Lanes& least, const Lanes& sums) { least = sums < least ? sums : least; }

bool isAmended(const Answers& a, const uint8_t* lowest) {
    return a.rule.concerns != nullptr && a.rule.concerns(lowest);
}

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
                m.steps[2][rank] * 4, [&](int32_t i, const Lanes& sums) { lower(least[i], sums); });
    }
    for (uint32_t i = 0; i < 2; ++i) {
        const Lanes codes =
            (least[i] & 3) | (least[2 + i] & 3) << 2 | (least[4 + i] & 3) << 4 | (least[6 + i] & 3) << 6;
        storeBytes(block.codes + i * kLanes, codes);
    }
}

void answerMany(const Answers& a, const Margins& m, uint8_t* answers) {
    Lanes least[kVectors], nearest[kVectors] = {};
    std::fill(least, least + kVectors, Lanes{} + INT16_MAX);
    for (uint32_t rank = 0; rank < m.count; ++rank) {
        const Lanes index = Lanes{} + int16_t{a.indices[m.entries[rank]]};
        forSums(m.at[rank], m.steps[0][rank], m.steps[1][rank], m.steps[2][rank], [&](int32_t i, const Lanes& margins) {
            nearest[i] = margins < least[i] ? index : nearest[i];
            lower(least[i], margins);
        });
    }
    for (uint32_t i = 0; i < kVectors; ++i) storeBytes(answers + i * kLanes, nearest[i]);
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

uint32_t fillPart(Answers& a, const Margins& m, const uint8_t* lowest) {
    const bool amended = isAmended(a, lowest);
    if (m.count <= kCodes && !amended) {
        const uint32_t place = a.used;
        answerFew(a, m, newBlock(a, 1));
        return kCodedAnswers | place;
    }
    uint8_t answers[kPartColours];
    answerMany(a, m, answers);
    if (amended) a.rule.amend(a.rule.with, lowest, answers);
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
        return numberOf(lowest);
    };
    uint32_t cubeNumber = 0;
    for (int k = 0; k < 3; ++k) cubeNumber = cubeNumber << 3 | colour[k] >> 5;
    CubeCandidates& cube = a.room->cubes[cubeNumber];
    if (cube.candidates == 0) {
        uint8_t entries[kMostEntries];
        lowestOf(kCubeSide);
        const uint32_t count = narrowCandidates(a.room->candidates, a.count, lowest, kCubeSide, entries);
        cube.first = static_cast<uint16_t>(a.usedCandidates);
        cube.candidates = static_cast<uint16_t>(count);
        a.usedCandidates += layCandidates(a.room->candidates + cube.first, a.components, entries, count);
    }
    const uint32_t firstPart = lowestOf(kCellSide) / kPartColours;
    Margins cell;
    cell.count = narrowCandidates(a.room->candidates + cube.first, cube.candidates, lowest, kCellSide, cell.entries);
    takeMargins(a, lowest, cell);
    PartCandidates parts;
    narrowToParts(cell, parts);
    Margins m;
    for (uint32_t part = 0; part < kPartsOfCell; ++part) {
        const uint8_t inPart[] = {static_cast<uint8_t>(lowest[0] + kPartReds[part]),
                                  static_cast<uint8_t>(lowest[1] + kPartGreens[part]),
                                  static_cast<uint8_t>(lowest[2] + kPartBlues[part])};
        uint32_t& place = a.room->parts[firstPart + part];
        place = kCodedAnswers | (1u + a.indices[cell.entries[parts.nearest[part]]]);
        if (parts.counts[part] == 1 && !isAmended(a, inPart)) continue;
        takeMarginsOfPart(cell, parts, part, m);
        place = fillPart(a, m, inPart);
    }
}

constexpr int32_t kTogether = 8;
constexpr int32_t kNumbered = 64;  // pixels whose numbers are worked out together

// Several pixels at a time: their look-ups do not wait for each other, and flat areas are told by one comparison.
template <int bytes>
void answerPixels(Answers& a, const uint8_t* from, uint8_t* to, int32_t width) {
    const AnswerRoom& room = *a.room;
    uint32_t numbers[kNumbered];
    int32_t x = 0;
    for (; x + kTogether <= width; x += kTogether, from += kTogether * bytes) {
        if (x % kNumbered == 0) numbersOf(from, bytes, static_cast<uint32_t>(std::min(width - x, kNumbered)), numbers);
        // Where indices overwrite pixels, the one before is whole again from the second group on.
        if (x > 0 && std::memcmp(from, from - bytes, kTogether * bytes) == 0) {
            std::memset(to + x, to[x - 1], kTogether);
            continue;
        }
        const uint32_t* const n = numbers + x % kNumbered;
        uint32_t parts[kTogether];
        uint32_t shared = kCodedAnswers;
        for (int i = 0; i < kTogether; ++i) {
            parts[i] = room.parts[n[i] / kPartColours];
            shared &= parts[i];
        }
        if (shared != 0) {
            for (int i = 0; i < kTogether; ++i) to[x + i] = codedAnswer(room.blocks[parts[i] & ~kCodedAnswers], n[i]);
        } else if (std::find(parts, parts + kTogether, 0u) == parts + kTogether) {
            for (int i = 0; i < kTogether; ++i) to[x + i] = eitherAnswer(room.blocks, parts[i], n[i]);
        } else {
            for (int i = 0; i < kTogether; ++i) to[x + i] = answer(a, from + i * bytes);
        }
    }
    for (; x < width; ++x, from += bytes) to[x] = answer(a, from);
}

}  // namespace

uint8_t answerSlowly(Answers& a, const uint8_t* colour) {
    const uint32_t place = numberOf(colour);
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
    uint8_t all[kMostEntries];
    std::iota(all, all + kMostEntries, uint8_t{0});
    a.usedCandidates = layCandidates(a.room->candidates, a.components, all, a.count);
    for (uint32_t i = 0; i < kMostEntries; ++i) {
        a.room->blocks[1 + i] = {};
        a.room->blocks[1 + i].entries[0] = static_cast<uint8_t>(i);
    }
}

bool makeAnswers(Answers& a, const uint8_t* table, uint32_t count) {
    void* const room = std::calloc(1, sizeof(AnswerRoom));
    if (room == nullptr) return false;
    uint8_t all[kMostEntries];
    std::iota(all, all + kMostEntries, uint8_t{0});
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
