// raster.cpp: bitmaps of any depth and size, in blocks that may be too short for them, through every conversion.
#include <climits>

#include <tolva/raster.h>
#include "fuzz/input.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input in(data, size);
    const auto extent = [&](int32_t most) {
        return in.byte() > 250 ? in.pick({0, 70000, -1, INT_MAX, INT_MIN, 1 << 16}) : 1 + int32_t(in.upTo(most - 1));
    };
    const auto depth = [&] { return in.byte() > 250 ? int16_t(in.byte() - 99) : in.pick<int16_t>({24, 8, 1, 4, 32}); };
    const auto canAsk = [](int32_t w, int32_t h, int16_t bits) {  // few bytes, or more than any block can have
        return rlCalcNewSize(w, h, bits) < 1 << 19 || rlCalcNewSize(w, h, bits) == UINT32_MAX;
    };
    const uint8_t operation = in.byte() % 11, many = in.byte();
    const int32_t width = extent(90), height = extent(60), newWidth = extent(90), newHeight = extent(60);
    const int16_t from = depth(), to = depth();
    const uint32_t whole = rlCalcNewSize(width, height, from), most = whole < 1 << 19 ? whole : 999;
    if (operation < 5 && !(canAsk(width, height, to) && canAsk(width, height, 24) && to < 11)) return 0;
    if (operation == 5 && (newWidth < 0 || newHeight < 0 || !canAsk(newWidth, newHeight, from))) return 0;
    Bytes tables[] = {in.bytes(in.pick({768, 6, 48, 30, 0})), in.bytes(in.pick({768, 6, 48, 30, 0}))};
    Bytes bytes = drawn(in, many > 240 ? most * (many - 240) / 16 : most);
    const Bytes before = bytes;
    const auto handleOf = [](Bytes& b) { return b.empty() ? 0 : GlobalPointerToHandle(b.data(), b.size()); };
    const TolvaHandle b = handleOf(bytes), own = handleOf(tables[0]), wanted = handleOf(tables[1]);
    uint16_t count = many % 8 == 7 ? many * 8 : tables[1].size() / 3;
    TolvaHandle made = 0, table = operation == 1 ? own : operation == 2 ? wanted : 0;
    switch (operation) {
        case 0: made = rlConvertBitmapDepth(b, width, height, from, to, own, wanted, count); break;
        case 1: made = rlChangeColorResolution(b, width, height, from, to, &table); break;
        case 2: made = rlDitherBitmap(b, width, height, from, to, own, &table); break;
        case 3: made = rlDitherGivenCT(b, width, height, from, to, own, wanted, count); break;
        case 4: rlDitherGetCT(b, width, height, from, to, own, &table, &count); break;
        case 5:
            made = (many % 2 ? rlShrinkBitmap : rlStretchBitmap)(b, from, width, height, newWidth, newHeight);
            break;
        case 6: made = rlReduceColorTable(b, width, height, &count); break;
        case 7: rlFlipBitmap(b, from, width, height, many & 1, many & 2); break;
        case 8: (many % 2 ? rlRGB4toCMYK : rlCMYKtoRGB)(b, width, height); break;
        case 9: rlALPHAtoRGB(b, width, height); break;
        default: rev_rgb(bytes.size() / 3, bytes.data(), many % 6);
    }
    check(operation > 6 || bytes == before);
    check(made == 0 || operation > 3 || GlobalSize(made) == rlCalcNewSize(width, height, to));
    if (table != own && table != wanted) GlobalFree(table);
    for (const TolvaHandle h : {b, own, wanted, made}) GlobalFree(h);
    return 0;
}
