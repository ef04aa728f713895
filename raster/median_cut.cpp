// median_cut.cpp: a colour table of at most N entries for a true-colour bitmap. Colours are counted with 5 bits a
// channel; the box of all of them is split, always the most populous box at its median along its longest axis, until
// there are as many boxes as entries. Called where true colour becomes indexed; dithering asks for fewer and adds its
// own.

#include <algorithm>
#include <cstdio>

#include "host/handle.h"
#include "raster/rows.h"

using namespace tolva;

static_assert(sizeof(TolvaColourBox) == 20 && sizeof(TolvaColourEntry) == 4);

namespace {

constexpr uint16_t kMostCounted = UINT16_MAX;

uint32_t keyOf(const uint8_t* c) { return (c[0] & 0xF8u) << 7 | (c[1] & 0xF8u) << 2 | c[2] >> 3; }

int shiftOf(int32_t axis) { return axis == 0 ? 10 : axis == 1 ? 5 : 0; }
uint32_t component(uint32_t key, int shift) { return (key >> shift) & 31; }

// A 5-bit value as 8 bits: 0 stays 0, 31 becomes 255.
uint8_t widened(uint32_t value) { return static_cast<uint8_t>(value == 0 ? 0 : value * 8 | 7); }

void emit(uint8_t* triple, uint32_t red, uint32_t green, uint32_t blue) {
    triple[0] = widened(red);
    triple[1] = widened(green);
    triple[2] = widened(blue);
}

Handle takeArray(Handle old, uint32_t bytes) {
    const Handle h =
        old == 0 ? GlobalAlloc(kTolvaMoveableZeroed, bytes) : GlobalReAlloc(old, bytes, kTolvaMoveableZeroed);
    std::memset(GlobalLock(h), 0, bytes);
    return h;
}

constexpr int32_t kTogether = 8;
constexpr int64_t kFewPixels = 4096;  // not worth counters of their own

struct Counters {
    uint32_t even[kTolvaColourKeys];
    uint32_t odd[kTolvaColourKeys];
};

// Every other pixel is counted apart: neighbours often have the same key, and a counter that was just written has to be
// waited for.
void countRow(const uint8_t* p, int32_t width, Counters& c) {
    int32_t x = 0;
    for (; x + kTogether <= width; x += kTogether) {
        if (std::memcmp(p, p + kTolvaTripleBytes, (kTogether - 1) * kTolvaTripleBytes) == 0) {
            c.even[keyOf(p)] += kTogether;
            p += kTogether * kTolvaTripleBytes;
            continue;
        }
        for (int i = 0; i < kTogether; i += 2, p += 2 * kTolvaTripleBytes) {
            ++c.even[keyOf(p)];
            ++c.odd[keyOf(p + kTolvaTripleBytes)];
        }
    }
    for (; x < width; ++x, p += kTolvaTripleBytes) ++c.even[keyOf(p)];
}

void addCounted(uint16_t& counter, uint64_t pixels) {
    counter = static_cast<uint16_t>(std::min<uint64_t>(counter + pixels, kMostCounted));
}

void addCounters(uint16_t* counters, Counters& c) {
    for (uint32_t key = 0; key < kTolvaColourKeys; ++key) addCounted(counters[key], uint64_t{c.even[key]} + c.odd[key]);
}

void countMany(const uint8_t* pixels, int32_t width, int32_t height, uint16_t* counters) {
    const int64_t stride = paddedRowBytes(width, 24);
    const Handle h = rlGetMemory(1, sizeof(Counters));
    Counters& c = *static_cast<Counters*>(rlLockMemory(h));
    uint32_t room = UINT32_MAX;  // pixels that surely fit the counters
    for (int32_t y = 0; y < height; ++y) {
        if (room < static_cast<uint32_t>(width)) {
            addCounters(counters, c);
            std::memset(&c, 0, sizeof c);
            room = UINT32_MAX;
        }
        countRow(pixels + y * stride, width, c);
        room -= static_cast<uint32_t>(width);
    }
    addCounters(counters, c);
    rlFreeNewData(h);
}

void countPixels(const uint8_t* pixels, int32_t width, int32_t height, uint16_t* counters, uint16_t* distinct) {
    if (width > 0 && height > 0 && int64_t{width} * height >= kFewPixels) {
        countMany(pixels, width, height, counters);
    } else {
        const int64_t stride = paddedRowBytes(width, 24);
        // No row without pixels is gone through: there may be two thousand million of them.
        for (int32_t y = 0; width > 0 && y < height; ++y) {
            for (int32_t x = 0; x < width; ++x) {
                addCounted(counters[keyOf(pixels + y * stride + x * kTolvaTripleBytes)], 1);
            }
        }
    }
    *distinct =
        static_cast<uint16_t>(std::count_if(counters, counters + kTolvaColourKeys, [](uint16_t n) { return n != 0; }));
}

uint16_t emitAll(const uint16_t* counters, uint8_t* table) {
    uint16_t count = 0;
    for (uint32_t key = 0; key < kTolvaColourKeys; ++key) {
        if (counters[key] == 0) continue;
        emit(table + count * kTolvaTripleBytes, component(key, 10), component(key, 5), component(key, 0));
        ++count;
    }
    return count;
}

void listColours(const uint16_t* counters, TolvaColourEntry* list) {
    for (uint32_t key = 0; key < kTolvaColourKeys; ++key) {
        if (counters[key] != 0) *list++ = {static_cast<uint16_t>(key), counters[key]};
    }
}

void cutBoxes(TolvaColourContext& context, TolvaColourBox* boxes, uint16_t* status, TolvaColourEntry* list,
              uint16_t n) {
    std::fill(status, status + n, static_cast<uint16_t>(kTolvaSlotFree));
    context.boxCount = 1;
    status[0] = 0;
    getCRectData(&boxes[0], list, 0, static_cast<uint16_t>(context.distinct - 1));
    while (context.boxCount < n - 1) {
        context.currentBox = GetMaxHistSum(boxes, status, n);
        const TolvaColourBox& box = boxes[context.currentBox];
        context.currentFirst = box.first;
        context.currentLast = box.last;
        HeapSort(list + box.first, box.axis, box.last - box.first + 1);
        context.median = find_median(list, &box);
        split(boxes, context.currentBox, context.median, &context.boxCount, status, list, n);
    }
}

// Kept: free slots show the mean of the box that was there last, so the table holds one box less and one parent, as in
// the tables that hosts know.
void emitBoxes(const TolvaColourBox* boxes, uint16_t n, uint8_t* table) {
    for (uint16_t i = 0; i < n; ++i) {
        emit(table + i * kTolvaTripleBytes, boxes[i].meanRed, boxes[i].meanGreen, boxes[i].meanBlue);
    }
}

void buildTable(TolvaColourContext& context, const uint16_t* counters, uint16_t* count, uint8_t* table) {
    const uint16_t n = *count;
    if (n == 0) return;
    if (context.distinct < n) {
        *count = emitAll(counters, table);
        return;
    }
    // One entry more than there are colours: building a heap reaches past the end of the box it sorts.
    const Handle hList = rlGetMemory(sizeof(TolvaColourEntry), context.distinct + 1u);
    TolvaColourEntry* const list = static_cast<TolvaColourEntry*>(rlLockMemory(hList));
    TolvaColourBox* const boxes = static_cast<TolvaColourBox*>(rlLockMemory(context.boxes));
    listColours(counters, list);
    cutBoxes(context, boxes, static_cast<uint16_t*>(rlLockMemory(context.boxStatus)), list, n);
    emitBoxes(boxes, n, table);
    rlFreeNewData(hList);
}

// Whether the first n entries are a heap after all of n + 1 were made one. Where the last of those is an only child of
// its own, its parent is no root that was adjusted: what came up from there may be greater than anything above it.
bool isHeap(const TolvaColourEntry* list, int32_t axis, int32_t n) {
    const int shift = shiftOf(axis);
    if (n % 2 == 0) return true;
    for (int32_t i = (n - 1) / 2; i > 0; i = (i - 1) / 2) {
        if (component(list[i].key, shift) > component(list[(i - 1) / 2].key, shift)) return false;
    }
    return true;
}

// What AdjustHeap leaves, entry by entry from the root, on a heap: the way down leads along the greater children
// whatever comes to stand there. So it is taken to its end first, two steps at a time that do not wait for each other,
// and the entry climbs to its place from below, which is near.
void takeFromHeap(TolvaColourEntry* list, int32_t axis, int32_t n) {
    const int shift = shiftOf(axis);
    const auto at = [&](int32_t i) { return component(list[i].key, shift); };
    const auto greater = [&](int32_t i) { return i + (at(i) <= at(i + 1)); };
    for (int32_t k = n - 1; k >= 1; --k) {
        const TolvaColourEntry held = list[k];
        list[k] = list[0];
        int32_t hole = 0;
        while (4 * hole + 6 < k) {
            const int32_t left = 2 * hole + 1;
            const int32_t child = greater(left);
            const int32_t below = greater(2 * left + 1), beside = greater(2 * left + 3);
            list[hole] = list[child];
            hole = child == left ? below : beside;
            list[child] = list[hole];
        }
        for (int32_t child; (child = 2 * hole + 1) < k; hole = child) {
            if (child + 1 < k) child = greater(child);
            list[hole] = list[child];
        }
        const uint32_t value = component(held.key, shift);
        for (int32_t parent; hole > 0 && at(parent = (hole - 1) / 2) <= value; hole = parent) list[hole] = list[parent];
        list[hole] = held;
    }
}

void printTable(uint16_t wanted, uint16_t made, const uint8_t* table) {
    std::fprintf(stderr, "Color Reduction in Process...24bit -> %d colors\n", wanted);
    std::fprintf(stderr, "  -new color table size: %d\n", made);
    for (int i = 0; i < made; ++i, table += kTolvaTripleBytes) {
        std::fprintf(stderr, "   color %d: [%d, %d, %d]\n", i, table[0], table[1], table[2]);
    }
}

}  // namespace

Handle rlReduceColorTable(Handle bits, int32_t width, int32_t height, uint16_t* count) {
    const uint16_t wanted = *count;
    const Handle hTable = rlGetMemory(kTolvaTripleBytes, wanted);
    uint8_t* const table = static_cast<uint8_t*>(rlLockMemory(hTable));
    if (table == nullptr) return hTable;
    if (wanted != 0 && holdsBitmap(bits, width, height, 24)) {
        const Handle context = InitColorLib();
        direct_indexed(static_cast<const uint8_t*>(rlLockMemory(bits)), width, height, count,
                       kTolvaBuildTable | kTolvaKeepHistogram, table, context);
        TermColorLib(context);
    }
    if (_debug_color_res != 0) printTable(wanted, *count, table);
    return hTable;
}

Handle InitColorLib() { return GlobalAlloc(kTolvaMoveableZeroed, sizeof(TolvaColourContext)); }

int32_t TermColorLib(Handle h) {
    if (h == 0) return 0;
    const TolvaColourContext* const context = static_cast<TolvaColourContext*>(GlobalLock(h));
    if (context == nullptr) return -1;
    rlFreeNewData(context->histogram);
    rlFreeNewData(context->boxes);
    rlFreeNewData(context->boxStatus);
    GlobalFree(h);
    return 0;
}

int32_t direct_indexed(const uint8_t* pixels, int32_t width, int32_t height, uint16_t* count, uint16_t flags,
                       uint8_t* table, Handle hContext) {
    TolvaColourContext* const context = static_cast<TolvaColourContext*>(rlLockMemory(hContext));
    if (context == nullptr) return -1;
    if (context->histogram == 0) context->histogram = rlGetMemory(sizeof(uint16_t), kTolvaColourKeys);
    uint16_t* const counters = static_cast<uint16_t*>(rlLockMemory(context->histogram));
    if ((flags & kTolvaBuildTable) != 0) {
        context->boxes = takeArray(context->boxes, *count * uint32_t{sizeof(TolvaColourBox)});
        context->boxStatus = takeArray(context->boxStatus, *count * uint32_t{sizeof(uint16_t)});
    }
    countPixels(pixels, width, height, counters, &context->distinct);
    if ((flags & kTolvaBuildTable) == 0) {
        *count = 0;
        return 0;
    }
    buildTable(*context, counters, count, table);
    if ((flags & kTolvaKeepHistogram) == 0) {
        std::memset(counters, 0, kTolvaColourKeys * sizeof *counters);
        context->distinct = 0;
    }
    return 0;
}

void getCRectData(TolvaColourBox* box, const TolvaColourEntry* list, uint16_t first, uint16_t last) {
    uint32_t least[3] = {255, 255, 255};
    uint32_t most[3] = {};
    uint32_t sums[3] = {};
    uint32_t pixels = 0;
    for (int32_t i = first; i <= last; ++i) {
        pixels += list[i].pixels;
        for (int axis = 0; axis < 3; ++axis) {
            const uint32_t value = component(list[i].key, shiftOf(axis));
            sums[axis] += value * list[i].pixels;
            least[axis] = std::min(least[axis], value);
            most[axis] = std::max(most[axis], value);
        }
    }
    const auto extent = [&](int axis) { return static_cast<int32_t>(most[axis]) - static_cast<int32_t>(least[axis]); };
    int longest = extent(1) > extent(0) ? 1 : 0;
    if (extent(2) > extent(longest)) longest = 2;
    const auto byte = [](uint32_t value) { return static_cast<uint8_t>(value); };
    const auto mean = [&](int axis) { return byte(pixels == 0 ? 0 : sums[axis] / pixels); };
    *box = {first,          last,          pixels,         byte(least[0]), byte(most[0]),
            byte(least[1]), byte(most[1]), byte(least[2]), byte(most[2]),  static_cast<uint8_t>(longest),
            mean(0),        mean(1),       mean(2)};
}

uint16_t GetMaxHistSum(const TolvaColourBox* boxes, const uint16_t* status, uint16_t count) {
    uint32_t most = 0;
    uint16_t slot = 0;
    for (uint16_t i = 0; i < count; ++i) {
        if (static_cast<int16_t>(status[i]) < 0 || boxes[i].pixels <= most) continue;
        most = boxes[i].pixels;
        slot = i;
    }
    return slot;
}

void clrswap(TolvaColourEntry* a, TolvaColourEntry* b) { std::swap(*a, *b); }

// Exchanges along the way down come to the same as holding the root back and moving children up.
void AdjustHeap(TolvaColourEntry* list, int32_t axis, int32_t root, int32_t last) {
    const int shift = shiftOf(axis);
    const TolvaColourEntry held = list[root];
    const uint32_t value = component(held.key, shift);
    for (int32_t child = 2 * root + 1; child <= last; child = 2 * root + 1) {
        if (child != last && component(list[child].key, shift) <= component(list[child + 1].key, shift)) ++child;
        if (value >= component(list[child].key, shift)) break;
        list[root] = list[child];
        root = child;
    }
    list[root] = held;
}

// Kept: while the heap is built its bound is n, so the entry behind the range takes part and may trade places with one
// inside. The tables hosts know depend on it, and on the sort not being stable.
void HeapSort(TolvaColourEntry* list, int32_t axis, int32_t n) {
    for (int32_t root = (n - 2) / 2; root >= 0 && n > 0; --root) AdjustHeap(list, axis, root, n);
    if (isHeap(list, axis, n)) {
        takeFromHeap(list, axis, n);
        return;
    }
    for (int32_t k = n - 1; k >= 1; --k) {
        clrswap(&list[0], &list[k]);
        AdjustHeap(list, axis, 0, k - 1);
    }
}

uint16_t find_median(const TolvaColourEntry* list, const TolvaColourBox* box) {
    const int32_t first = box->first;
    const int32_t last = box->last;
    if (last - first <= 1) return box->first;
    const int shift = shiftOf(box->axis);
    const auto alike = [&](int32_t i) { return component(list[i].key, shift) == component(list[i + 1].key, shift); };
    uint32_t total = 0;
    for (int32_t i = first; i <= last; ++i) total += list[i].pixels;
    const uint32_t half = total / 2;

    int32_t middle = first;
    uint32_t sum = list[first].pixels;
    while (sum < half) sum += list[++middle].pixels;

    int32_t up = middle;
    uint32_t sumUp = sum;
    while (up < last && alike(up)) sumUp += list[++up].pixels;
    // Kept: downward too an entry is compared with the one above it, and what is taken off is the next one's count; the
    // tables that hosts know depend on it.
    int32_t down = middle;
    uint32_t sumDown = sum;
    while (down > first && alike(down)) sumDown -= list[--down].pixels;
    const bool takesUp = static_cast<int32_t>(half - sumDown) > static_cast<int32_t>(sumUp - half);
    return static_cast<uint16_t>(takesUp ? up : down);
}

int32_t split(TolvaColourBox* boxes, uint16_t slot, uint16_t median, uint16_t* boxCount, uint16_t* status,
              const TolvaColourEntry* list, uint16_t count) {
    const uint16_t first = boxes[slot].first;
    const uint16_t last = boxes[slot].last;
    const auto freeFrom = [&](int32_t i) {
        while (i < count - 1 && status[i] != kTolvaSlotFree) ++i;
        return static_cast<uint16_t>(std::min<int32_t>(i, count - 1));
    };
    const uint16_t lower = freeFrom(0);
    const bool lowerFinal = first == median;
    status[lower] = lowerFinal ? static_cast<uint16_t>(kTolvaBoxFinal) : lower;
    getCRectData(&boxes[lower], list, first,
                 static_cast<uint16_t>(!lowerFinal && last == median ? median - 1 : median));

    const uint16_t upper = freeFrom(lower + 1);
    const bool upperFinal = last == median || last == median + 1;
    status[upper] = upperFinal ? static_cast<uint16_t>(kTolvaBoxFinal) : upper;
    getCRectData(&boxes[upper], list, static_cast<uint16_t>(last == median ? median : median + 1), last);

    status[slot] = kTolvaSlotFree;
    ++*boxCount;
    return 1;
}
