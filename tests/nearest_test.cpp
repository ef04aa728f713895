// Ready answers against the plain search.
#include "nearest/answers.h"
#include "support.h"

namespace {

// Random, a line of neighbours, far away in a corner, a lattice with ties, entries that repeat, and a diagonal of pairs
// at equal distance in whose parts most have many answers: so many that what is known must be given up on the way.
Bytes tableOf(int kind, int entries) {
    std::mt19937 random(31 + kind);
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

int plainlyNearest(const Bytes& table, const uint8_t* c) {
    int best = 0, least = INT_MAX;
    for (size_t i = 0; i < table.size(); i += 3) {
        const int r = table[i] - c[0], g = table[i + 1] - c[1], b = table[i + 2] - c[2];
        const int distance = r * r + g * g + b * b;
        if (distance < least) best = static_cast<int>(i / 3);
        least = std::min(least, distance);
    }
    return best;
}

}  // namespace

TEST(Answers, AreThoseOfThePlainSearch) {
    // The whole cube for short tables, less for longer ones and where every colour takes long.
#ifdef __SANITIZE_ADDRESS__
    const uint32_t every = 20;
#else
    const uint32_t every = sizeof(void*) == 4 ? 20 : 1;
#endif
    for (const auto& [kind, entries] :
         {std::pair{0, 256}, {1, 256}, {2, 256}, {3, 27}, {4, 200}, {5, 255}, {0, 12}, {4, 2}}) {
        const Bytes table = tableOf(kind, entries);
        tolva::Answers answers;
        ASSERT_TRUE(tolva::makeAnswers(answers, table.data(), static_cast<uint32_t>(entries)));
        const uint32_t asked = (entries < 20 ? 1u << 24 : 150000) / every;
        for (uint32_t i = 0; i < asked; ++i) {
            const uint32_t v = i * 2654435761u;  // here and there
            const uint8_t c[] = {uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)};
            ASSERT_EQ(tolva::answer(answers, c), plainlyNearest(table, c)) << kind << ": " << v;
        }
        // Rows, over themselves too, with flat areas.
        for (const int bytes : {3, 4}) {
            Bytes row(400 * bytes, 7);
            for (int i = 0; i < 120 * bytes; ++i) row[i] = row[2 * i % 200] + i / 9;
            Bytes expected, separate(400), over = row;
            for (int x = 0; x < 400; ++x) expected.push_back(plainlyNearest(table, &row[x * bytes]));
            tolva::answerRow(answers, row.data(), bytes, separate.data(), 400);
            tolva::answerRow(answers, over.data(), bytes, over.data(), 400);
            over.resize(400);
            EXPECT_EQ(separate, expected);
            EXPECT_EQ(over, expected);
        }
        tolva::freeAnswers(answers);
    }
}
