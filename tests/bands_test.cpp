// Pictures that are drawn band by band, collected between two primitives, or handed over whole; the export variant.
#include <malloc.h>
#include <unistd.h>

#include <filesystem>

#include "support.h"

namespace {

// A host that draws a picture band by band; the band `failing` is not there.
struct Drawing {
    const Picture* picture;
    intptr_t bandRows;
    int failing;
    int ended;
    TolvaHandle band;
    std::vector<int> rows;
    uint8_t* palette;  // its own, in place of the library's
};

intptr_t draw(intptr_t operation, intptr_t record, intptr_t a, intptr_t b) {
    intptr_t* const words = reinterpret_cast<intptr_t*>(record);
    Drawing& d = *reinterpret_cast<Drawing*>(operation == 0 ? record : words[0]);
    switch (operation) {
        case 0:
            *reinterpret_cast<TolvaOffscreenQuery*>(a) = {d.picture->width / 128.0, (d.picture->height - 1) / 128.0,
                                                          128, 0};
            return 0;
        case 1: {
            const intptr_t* const init = reinterpret_cast<intptr_t*>(a);  // five words
            EXPECT_EQ(NativeWords(init, init + 4), (NativeWords{d.picture->width, d.picture->height, 8, 256}));
            EXPECT_EQ(init[4], words[3]);
            if (d.palette != nullptr) {
                zunPtrGlobalFree(
                    reinterpret_cast<void*>(std::exchange(words[3], reinterpret_cast<intptr_t>(d.palette))));
            }
            std::copy_n(testPalette().data(), 768, reinterpret_cast<uint8_t*>(words[3]));
            return d.bandRows;
        }
        case 3: {
            const int height = d.picture->height;
            if (static_cast<int>(d.rows.size()) == d.failing) return 0;
            d.rows.push_back(static_cast<int>(b - a));
            const auto top = d.picture->pixels.begin() + d.picture->width * (height - b);
            GlobalFree(d.band);
            d.band = handleOf(
                bottomUp({d.picture->width, d.rows.back(), Bytes(top, top + d.picture->width * d.rows.back())}));
            return static_cast<intptr_t>(d.band);
        }
        default:
            ++d.ended;
            EXPECT_EQ(words[3], reinterpret_cast<intptr_t>(d.palette));  // what was the library's is freed by now
            return 0;
    }
}

// How a drawing ends: after so many bands, by the host's stop, by a band that is not there, or as a whole.
struct Ending {
    int bands;
    int stopAt = INT_MAX, missing = -1;
    int32_t result = 0;
};

void expectDrawn(SetupBlock& setup, const Picture& picture, int rows, const Ending& ending) {
    const bool interlaced = setup.interlaceChoice != 0;
    SCOPED_TRACE(testing::Message() << picture.width << " wide, bands of " << rows << ", interlaced: " << interlaced
                                    << ", ends with " << ending.result << " after " << ending.bands);
    Asked asked;
    asked.stopAt = ending.stopAt;
    setup.exporting.status = asked.address();
    uint8_t own[768];
    Drawing drawing = {&picture, rows, ending.missing, 0, 0, {}, rows == 8 ? own : nullptr};
    MemoryFile file;
    EXPECT_EQ(OutputPicture(file.stream, &drawing, draw), ending.result);
    const Bytes gif = file.close();
    GlobalFree(drawing.band);
    EXPECT_EQ(drawing.ended, 1);
    EXPECT_EQ(static_cast<int>(drawing.rows.size()), ending.bands);
    if (ending.result != 0) return;
    EXPECT_EQ(asked.progress.front(), 100 / ending.bands);
    EXPECT_EQ(asked.progress.back(), 100);
    const bool spooled = interlaced && ending.bands > 1;
    const std::vector<int> segments = spooled ? spoolSegments(picture) : bandSegments(picture, rows);
    EXPECT_TRUE(same(gif, plainGif(picture, testPalette(), {.interlaced = interlaced, .segments = segments})));
}

}  // namespace

TEST(Bands, OfAnyHeightGiveTheFileAndStopWhereTheHostSays) {
    Device device;
    SetupBlock& setup = *device.host.settings();
    for (const Picture& picture : {noise(7, 10, 256, 3), noise(50, 64, 256, 3), noise(263, 360, 256, 3)}) {
        for (const int rows : {1, 3, 8, 40, 1000}) {
            for (const bool interlaced : {false, true}) {
                setup.interlaceChoice = interlaced ? 715 : 0;
                const int bands = static_cast<int>(bandSegments(picture, rows).size());
                expectDrawn(setup, picture, rows, {.bands = bands});
                for (int at = 0; at < std::min(bands, 4); ++at) {
                    expectDrawn(setup, picture, rows, {.bands = at + 1, .stopAt = at, .result = 901});
                    expectDrawn(setup, picture, rows, {.bands = at, .missing = at, .result = 300});
                }
            }
        }
    }
    const Picture small = noise(4, 4, 4, 1);
    Drawing none = {&small, 0, 0, 0, 0, {}, nullptr};
    for (const intptr_t rows : {intptr_t{0}, static_cast<intptr_t>(0xFFFFFFFF), intptr_t{-1}}) {  // 32 bits count
        none.bandRows = rows;
        EXPECT_EQ(OutputPicture(0, &none, draw), 27);
    }
    setup.sizeMode = 601;
    setup.width = 1e6;
    EXPECT_EQ(OutputPicture(0, &none, draw), 27);
    setup.exporting.status = nullptr;
}

TEST(Bracket, CollectsRowsOfEveryDepthInBothDirections) {
    std::string sums;
    for (const int bits : {1, 4, 8, 24, 32}) {
        for (const bool upward : {false, true}) {
            for (const int piece : {1, 4, 10, 20}) {
                Device device;
                if (piece == 20) {  // twice as wide, half as high
                    device.host.settings()->resolutionMode = 308;
                    device.host.settings()->xResolution = 256;
                    device.host.settings()->yResolution = 64;
                }
                ASSERT_EQ(sendCollected(anyCells(37, 20, bits), piece, upward), 0);
                sums += digitsOf(sumOf(device.written()));
            }
        }
    }
    // What the steps, one by one, came to as well: rows in their places, scaled, matched to the table. Kept: upward the
    // first row lands two above the bottom, and a piece begins there again where all rows have been filled.
    expectRounds(sums, "1f1f1fc2ae141440cdcdcd52114848adefefefc195a5a5ea626262b43a0c0c6f5b5b5bcb493030b0");
}

TEST(Bracket, PushesAnErrorForWhatIsNoPicture) {
    Device device;
    openBody(7, 7);
    EXPECT_EQ(call(closeBlock()), 300);
    const Cells cells = anyCells(8, 8, 8);
    for (const int bits : {0, 9, 16, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(call(openBlock(8, 8, bits)), 0);
        call(cellBlock(cells.rows.data(), 8, 8));
        EXPECT_EQ(call(closeBlock()), 300) << bits;
    }
    EXPECT_EQ(call(openBlock(-1, -1, 8)), 0);  // more than there are window columns, and no block holds the rows
    EXPECT_EQ(call(cellBlock(cells.rows.data(), 8, 8)), 300);
    for (const int points : {-1, 1025, INT32_MAX, INT32_MIN}) {  // up to the closing primitive nothing is a picture
        EXPECT_EQ(call(openBlock(8, 8, 8)), 0);
        Bytes many = openBlock(8, 8, 8);
        put(many, 20, points);
        EXPECT_EQ(call(many), 300);
        EXPECT_EQ(lpEMData->pictureBitmap, 0u);
        EXPECT_EQ(lpEMData->pictureWidth + lpEMData->pictureHeight + lpEMData->pictureDepth + lpEMData->currentRow, 0u);
        EXPECT_EQ(call(cellBlock(cells.rows.data(), 8, 8)), 300);
        EXPECT_EQ(call(closeBlock()), 300);
    }
    EXPECT_EQ(zunSeek(lpEMData->outputStream, 0, 1), 0);
    for (const int bits : {2, 3, 7}) {
        Bytes open = openBlock(8, 8, bits);
        put(open, 48, bits - 3);  // the length in front of the data is not looked at
        EXPECT_EQ(call(open), 0);
        EXPECT_EQ(lpEMData->pictureWidth, 8u);
        EXPECT_EQ(call(closeBlock()), 0);
    }
    EXPECT_EQ(call(openBlock(8, 8, 8)), 0);  // left open: term frees it
}

TEST(HandedOver, WholePicturesTakeEachKindOfStream) {
    const Temporary path;
    const TolvaHandle h = defaultSetup();
    SetupBlock& setup = *static_cast<SetupBlock*>(GlobalLock(h));
    const StreamIOProc procedure = [](intptr_t instance, intptr_t operation, intptr_t a, intptr_t b) -> intptr_t {
        Bytes& file = *reinterpret_cast<Bytes*>(instance);
        if (operation == 3) file.insert(file.end(), reinterpret_cast<uint8_t*>(a), reinterpret_cast<uint8_t*>(a) + b);
        return operation == 1 ? instance : operation == 3 ? b : 0;
    };
    Asked unheard;
    std::string sums;
    for (const int bits : {1, 4, 8, 24, 32}) {
        const Cells cells = anyCells(40, 30, bits);
        Bytes theirs;
        Asked asked;
        asked.record[12] = reinterpret_cast<intptr_t>(&theirs);
        EXPECT_EQ(exportCells(cells, path, h, asked.address()), 0);
        const Bytes expected = readFile(path.path);
        sums += digitsOf(sumOf(expected));
        EXPECT_EQ(asked.progress, std::vector<intptr_t>{100});
        EXPECT_EQ(exportCells(cells, "", h, nullptr), 0);
        const uint8_t* const memory = static_cast<uint8_t*>(setup.exporting.memory);
        EXPECT_TRUE(same(Bytes(memory, memory + expected.size()), expected)) << bits;
        EXPECT_EQ(memory[expected.size()], 0xFF);
        setup.outputDevice = reinterpret_cast<uintptr_t>(procedure);
        EXPECT_EQ(exportCells(cells, path, h, asked.address()), 0);
        EXPECT_TRUE(same(theirs, expected)) << bits;
        setup.outputDevice = 0;
    }
    expectRounds(sums, "4a9f4cd3e2");  // by the same steps
    EXPECT_EQ(exportCells(anyCells(40, 30, 8), "/nowhere/at/all.gif", h, unheard.address()), 303);
    EXPECT_EQ(setup.exporting.status, nullptr);  // the host's record is gone by now
    EXPECT_EQ(exportCells(anyCells(40, 30, 8), path, 0, nullptr), 303);
    for (int i = 0; i < 2; ++i) {  // a copy owns nothing: neither its end nor its own export frees the block's memory
        const TolvaHandle copy = handleOf(contents(h));
        EXPECT_EQ(i == 1 ? exportCells(anyCells(4, 3, 8), "", copy, nullptr) : 0, 0);
        EXPECT_EQ(DestroySetup(copy), 0);
        EXPECT_EQ(std::memcmp(setup.exporting.memory, "GIF89a", 6), 0);
    }
    void* const theirs = std::exchange(setup.exporting.memory, nullptr);  // what a host takes out is the host's
    EXPECT_EQ(exportCells(anyCells(4, 3, 8), "", h, nullptr), 0);
    EXPECT_NE(setup.exporting.memory, theirs);
    DestroySetup(h);
    EXPECT_EQ(std::memcmp(theirs, "GIF89a", 6), 0);
    zunPtrGlobalFree(theirs);
}

TEST(ExportVariant, LivesFromInitToItsError) {
    const TolvaHandle h = defaultSetup();
    const Temporary path;
    char name[144] = {};
    uintptr_t block[15] = {};
    EXPECT_EQ(dd_entry32(0, 0, block), 22);
    EXPECT_EQ(dd_entry32(0, -1, nullptr), 300);
    std::strcpy(name, path);
    block[3] = reinterpret_cast<uintptr_t>(name);
    hSetup = 5;
    for (const bool toMemory : {false, true}) {
        block[13] = h;
        Asked heard;
        block[14] = reinterpret_cast<uintptr_t>(heard.address());
        EXPECT_EQ(dd_entry32(0, 0, block), 0);
        EXPECT_EQ(UpdateStatus(44), 0);
        EXPECT_EQ(heard.progress, std::vector<intptr_t>{44});
        const TolvaHandle copy = handleOf(contents(h));  // owns neither the stream nor its memory
        uintptr_t again[15] = {};
        again[3] = reinterpret_cast<uintptr_t>(std::strcpy(name, path));
        again[13] = copy;
        EXPECT_EQ(dd_entry32(0, 0, again), 0);
        EXPECT_EQ(dd_entry32(0, -1, nullptr), 300);
        EXPECT_EQ(DestroySetup(copy), 0);
        if (toMemory) unlink(path);
        hRaster = h;
        lpRaster = static_cast<SetupBlock*>(GlobalLock(h));
        EXPECT_EQ(block[13], 0u);  // what the metafile hook made of hSetup
        EXPECT_EQ(name[0], '\0');
        EXPECT_EQ(access(path, F_OK) == 0, !toMemory);
        EXPECT_EQ(dd_entry32(0, -1, nullptr), 300);
        EXPECT_EQ(UpdateStatus(55), 0);
        EXPECT_EQ(heard.progress.size(), 1u);  // the record may be gone
        unlink(path);
    }
    std::strcpy(name, "/nowhere/at/all.gif");
    block[13] = h;
    EXPECT_EQ(dd_entry32(0, 0, block), 303);
    EXPECT_NE(name[0], '\0');
    DestroySetup(h);
}

TEST(ExportVariant, AnswersInAHostsCommonBlock) {
    Asked asked;
    const TolvaCommonBlock values = {1, 7, asked.address(), 33};
    Bytes bytes(1 + sizeof values);  // unaligned, as all host blocks may be
    std::memcpy(bytes.data() + 1, &values, sizeof values);
    Bytes open = opcodeBlock(opOpen);
    EXPECT_EQ(dd_entry32(0, 2, open.data()), 0);
    lpCommon = reinterpret_cast<TolvaCommonBlock*>(bytes.data() + 1);
    EXPECT_EQ(dd_entry32(0, 2, open.data()), 0);
    EXPECT_EQ(dd_entry32(0, 2, nullptr), 0);
    EXPECT_EQ(bytes[5] | bytes[6], 0);  // the result
    EXPECT_EQ(escape(), 0);
    EXPECT_EQ(asked.progress, std::vector<intptr_t>{33});
    lpCommon = nullptr;
}

TEST(ExportVariant, TellsTheSizeOfAHostsMetafile) {
    Bytes bounds(sizeof(void*) + 20);  // the record's end, as far as it is used: left, top, right, bottom, resolution
    for (const int i : {0, 1, 2, 3, 4}) put(bounds, sizeof(void*) + 4 * i, std::vector{10, 200, 110, 50, 50}[i]);
    TolvaOffscreenQuery answer = {};
    DrawPlatformMetafile(0, reinterpret_cast<intptr_t>(bounds.data()), reinterpret_cast<intptr_t>(&answer), 0);
    EXPECT_EQ(answer.width * 10 + answer.height, 23.0);
    EXPECT_EQ(answer.value, 4);
}

// In one process.
TEST(Ways, LeaveNothingBehindInTenThousandPictures) {
    const auto held = [] {
        const auto about = mallinfo2();  // zeros under a sanitizer, which looks for leaks itself
        return std::pair(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}),
                         about.uordblks + about.hblkhd);
    };
    const Picture picture = noise(24, 20, 256, 3);
    auto first = held();
    const Temporary file;
    for (int n = 1; n <= 10000; ++n) {
        Host host;
        EXPECT_EQ(startHost(host, file), 0);
        host.settings()->interlaceChoice = n % 2 == 0 ? 715 : 0;
        const Cells cells = anyCells(21, 16, std::vector{1, 4, 8, 24, 32}[n % 5]);
        if (n % 4 == 0) expectDrawn(*host.settings(), picture, 8, {3});
        EXPECT_EQ(n % 4 == 1   ? sendPicture(picture)
                  : n % 4 == 2 ? sendCollected(cells, 4, true)
                  : n % 4 == 3 ? exportCells(cells, file, host.setup, nullptr)
                               : 0,
                  0);
        endHost(host);
        unlink(file);
        if (n == 1000) first = held();
    }
    const auto [descriptors, allocated] = held();
    std::cout << allocated / 1024 << " KiB allocated, " << first.second / 1024 << " after the first thousand\n";
    EXPECT_EQ(descriptors, first.first);
    EXPECT_LE(allocated, first.second + (1 << 14));  // what is free counts, too, while it is in a cache
}
