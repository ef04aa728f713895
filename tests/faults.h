// faults.h: every call of a table of system calls fails when it is its turn.
#ifndef TOLVA_TESTS_FAULTS_H
#define TOLVA_TESTS_FAULTS_H

#include <sys/mman.h>

#include <array>
#include <cerrno>
#include <functional>

#include <gtest/gtest.h>

// Of the calls of a kind that of this turn fails, and with `stays` all behind it.
struct Fault {
    int kind = -1, turn = 0;
    bool stays = false;
};
inline Fault fault;
inline int kinds = 0;
// How often each was called, also by processes that are forked; behind that is room for what else they tell.
using CallCounts = std::array<int, 64>;
inline CallCounts& calls =
    *static_cast<CallCounts*>(mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

// What a call that fails does: nothing, all of it (closing ends a descriptor whatever it answers), or, unless the error
// is EIO, half of what it should transfer.
enum class Does { kNothing, kAll, kHalf };

template <auto place, Does does, class Call = decltype(place)>
struct Faulty;
template <auto place, Does does, class Table, class R, class... Words>
struct Faulty<place, does, R (*Table::*)(Words...)> {
    static inline R (*real)(Words...);
    static inline int kind;
    static size_t half(size_t count) { return (count + 1) / 2; }
    template <class Word>
    static Word half(Word word) {
        return word;
    }
    static R run(Words... words) {
        const int turn = calls[kind]++;
        const bool fails = kind == fault.kind && (turn == fault.turn || (turn > fault.turn && fault.stays));
        const int error = std::array{EIO, ENOSPC, EMFILE, EINTR}[turn % (fault.stays ? 3 : 4)];  // no endless signals
        if (!fails) return real(words...);
        if (does == Does::kHalf && error != EIO) return errno = error, real(half(words)...);
        if (does == Does::kAll) real(words...);
        errno = error;
        if constexpr (std::is_pointer_v<R>) return nullptr;
        if constexpr (!std::is_pointer_v<R>) return static_cast<R>(-1);
    }
};

template <class Table, Does does, auto... places>
void plant(Table& table) {
    ((Faulty<places, does>::kind = kinds++, Faulty<places, does>::real = table.*places,
      table.*places = Faulty<places, does>::run),
     ...);
}

// Once as it is, then with every call that was counted failing, alone and with all behind it.
inline void failEach(const std::function<void()>& run) {
    calls = {};
    run();
    const CallCounts whole = calls;
    for (fault.kind = 0; fault.kind < kinds; ++fault.kind) {
        // Of a thousand writes of a few bytes not all are tried.
        for (int n = 0; n < 2 * whole[fault.kind]; n += 1 + whole[fault.kind] / 200 * 2) {
            calls = {};
            fault = {fault.kind, n / 2, n % 2 == 1};
            SCOPED_TRACE(testing::Message() << fault.turn << " of kind " << fault.kind << ", stays: " << fault.stays);
            run();
        }
    }
    fault = {};
}

#endif
