// Cell arrays from a host's call to the file on disk.
#include <unistd.h>

#include <cstring>

#include "support.h"

namespace {

struct Device {
    std::string path = temporaryPath("picture.gif");
    Host host;
    explicit Device(const std::function<void(SetupBlock&)>& set = {}) {
        host.setup = CreateSetup(0, "/nowhere/at/all.ini", nullptr, 0);
        if (set) set(*host.settings());
        EXPECT_EQ(startHost(host, path.c_str()), 0);
    }
    ~Device() {
        endHost(host);
        unlink(path.c_str());
    }
};

void openBody(double x2, double y2) {
    callOpcode(kOpOpenDevice);
    callOpcode(kOpBeginPicture);
    call(windowBlock(x2, y2));
    callOpcode(kOpBeginBody);
    call(colourTableBlock(testPalette()));
}

void closeBody() {
    callOpcode(kOpEndPicture);
    callOpcode(kOpCloseDevice);
}

// Fits a picture into width x height pixels at 64 dots per inch.
std::function<void(SetupBlock&)> box(double width, double height) {
    return [=](SetupBlock& setup) {
        setup.sizeMode = kSizeSaved;
        setup.resolutionMode = kResolutionSaved;
        setup.xResolution = setup.yResolution = 64;
        setup.width = width / 64;
        setup.height = height / 64;
    };
}

Picture scaled(const Picture& picture, int width, int height) {
    const Bytes rows = bottomUp(picture);
    const Handle source = GlobalPointerToHandle(const_cast<uint8_t*>(rows.data()), static_cast<uint32_t>(rows.size()));
    const Handle h =
        rlStretchBitmap(source, 8, static_cast<uint32_t>(picture.width), static_cast<uint32_t>(picture.height),
                        static_cast<uint32_t>(width), static_cast<uint32_t>(height));
    Picture result{width, height, {}};
    const uint8_t* const data = static_cast<const uint8_t*>(GlobalLock(h));
    for (int y = height - 1; y >= 0; --y) {
        const uint8_t* const row = data + rlBytesPerLine(width, 8) * y;
        result.pixels.insert(result.pixels.end(), row, row + width);
    }
    GlobalFree(source);
    GlobalFree(h);
    return result;
}

}  // namespace

TEST(Pictures, AreWrittenPixelForPixelAtAPowerOfTwo) {
    for (const auto& [width, height] : {std::pair{1, 2}, {3, 7}, {64, 64}, {401, 299}}) {
        Device device;
        const Picture picture = noise(width, height, 256, 5);
        EXPECT_EQ(sendPicture(picture, testPalette()), 0);
        const Bytes file = readFile(device.path);
        EXPECT_EQ(file, plainGif(picture, testPalette(), {}));
        EXPECT_EQ(decoded(file, picture).pixels, picture.pixels);
    }
    Device device;  // kept: other resolutions may lose a row or column
    EXPECT_EQ(sendPicture(noise(29, 57, 256, 5), testPalette(), 100.0), 0);
    EXPECT_EQ(readFile(device.path)[6], 28);
}

TEST(Pictures, AreFittedIntoTheBoxOfTheSettings) {
    const Picture picture = noise(48, 36, 256, 6);
    for (const auto& [boxWidth, boxHeight, width, height] :
         {std::tuple{24, 100, 24, 18}, {480, 72, 96, 72}, {48, 36, 48, 36}}) {
        Device device(box(boxWidth, boxHeight));
        EXPECT_EQ(sendPicture(picture, testPalette()), 0);
        EXPECT_EQ(readFile(device.path), plainGif(scaled(picture, width, height), testPalette(), {}));
    }
    // Equal heights, another width: rows are cut, or filled with their last pixel.
    for (const int extra : {2, -1}) {
        Device device([](SetupBlock& setup) { setup.sizeMode = 0; });
        const Picture wide = noise(481, 480, 256, 7);
        EXPECT_EQ(sendPicture(wide, testPalette(), 0.0), 0);
        const Bytes file = readFile(device.path);
        Picture expected = {482, 480, {}};
        for (int y = 0; y < 480; ++y) {
            for (int x = 0; x < 482; ++x)
                expected.pixels.push_back(wide.pixels[static_cast<size_t>(y * 481 + std::min(x, 480))]);
        }
        EXPECT_EQ(file, plainGif(expected, testPalette(), {})) << extra;
    }
}

TEST(Pictures, OfOneAndFourBitsAreWidened) {
    const Bytes rows = {0b10110000, 0, 0, 0, 0b01010000, 0, 0, 0};  // 4 x 2, bottom row first
    for (const bool inlined : {false, true}) {
        Device device;
        openBody(3, 1);
        Bytes block = cellBlock(rows.data(), 4, 2, 1);
        if (inlined) {
            put(block, kCellBits, int32_t{1});
            block.resize(kCellData);
            block.insert(block.end(), rows.begin(), rows.end());
        }
        EXPECT_EQ(call(block), 0);
        closeBody();
        // No resolution: fitted into the default box. The device's own table is the palette.
        const Picture picture = {4, 2, {0, 1, 0, 1, 1, 0, 1, 1}};
        EXPECT_EQ(readFile(device.path), plainGif(scaled(picture, 640, 320), testPalette(), {}));
    }
}

TEST(Pictures, RowsThatRunUpwardLoseTheBottomOne) {
    const Picture picture = noise(8, 4, 256, 3);
    Device device(box(8, 4));
    openBody(7, 3);
    const Bytes rows = bottomUp(picture);
    Bytes block = cellBlock(rows.data(), 8, 4);
    put(block, kCellSecondY, -4.0);
    EXPECT_EQ(call(block), 0);
    closeBody();
    Picture expected = {8, 4, Bytes(32)};  // kept: bitmap rows 2, 1, 0 are filled, row 3 stays
    for (int k = 0; k < 3; ++k) std::copy_n(rows.begin() + 8 * k, 8, expected.pixels.begin() + 8 * (3 - (2 - k)));
    EXPECT_EQ(readFile(device.path), plainGif(expected, testPalette(), {}));
    EXPECT_EQ(lpEMData->pictureHeight, 0u);
    EXPECT_EQ(lpEMData->currentRow, 0);
}

TEST(Pictures, ThatCannotBeAreRefusedAndNothingIsWritten) {
    const Bytes rows(64);
    struct Case {
        double x2, y2;
        int width, height, bits;
        const uint8_t* data;
    };
    for (const Case& c : {Case{7, 7, 8, 8, 8, nullptr},
                          {1e9, 7, INT32_MAX, INT32_MAX, 8, rows.data()},
                          {7, 7, 8, 0, 8, rows.data()},
                          {7, 7, 0, 8, 8, rows.data()},
                          {1e300, -1e300, 8, 8, 8, rows.data()}}) {
        Device device([](SetupBlock& setup) { setup.interlaceChoice = kInterlaced; });
        openBody(c.x2, c.y2);
        lpEMData->resolution = 1;
        EXPECT_EQ(call(cellBlock(c.data, c.width, c.height, c.bits)), kExportFailed);
        closeBody();
        EXPECT_EQ(readFile(device.path).size(), 0u);
    }
    Device device;
    openBody(7, 7);
    lpEMData->pictureHeight = 1000000;  // left over: what lands outside the bitmap is dropped
    lpEMData->currentRow = 5;
    lpEMData->resolution = 64;
    EXPECT_EQ(call(cellBlock(rows.data(), 8, 8)), 0);
    lpEMData->window[3] = -1e18;
    DestroySetup(device.host.setup);
    device.host.setup = 0;
    EXPECT_EQ(call(cellBlock(rows.data(), 8, 8)), kExportFailed);
}

TEST(Pictures, StopWhereTheHostStopsThem) {
    struct Stop {
        int calls = 0;
        int at = 0;
        std::vector<intptr_t> progress;
    };
    const StatusFunction function = [](intptr_t context, intptr_t a, intptr_t, intptr_t, intptr_t d, intptr_t,
                                       intptr_t) -> intptr_t {
        Stop& stop = *reinterpret_cast<Stop*>(context);
        if (a == 0) stop.progress.push_back(d);
        return a == 2 || stop.calls++ >= stop.at;
    };
    for (int at = 0; at < 4; ++at) {
        Stop stop = {0, at, {}};
        Device device(box(100, 100));
        device.host.status.function = function;
        device.host.status.context = reinterpret_cast<intptr_t>(&stop);
        const int32_t result = sendPicture(noise(50, 50, 256, 1), testPalette());
        EXPECT_EQ(result, at < 3 ? kStoppedByHost : 0);
        EXPECT_EQ(access(device.path.c_str(), F_OK) == 0, at == 3);
        if (at == 3) {  // a height between two whole ones is shrunk to, and not stretched after
            stop.progress.clear();
            device.host.settings()->sizeMode = kSizeOfPicture;
            device.host.settings()->resolutionMode = kResolutionOfPicture;
            stop.at = 100;
            EXPECT_EQ(sendPicture(noise(29, 29, 256, 1), testPalette(), 100.0), 0);
        }
        stop.progress.resize(3);
        EXPECT_EQ(stop.progress, at == 0 ? (std::vector<intptr_t>{20, 0, 0}) : (std::vector<intptr_t>{20, 50, 0}));
    }
}

TEST(Pictures, GoThroughAHostsOwnFileAndEveryFailureOfIt) {
    struct Theirs {
        int calls = 0;
        int failing = -1;
        int open = 0;
    };
    const StreamIOProc procedure = [](intptr_t instance, intptr_t operation, intptr_t, intptr_t b) -> intptr_t {
        Theirs& theirs = *reinterpret_cast<Theirs*>(instance);
        theirs.open += operation == kProcOpen ? 1 : operation == kProcClose ? -1 : 0;
        if (theirs.calls++ == theirs.failing) return operation == kProcOpen ? instance : -1;
        return operation == kProcOpen ? instance : operation == kProcClose ? 0 : b;
    };
    const int before = temporaryFiles();
    for (int n = 0, calls = 1; n <= calls; ++n) {
        Theirs theirs = {0, n, 0};
        Device device([&](SetupBlock& setup) {
            setup.outputDevice = reinterpret_cast<uintptr_t>(procedure);
            setup.interlaceChoice = n % 2 == 0 ? int32_t{kInterlaced} : 0;
        });
        device.host.status.streamContext = reinterpret_cast<intptr_t>(&theirs);
        const int32_t result = sendPicture(noise(30, 30, 256, 1), testPalette());
        calls = theirs.calls;
        EXPECT_EQ(result, n == calls - 1 ? 303 : 0) << n;  // only the close's failure is told
        EXPECT_EQ(theirs.open, 0);
        n += n > 4 && n < calls - 40 ? 6 : 0;
    }
    EXPECT_EQ(temporaryFiles(), before);
}
