// Ready answers against the plain search.
#include "nearest/answers.h"
#include "support.h"

namespace {

// Random, greys, all far away in a corner, a lattice with ties, entries that repeat, and a diagonal with ties in whose
// parts most have many answers: so many that what is known must be given up on the way.
Bytes tableOf(int kind, int entries) {
    std::mt19937 random(31);
    Bytes table;
    for (int i = 0; i < entries; ++i) {
        const int v = static_cast<int>(random() & 0xFFFFFF), along = i * 37 % 255;
        const int choices[][3] = {{v >> 16, v >> 8, v},
                                  {i, i, i},
                                  {v >> 16 & 3, v >> 8 & 3, v & 3},
                                  {i >> 3 & 24, i & 24, i << 3 & 24},
                                  {v & 7, 9, 200},
                                  {along + 1, along, 128}};
        for (const int value : choices[kind]) table.push_back(static_cast<uint8_t>(value));
    }
    return table;
}

}  // namespace

TEST(Answers, AreThoseOfThePlainSearch) {
    for (const auto& [kind, entries] :
         {std::pair{0, 256}, {1, 256}, {2, 256}, {3, 27}, {4, 200}, {5, 255}, {0, 9}, {4, 2}, {0, 0}}) {
        const Bytes table = tableOf(kind, entries);
        tolva::Answers answers;
        ASSERT_TRUE(tolva::makeAnswers(answers, table.data(), static_cast<uint32_t>(entries)));
        // Of one table a quarter of the cube, here and there, in rows with a flat area, over themselves.
        const int width = 431, flat = 30, bytes = 3 + kind % 2;
        for (uint32_t first = 0; first < (entries == 9 ? 1u << 22 : 40000u); first += width - flat) {
            Bytes row, expected;
            for (int x = 0; x < width; ++x) {
                const uint32_t v = (first + std::clamp(x - flat, std::min(x, 100), width)) * 2654435761u;
                row.insert(row.end(), {uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v), uint8_t(x)});
                if (bytes == 3) row.pop_back();
                expected.push_back(plainlyNearest(table.data(), entries, &row[x * bytes]));
            }
            tolva::answerRow(answers, row.data(), bytes, row.data(), width);
            row.resize(width);
            ASSERT_EQ(row, expected) << kind << ": " << first;
        }
        tolva::freeAnswers(answers);
    }
}
