// steps.cpp: the library's steps by themselves.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

#include <tolva/output.h>
#include <tolva/raster.h>
#include <tolva/stream.h>

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

// Takes everything and keeps nothing: the encoder's own cost.
intptr_t sink(intptr_t, intptr_t operation, intptr_t, intptr_t count) {
    return operation == kTolvaProcOpen ? 1 : operation == kTolvaProcWrite ? count : 0;
}

std::vector<uint8_t> pixels(int kind) {
    std::mt19937 random(7);
    std::vector<uint8_t> bytes(kWidth * kHeight);
    for (int i = 0; i < kWidth * kHeight; ++i) {
        const int smooth = i % kWidth / 12 + i / kWidth / 16;
        bytes[static_cast<size_t>(i)] = static_cast<uint8_t>(kind == 0   ? random()
                                                             : kind == 1 ? smooth + static_cast<int>(random() % 4)
                                                                         : smooth / 40);
    }
    return bytes;
}

void encode(benchmark::State& state) {
    const std::vector<uint8_t> bytes = pixels(static_cast<int>(state.range(0)));
    StreamDescriptor descriptor = {};
    descriptor.blockRef = 1;
    descriptor.ioProc = reinterpret_cast<intptr_t>(sink);
    const TolvaHandle stream = zunOpen("sink", &descriptor, kTolvaCreateAndWrite);
    uint8_t work[264] = {};
    for (auto _ : state) {
        uint32_t carry = 0;
        CompressAndWrite(stream, bytes.data(), work, kWidth * kHeight, 1, 1, &carry);
    }
    zunClose(stream);
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(encode)->ArgName("noise0_smooth1_flat2")->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

void scale(benchmark::State& state) {
    std::vector<uint8_t> bytes = pixels(1);
    const TolvaHandle source = GlobalPointerToHandle(bytes.data(), static_cast<uint32_t>(bytes.size()));
    const auto percent = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        GlobalFree(rlStretchBitmap(source, 8, kWidth, kHeight, kWidth * percent / 100, kHeight * percent / 100));
    }
    GlobalFree(source);
    state.SetItemsProcessed(state.iterations() * kWidth * percent / 100 * kHeight * percent / 100);
}
BENCHMARK(scale)->ArgName("percent")->Arg(50)->Arg(100)->Arg(200)->Unit(benchmark::kMillisecond);

}  // namespace
