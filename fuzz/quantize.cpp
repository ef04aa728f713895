// quantize.cpp: pictures through the quantizer twice, in other pieces and layouts, which must not matter.
#include <tolva/quantize.h>
#include "fuzz/input.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input in(data, size);
    const TolvaQuantizeOrder order = {2 + in.upTo(254), in.pick({3, 4, 5}), in.pick({0, 1, 2}), {9, 200, 100}};
    const uint8_t choices = in.byte(), step = order.format == kTolvaRgb ? 3 : 4;
    const uint32_t width = 1 + in.upTo(choices > 252 ? 65534 : 99);
    const uint32_t height = 1 + in.upTo((choices > 252 ? 16000 : choices > 248 ? 6000 : 300) / width);
    const intptr_t row = width * step, bytes = row * height, maskRow = (width + 7) / 8;
    const Bytes mask = in.bytes((choices & 1) != 0 ? maskRow * height : 0), cuts = in.bytes(in.byte() % 16);
    const Bytes pixels = drawn(in, bytes);
    const uint8_t change = (choices & 6) == 2 ? choices : 0;  // of pixels before they are mapped
    // Rows as a host may have them: bottom row first or not, the indices over the pixels or elsewhere.
    const auto quantized = [&](Input pieces, TolvaPalette& palette) {
        const uint8_t layout = pieces.byte();
        const intptr_t stride = (layout & 1) != 0 ? -row : row;
        Bytes memory(bytes), apart(bytes), result;
        uint8_t* const top = &memory[stride < 0 ? bytes - row : 0];
        uint8_t* const indices = (layout & 2) != 0 ? top : &apart[top - memory.data()];
        TolvaQuantizer* q = nullptr;
        check(tolvaQuantizeBegin(&order, &q) == 0);
        for (const bool maps : {false, true}) {
            for (intptr_t i = 0; i < bytes; ++i) top[i / row * stride + i % row] = pixels[i] + (maps ? change : 0);
            for (uint32_t y = 0, n = 0; y < height; y += n) {
                n = pieces.left() > 0 ? pieces.upTo(height - y) : height - y;
                const TolvaPixelRows rows = {top + y * stride, stride, mask.empty() ? nullptr : &mask[y * maskRow],
                                             maskRow,          width,  n};
                check((maps ? tolvaQuantizeMap(q, &rows, indices + y * stride, stride)
                            : tolvaQuantizeCount(q, &rows)) == 0);
            }
            check(tolvaQuantizePalette(q, &palette) == 0);
        }
        tolvaQuantizeEnd(q);
        for (uint32_t i = 0; i < width * height; ++i) result.push_back(indices[i / width * stride + i % width]);
        return result;
    };
    TolvaPalette p, other;
    const Bytes indices = quantized(Input(data, 0), p);
    check(indices == quantized(Input(cuts.data(), cuts.size()), other) && std::memcmp(&p, &other, sizeof p) == 0);
    check(p.count <= order.colours && p.exact <= (p.count == p.distinct));
    const bool same = p.exact != 0 && change == 0 && mask.empty() && order.format != kTolvaRgba;
    for (size_t i = 0; i < indices.size(); ++i) {
        check(indices[i] < std::max(p.count, 1u));
        check(!same || std::memcmp(&pixels[i * step], &p.colours[3 * indices[i]], 3) == 0);
    }
    return 0;
}
