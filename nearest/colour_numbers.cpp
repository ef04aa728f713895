// colour_numbers.cpp: the numbers of many pixels. Components are spread by multiplications where the processor has
// SSSE3, eight pixels at a time, and otherwise looked up: that takes an eighth off counting.

#include "nearest/colour_numbers.h"

#include <cstddef>

// What the loader has found out is asked, because the processor's own instruction for that ends up in the hypervisor on
// virtual machines: there it takes as long as ten thousand pixels.
#if defined(__x86_64__) && !defined(__clang__) && __has_include(<sys/platform/x86.h>)  // clang cannot read it as C++
#include <sys/platform/x86.h>
#include <tmmintrin.h>
#define TOLVA_MAY_MULTIPLY
#endif

namespace tolva {
namespace {

void lookUp(const uint8_t* pixels, size_t step, uint32_t count, uint32_t* numbers) {
    for (uint32_t i = 0; i < count; ++i) numbers[i] = numberOf(pixels + i * step);
}

#if defined(TOLVA_MAY_MULTIPLY)

constexpr uint32_t kTogether = 8;

// Of four pixels: red, green, blue, and a byte that does not count. Pairs of bytes are multiplied by 64 and 2, or 4 and
// 2, or 1 and 0, and their sums once more, so that all bits get where they belong.
__attribute__((target("ssse3"))) inline void spread(__m128i pixels, uint32_t* numbers) {
    const __m128i lowSpread = _mm_setr_epi8(0, 1, 8, 9, 64, 65, 72, 73, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m128i high = _mm_and_si128(pixels, _mm_set1_epi8(static_cast<char>(0xF8)));
    const __m128i low = _mm_shuffle_epi8(lowSpread, _mm_and_si128(pixels, _mm_set1_epi8(7)));
    const __m128i highPairs = _mm_maddubs_epi16(high, _mm_set1_epi32(64 | 2 << 8 | 1 << 16));
    const __m128i lowPairs = _mm_maddubs_epi16(low, _mm_set1_epi32(4 | 2 << 8 | 1 << 16));
    const __m128i all = _mm_or_si128(_mm_madd_epi16(highPairs, _mm_set1_epi32(1024 | 64 << 16)),
                                     _mm_madd_epi16(lowPairs, _mm_set1_epi16(1)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(numbers), all);
}

__attribute__((target("ssse3"))) void multiply(const uint8_t* pixels, size_t step, uint32_t count, uint32_t* numbers) {
    // Of three bytes each, the last four pixels are loaded with the four bytes before them: there may be none behind.
    const __m128i first = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    const __m128i last = _mm_setr_epi8(4, 5, 6, -1, 7, 8, 9, -1, 10, 11, 12, -1, 13, 14, 15, -1);
    const auto load = [](const uint8_t* at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at)); };
    for (uint32_t i = 0; i < count; i += kTogether, pixels += kTogether * step) {
        if (step == 3) {
            spread(_mm_shuffle_epi8(load(pixels), first), numbers + i);
            spread(_mm_shuffle_epi8(load(pixels + 8), last), numbers + i + 4);
        } else {
            spread(load(pixels), numbers + i);
            spread(load(pixels + 16), numbers + i + 4);
        }
    }
}

#endif

}  // namespace

void numbersOf(const uint8_t* pixels, int bytesPerPixel, uint32_t count, uint32_t* numbers) {
    const size_t step = static_cast<uint32_t>(bytesPerPixel);
    uint32_t done = 0;
#if defined(TOLVA_MAY_MULTIPLY)
    if (CPU_FEATURE_ACTIVE(SSSE3)) {
        done = count - count % kTogether;
        multiply(pixels, step, done, numbers);
    }
#endif
    lookUp(pixels + done * step, step, count - done, numbers + done);
}

}  // namespace tolva
