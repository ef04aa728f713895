// device_way.cpp: drives the device as a host does: init, opcodes, term. Called by the session, with the settings
// filled. Blocks are byte-packed and unaligned, so fields go in by memcpy.

#include "cli/library/device_way.h"

#include <algorithm>
#include <cstring>

#include "cli/library/driver_errors.h"
#include "cli/library/output_size.h"
#include "cli/output/host_file.h"
#include "cli/terminal/stop.h"

namespace cli {
namespace {

constexpr double kMillimetresPerInch = 25.4;
constexpr uintptr_t kReplyBytes = 256;
constexpr int16_t kScalingMetric = 1;  // the unit says how many millimetres a pixel measures
constexpr uint32_t kPieceRows = 16;    // of a cell array in a bracket: between two the user may stop

constexpr size_t kBareBlockBytes = kTolvaBlockData;
constexpr size_t kWindowBlockBytes = kTolvaBlockData + 6 * sizeof(double);
constexpr size_t kScalingBlockBytes = kTolvaScalingUnit + sizeof(double);
constexpr size_t kTableBlockBytes = kTolvaTableColours + sizeof(Colour) * kPaletteEntries;
constexpr size_t kCellBlockBytes = kTolvaCellData + sizeof(void*);
constexpr size_t kOpenLength = kTolvaPrimitiveFirstPoint;  // there are no points
constexpr size_t kOpenData = kOpenLength + sizeof(int32_t);
constexpr size_t kPrimitiveBlockBytes = kOpenData + kTolvaOpenBytes;

struct Device {
    const Library* library;
    const ExportOrder* order;
};

template <class Field>
void put(uint8_t* block, size_t position, Field value) {
    std::memcpy(block + position, &value, sizeof value);
}

// ---- Calls of opcodes ----

// Where no write failed, it was the temporary file that an interlaced picture's rows would wait in if they came in
// several bands. Here they come in one; whether they were put in order all the same is seen in the GIF.
ExitStatus noteMissingSpool(const char* step, HostFile& file) {
    file.spoolError = temporaryFileError();
    note("%s: driver error %d, though every write was done%s%s", step, kTolvaStreamFailed,
         file.spoolError == 0 ? "" : ": no temporary file in /tmp: ",
         file.spoolError == 0 ? "" : std::strerror(file.spoolError));
    return kExitDone;
}

int32_t ask(const Device& device, int32_t opcode, uint8_t* block) {
    put(block, kTolvaBlockOpcode, opcode);
    return device.library->callDriver(0, kTolvaFuncCall, block);
}

ExitStatus report(const Device& device, const char* step, int32_t code) {
    const HostFile* const file = device.order->hostFile;
    const bool isKnownBetter = code == kTolvaStreamFailed && file != nullptr && file->error != 0;
    return isKnownBetter ? kExitDone : reportDriver(step, code);
}

ExitStatus call(const Device& device, const char* step, int32_t opcode, uint8_t* block) {
    return report(device, step, ask(device, opcode, block));
}

// What writes the picture, and may want a spool for it.
ExitStatus callWriting(const Device& device, const char* step, int32_t opcode, uint8_t* block) {
    const int32_t code = ask(device, opcode, block);
    HostFile* const file = device.order->hostFile;
    const bool isSpool = code == kTolvaStreamFailed && file != nullptr && file->error == 0;
    return isSpool ? noteMissingSpool(step, *file) : report(device, step, code);
}

ExitStatus callBare(const Device& device, const char* step, int32_t opcode) {
    uint8_t block[kBareBlockBytes] = {};
    return call(device, step, opcode, block);
}

// The window is the picture, pixel for pixel: a smaller one would crop it.
ExitStatus setWindow(const Device& device) {
    const Picture& picture = *device.order->picture;
    const double corners[] = {0, 0, 0, picture.width - 1.0, picture.height - 1.0, 0};
    uint8_t block[kWindowBlockBytes] = {};
    std::memcpy(block + kTolvaBlockData, corners, sizeof corners);
    return call(device, "device window", kTolvaOpSetWindow, block);
}

ExitStatus setScaling(const Device& device) {
    uint8_t block[kScalingBlockBytes] = {};
    put(block, kTolvaScalingMode, kScalingMetric);
    put(block, kTolvaScalingUnit, kMillimetresPerInch / kPictureResolution);
    return call(device, "scaling", kTolvaOpSetScaling, block);
}

// All entries, those behind the picture's own as black: nothing of an earlier picture's table stays.
ExitStatus setColourTable(const Device& device) {
    uint8_t block[kTableBlockBytes] = {};
    put(block, kTolvaTableLength, static_cast<uint32_t>(2 + sizeof device.order->picture->palette));
    std::memcpy(block + kTolvaTableColours, device.order->picture->palette, sizeof device.order->picture->palette);
    return call(device, "colour table", kTolvaOpSetColourTable, block);
}

// The second corner's y does not lie below the first's, as in the window: the rows then fill the bitmap from its first
// row on, which is the bottom one. Negative bits say that the pixels stand elsewhere, at an address.
ExitStatus sendRows(const Device& device, uint32_t first, uint32_t rows) {
    const Picture& picture = *device.order->picture;
    uint8_t block[kCellBlockBytes] = {};
    put(block, kTolvaCellSecondY, picture.height - 1.0);
    put(block, kTolvaCellsPerRow, picture.width);
    put(block, kTolvaCellRows, rows);
    put(block, kTolvaCellBits, -picture.bitsPerPixel);
    put(block, kTolvaCellData, picture.pixels + size_t{first} * picture.stride);
    return callWriting(device, "pixels", kTolvaOpCellArray, block);
}

// ---- The bracket ----

ExitStatus openBracket(const Device& device) {
    const Picture& picture = *device.order->picture;
    uint8_t block[kPrimitiveBlockBytes] = {};
    put(block, kTolvaPrimitiveId, int32_t{kTolvaOpenPicture});
    put(block, kOpenLength, int32_t{kTolvaOpenBytes});
    put(block, kOpenData + kTolvaOpenWidth, picture.width);
    put(block, kOpenData + kTolvaOpenRows, picture.height);
    put(block, kOpenData + kTolvaOpenBits, picture.bitsPerPixel);
    return call(device, "opening the picture", kTolvaOpPrimitive, block);
}

ExitStatus closeBracket(const Device& device) {
    uint8_t block[kPrimitiveBlockBytes] = {};
    put(block, kTolvaPrimitiveId, int32_t{kTolvaClosePicture});
    return callWriting(device, "closing the picture", kTolvaOpPrimitive, block);
}

// A bracket that is left open writes nothing.
ExitStatus sendBracket(const Device& device) {
    const uint32_t height = device.order->picture->height;
    if (const ExitStatus failed = openBracket(device)) return failed;
    for (uint32_t first = 0; first < height; first += kPieceRows) {
        if (stopRequested()) return kExitStopped;
        if (const ExitStatus failed = sendRows(device, first, std::min(kPieceRows, height - first))) return failed;
    }
    return closeBracket(device);
}

// ---- The device's life ----

ExitStatus sendPicture(const Device& device) {
    if (device.order->way == Way::kBracket) return sendBracket(device);
    return sendRows(device, 0, device.order->picture->height);
}

ExitStatus drawPicture(const Device& device) {
    if (const ExitStatus failed = callBare(device, "picture", kTolvaOpBeginPicture)) return failed;
    if (const ExitStatus failed = setWindow(device)) return failed;
    if (const ExitStatus failed = setScaling(device)) return failed;
    if (const ExitStatus failed = callBare(device, "picture body", kTolvaOpBeginBody)) return failed;
    if (device.order->picture->bitsPerPixel == kIndexBits) {
        if (const ExitStatus failed = setColourTable(device)) return failed;
    }
    if (const ExitStatus failed = sendPicture(device)) return failed;
    return callBare(device, "end of picture", kTolvaOpEndPicture);
}

ExitStatus useDevice(const Device& device) {
    if (const ExitStatus failed = callBare(device, "opening", kTolvaOpOpenDevice)) return failed;
    const ExitStatus drawn = drawPicture(device);
    const ExitStatus closed = callBare(device, "closing", kTolvaOpCloseDevice);
    return drawn != kExitDone ? drawn : closed;
}

}  // namespace

ExitStatus driveDevice(const Library& library, const ExportOrder& order, TolvaStatusRecord& status) {
    int32_t capabilities[kTolvaCapabilitySlots] = {};
    TolvaRasterInitBlock block = {};
    block.fileName = order.fileName;
    block.replySize = kReplyBytes;
    block.setup = order.setup;
    block.status = &status;
    block.capabilities = capabilities;
    const int32_t code = library.callDriver(0, kTolvaFuncInit, &block);
    if (code != kTolvaNoError) return reportDriver("init", code);
    const ExitStatus driven = useDevice(Device{&library, &order});
    library.callDriver(0, kTolvaFuncTerm, nullptr);
    return driven;
}

}  // namespace cli
