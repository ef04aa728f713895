// Cell arrays from a host's call to the file on disk.
#include "support.h"

namespace {

// Fits a picture into width x height pixels at 64 dots per inch.
std::function<void(SetupBlock&)> box(double width, double height) {
    return [=](SetupBlock& setup) {
        setup.sizeMode = 601;
        setup.resolutionMode = 308;
        setup.xResolution = setup.yResolution = 64;
        setup.width = width / 64;
        setup.height = height / 64;
    };
}

Picture scaled(const Picture& picture, int width, int height) {
    const TolvaHandle source = handleOf(bottomUp(picture));
    const Bytes rows = taken(rlStretchBitmap(source, 8, picture.width, picture.height, width, height));
    GlobalFree(source);
    Picture result = {width, height, {}};
    for (int y = height - 1; y >= 0; --y) {
        const auto row = rows.begin() + (width + 3) / 4 * 4 * y;
        result.pixels.insert(result.pixels.end(), row, row + width);
    }
    return result;
}

}  // namespace

TEST(Pictures, AreWrittenPixelForPixelAtAPowerOfTwo) {
    for (const auto& [width, height] : {std::pair{1, 2}, {3, 7}, {64, 64}, {401, 299}}) {
        Device device;
        const Picture picture = noise(width, height, 256, 5);
        EXPECT_EQ(sendPicture(picture), 0);
        EXPECT_TRUE(same(device.written(), plainGif(picture, testPalette(), {})));
    }
    Device device;  // kept: other resolutions may lose a row or column
    EXPECT_EQ(sendPicture(noise(29, 57, 256, 5), 100.0), 0);
    EXPECT_EQ(device.written()[6], 28);
}

TEST(Pictures, AreFittedIntoTheBoxOfTheSettings) {
    const Picture picture = noise(48, 36, 256, 6);
    for (const auto& [boxWidth, boxHeight, width, height] : {std::tuple{24, 100, 24, 18}, {480, 72, 96, 72}}) {
        Device device(box(boxWidth, boxHeight));
        EXPECT_EQ(sendPicture(picture), 0);
        EXPECT_TRUE(same(device.written(), plainGif(scaled(picture, width, height), testPalette(), {})));
    }
    // Equal heights, another width: rows are filled with their last pixel.
    Device device([](SetupBlock& setup) { setup.sizeMode = 0; });
    const Picture wide = noise(481, 480, 256, 7);
    EXPECT_EQ(sendPicture(wide, 0.0), 0);
    Picture expected = {482, 480, {}};
    for (int i = 0; i < 482 * 480; ++i) {
        expected.pixels.push_back(wide.pixels[i / 482 * 481 + std::min(i % 482, 480)]);
    }
    EXPECT_TRUE(same(device.written(), plainGif(expected, testPalette(), {})));
}

TEST(Pictures, OfOneBitAreWidenedFromRowsInTheBlockItself) {
    const Bytes rows = {0b10110000, 0, 0, 0, 0b01010000, 0, 0, 0};  // 4 x 2, bottom row first
    Device device;
    openBody(3, 1);
    Bytes block = cellBlock(rows.data(), 4, 2, 1);
    put(block, 96, int32_t{1});
    block.resize(102);
    block.insert(block.end(), rows.begin(), rows.end());
    EXPECT_EQ(call(block), 0);
    closeBody();
    // No resolution: fitted into the default box. The device's own table is the palette.
    const Picture picture = {4, 2, {0, 1, 0, 1, 1, 0, 1, 1}};
    EXPECT_TRUE(same(device.written(), plainGif(scaled(picture, 640, 320), testPalette(), {})));
}

TEST(Pictures, ThatCannotBeAreRefusedAndNothingIsWritten) {
    const Bytes rows(64);
    for (const auto& [x2, y2, width, height, data] : {std::tuple{7.0, 7.0, 8, 8, static_cast<const uint8_t*>(nullptr)},
                                                      {1e9, 7.0, INT32_MAX, INT32_MAX, rows.data()},
                                                      {7.0, 7.0, 8, 0, rows.data()},
                                                      {7.0, 7.0, 0, 8, rows.data()},
                                                      {1e300, -1e300, 8, 8, rows.data()}}) {
        Device device([](SetupBlock& setup) { setup.interlaceChoice = 715; });
        openBody(x2, y2);
        lpEMData->resolution = 1;
        EXPECT_EQ(call(cellBlock(data, width, height)), 300);
        closeBody();
        EXPECT_EQ(device.written().size(), 0u);
    }
    for (const int bits : {0, 9, 16, 23, 25, 31, 33, 65544, INT32_MAX, INT32_MIN}) {  // depths that there are not
        Device device;
        openBody(7, 7);
        Bytes block = cellBlock(rows.data(), 8, 1);
        put(block, 96, bits);
        EXPECT_EQ(call(block), 300) << bits;
        const TolvaHandle bitmap = handleOf(rows);
        for (const int depth : {bits, -8})
            RasterWriteCellData(bitmap, 8, 1, 64, static_cast<int16_t>(depth == 65544 ? 9 : depth), 0);
        GlobalFree(bitmap);
        EXPECT_EQ(zunSeek(lpEMData->outputStream, 0, 1), 0) << bits;
    }
    Device device;
    openBody(7, 7);
    lpEMData->window[3] = -1e18;
    DestroySetup(device.host.setup);
    device.host.setup = 0;
    EXPECT_EQ(call(cellBlock(rows.data(), 8, 8)), 300);
}

TEST(Pictures, OfUpwardRowsStartInTheLastButOneAndAllAreCutToTheBitmap) {
    const Picture picture = noise(8, 8, 256, 1);
    Bytes block = cellBlock(picture.pixels.data(), 8, 8);
    // Kept: the first upward row lands in the last but one. By a height left over, of rows 11 to 4 upward and 7 to 14
    // downward the bitmap has some.
    for (const auto& [secondY, height, row, rowAfter, from, to, count] :
         {std::tuple{-1.0, 0, 0, 0, 0, 8, 56}, {-1.0, 1000000, 12, 4, 32, 0, 32}, {7.0, 1000000, 7, 15, 0, 0, 8}}) {
        Device device;
        openBody(7, 7, 128);
        put(block, 48, secondY);
        lpEMData->pictureHeight = height;
        lpEMData->currentRow = row;
        EXPECT_EQ(call(block), 0);
        EXPECT_EQ(lpEMData->pictureHeight, uint32_t(height));
        EXPECT_EQ(lpEMData->currentRow, rowAfter);
        closeBody();
        Picture expected = {8, 8, Bytes(64)};
        std::copy_n(picture.pixels.begin() + from, count, expected.pixels.begin() + to);
        EXPECT_TRUE(same(device.written(), plainGif(expected, testPalette(), {})));
    }
}

TEST(Pictures, StopWhereTheHostStopsThemByEveryWay) {
    const Cells cells = anyCells(50, 50, 8);
    for (const int way : {0, 1, 2}) {
        bool stopped = true;
        for (int n = 0; stopped; ++n) {  // at the last question and again at all behind it, or at one alone
            for (const bool stays : {true, false}) {
                Asked asked;
                asked.within = [&] {
                    const int turn = static_cast<int>(asked.progress.size());
                    asked.answer = turn == n || (stays && turn > n) ? 1 : 0;
                };
                Device device(box(100, 100));
                device.host.status = asked.record;
                const int32_t result = way == 0   ? sendPicture(noise(50, 50, 256, 1))
                                       : way == 1 ? sendCollected(cells, 10, false)
                                                  : exportCells(cells, device.file, device.host.setup, asked.address());
                stopped = static_cast<int>(asked.progress.size()) > n;
                // A stop that is taken back before the close leaves no more than a picture not written.
                EXPECT_TRUE(result == (stopped && way != 2 ? 901 : 0) || (stopped && !stays)) << n;
                const Bytes gif = device.written();
                EXPECT_EQ(gif.size() > 800 && gif.back() == 0x3B, !stopped) << way << n;
                asked.progress.resize(3);
                EXPECT_TRUE(way > 0 || !stays || asked.progress == (std::vector<intptr_t>{20, n == 0 ? 0 : 50, 0}));
            }
        }
    }
    Asked asked;
    Device device;  // a height between two whole ones is shrunk to, and not stretched after
    device.host.status = asked.record;
    EXPECT_EQ(sendPicture(noise(29, 29, 256, 1), 100.0), 0);
    EXPECT_EQ(asked.progress, (std::vector<intptr_t>{20, 50, 0}));
}
