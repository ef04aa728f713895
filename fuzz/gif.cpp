// gif.cpp: pictures of any depth and size, handed over whole with any settings: a decoder that is not ours sees what
// went in.
#include <tolva/output.h>
#include <tolva/settings.h>
#include "fuzz/input.h"
#include "tests/gif_oracle.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input in(data, size);
    const TolvaHandle hSetup = CreateSetup(0, "/nowhere/at/all.ini", nullptr, 0);
    TolvaSetup& setup = *lpRaster;
    SetDisplayInfo(200, 100, 96, 96);  // which an export changes
    setup.interlaceChoice = in.pick({0, 715});
    setup.transparencyChoice = in.pick({0, 719});
    setup.backgroundChoice = in.pick({0, 728});
    for (uint8_t& component : setup.transparentColour) component = in.byte();
    setup.sizeMode = in.pick({602, 601, 603, 600});
    setup.resolutionMode = in.pick({309, 308, 310, 307});
    setup.xResolution = setup.yResolution = 32 + in.byte() % 16;
    setup.width = in.byte() / 64.0, setup.height = in.byte() / 64.0;
    const int16_t depth = in.pick<int16_t>({8, 24, 1, 4, 32, 2, 16, 0}), dpi = in.pick<int16_t>({128, 32, 100, -1, 0});
    const uint16_t width = 1 + in.upTo(in.byte() > 250 ? 65534 : 60),
                   height = 1 + in.upTo((depth > 8 ? 2000 : 20000) / (width + 100));
    const int stride = ((width * depth + 7) / 8 + 3) / 4 * 4;
    Bytes table = in.bytes(in.upTo(256) * 3), rows = drawn(in, size_t(stride) * height);
    const TolvaHandle colours = table.empty() ? 0 : GlobalPointerToHandle(table.data(), table.size());
    const TolvaHandle bitmap = GlobalPointerToHandle(rows.data(), rows.size());
    TolvaPictureDescriptor cells = {depth, width, height, dpi, 0, 0, colours, bitmap}, taken = {};
    const uintptr_t arguments[7] = {0, 0, hSetup};
    check(ExportCellData(nullptr, &taken, &cells, arguments) == 0);
    const auto* const gif = static_cast<const uint8_t*>(setup.exporting.memory);
    if (gif[0] == 'G') {  // there is a size for it
        const SeenGif seen = seenIn(fileOf(gif, GlobalSize(GlobalHandle(gif))));
        check(seen.width > 0 && seen.interlaced == (setup.interlaceChoice == 715) &&
              (seen.transparent != -1) == (setup.transparencyChoice == 719));
        table.resize(768);
        if (seen.transparent != -1) std::memcpy(&table[3 * seen.transparent], setup.transparentColour, 3);
        check(colours == 0 || depth != 8 || std::memcmp(&seen.palette[0], table.data(), table.size()) == 0);
        for (int y = 0; depth == 8 && seen.width == width && seen.height == height && y < height; ++y)
            check(std::memcmp(&seen.pixels[width * y], &rows[stride * (height - 1 - y)], width) == 0);
    }
    for (const TolvaHandle h : {colours, bitmap}) GlobalFree(h);
    DestroySetup(hSetup);
    return 0;
}
