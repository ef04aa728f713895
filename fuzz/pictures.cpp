// pictures.cpp: files of every kind through the door of the picture readers, and what they give through scaling.
#include <zlib.h>

#include "fuzz/input.h"
#include "imageio/read_picture.h"
#include "imageio/scale.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input in(data, size);
    const uint8_t choices = in.byte(), stop = in.byte(), width = in.byte(), height = in.byte();
    Bytes file = in.rest();
    // Every chunk of a PNG gets the sum that belongs to it: no fuzzer guesses those.
    for (size_t at = 8, length = 0; (choices & 8) == 0 && at + 12 <= file.size() && file[0] == 0x89;
         at += length + 12) {
        length = uint32_t{file[at]} << 24 | file[at + 1] << 16 | file[at + 2] << 8 | file[at + 3];
        if (length > file.size() - at - 12) break;
        const uint32_t sum = __builtin_bswap32(crc32(0, &file[at + 4], length + 4));
        std::memcpy(&file[at + 8 + length], &sum, sizeof sum);
    }
    static uint32_t questions, stopAt;
    questions = 0;
    stopAt = stop - 1u;
    const auto stopped = [] { return ++questions > stopAt; };
    const auto willScale = [](uint32_t, uint32_t, void* asker) { return asker != nullptr; };
    const auto warn = [](const char*, const char* text) { check(*text != 0); };
    const bool raw = (choices & 1) != 0, scales = !raw && width > 0 && height > 0;
    const imageio::Colour background = {stop, stop, choices};
    const imageio::ReadRequest request = {
        background, (choices & 2) == 0, raw,     !raw, willScale, scales ? &in : nullptr,
        1 << 17,    "target",           stopped, warn, nullptr};
    imageio::Picture p;
    const auto checkPixels = [&] {  // and touch all that should be there
        check(p.width > 0 && p.height > 0 && p.width * p.height <= 1 << 17);
        check(p.bitsPerPixel != 8 || (p.colours > 0 && p.colours <= 256 && p.transparentIndex < int(p.colours)));
        for (const auto& [plane, bits] : {std::pair{p.pixels, p.bitsPerPixel}, {p.mask, 1}, {p.alpha, 8}})
            if (plane != nullptr) check(!Bytes(plane, plane + imageio::rowBytes(p.width, bits) * p.height).empty());
    };
    std::string text;
    const imageio::Reason reason = readPicture(fileOf(file.data(), file.size()).c_str(), request, p, text);
    check((reason == imageio::kRefused) == !text.empty() && (reason != imageio::kStopped || questions > stopAt));
    if (reason != imageio::kDone) return 0;
    checkPixels();
    const char* why = nullptr;
    if (scales && scalePicture(p, width, height, stopped, why) != imageio::kDone) return 0;
    check(p.alpha == nullptr && p.bitsPerPixel <= 24 && (!scales || (p.width == width && p.height == height)));
    checkPixels();
    return 0;
}
