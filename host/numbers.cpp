// numbers.cpp: the numeric helpers that hosts may call: absolute value, tolerant equality, rounding.

#include "host/numbers.h"

double dabs(double x) { return x > 0.0 ? x : -x; }

int32_t feqi(int32_t a, int32_t b, int32_t tolerance) {
    // 32-bit arithmetic that wraps, as hosts know it; only the final comparison is unsigned.
    uint32_t distance = static_cast<uint32_t>(a) - static_cast<uint32_t>(b);
    if (static_cast<int32_t>(distance) < 0) distance = 0 - distance;
    return static_cast<uint32_t>(tolerance) >= distance ? 1 : 0;
}

int32_t roundd(double x) { return tolva::truncated<int32_t>(x > 0.0 ? x + 0.5 : x - 0.5); }
