// device_way.cpp: drives the device as a host does: init, opcodes, term. Called by the session, with the settings
// filled. Blocks are byte-packed and unaligned, so fields go in by memcpy.

#include "cli/library/device_way.h"

#include <algorithm>
#include <cstring>

#include "cli/library/driver_errors.h"
#include "cli/library/output_size.h"
#include "cli/output/host_file.h"
#include "cli/terminal/progress.h"

namespace cli {
namespace {

constexpr double kMillimetresPerInch = 25.4;
constexpr uintptr_t kReplyBytes = 256;
constexpr int16_t kScalingMetric = 1;  // the unit says how many millimetres a pixel measures
constexpr uint32_t kPieceRows = 16;    // of a cell array in a bracket: between two the user's wish to stop is heard

constexpr size_t kBareBlockBytes = kBlockData;
constexpr size_t kWindowBlockBytes = kBlockData + 6 * sizeof(double);
constexpr size_t kScalingBlockBytes = kScalingUnit + sizeof(double);
constexpr size_t kTableBlockBytes = kTableColours + sizeof(Colour) * kPaletteEntries;
constexpr size_t kCellBlockBytes = kCellData + sizeof(void*);
constexpr size_t kOpenLength = kPrimitiveFirstPoint;  // there are no points
constexpr size_t kOpenData = kOpenLength + sizeof(int32_t);
constexpr size_t kPrimitiveBlockBytes = kOpenData + kOpenBytes;

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
ExitStatus noteStreamFailure(const char* step, HostFile& file) {
    if (file.error != 0) return kExitDone;
    file.spoolError = temporaryFileError();
    clearBar();
    note("%s: driver error %d, though every write was done%s%s", step, kStreamFailed,
         file.spoolError == 0 ? "" : ": no temporary file in /tmp: ",
         file.spoolError == 0 ? "" : std::strerror(file.spoolError));
    return kExitDone;
}

ExitStatus call(const Device& device, const char* step, int32_t opcode, uint8_t* block) {
    put(block, kBlockOpcode, opcode);
    const int32_t code = device.library->callDriver(0, kFuncCall, block);
    HostFile* const file = device.order->hostFile;
    return code == kStreamFailed && file != nullptr ? noteStreamFailure(step, *file) : reportDriver(step, code);
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
    std::memcpy(block + kBlockData, corners, sizeof corners);
    return call(device, "device window", kOpSetWindow, block);
}

ExitStatus setScaling(const Device& device) {
    uint8_t block[kScalingBlockBytes] = {};
    put(block, kScalingMode, kScalingMetric);
    put(block, kScalingUnit, kMillimetresPerInch / kPictureResolution);
    return call(device, "scaling", kOpSetScaling, block);
}

// All entries, those behind the picture's own as black: nothing of an earlier picture's table stays.
ExitStatus setColourTable(const Device& device) {
    uint8_t block[kTableBlockBytes] = {};
    put(block, kTableLength, static_cast<uint32_t>(2 + sizeof device.order->picture->palette));
    std::memcpy(block + kTableColours, device.order->picture->palette, sizeof device.order->picture->palette);
    return call(device, "colour table", kOpSetColourTable, block);
}

// The second corner's y does not lie below the first's, as in the window: the rows then fill the bitmap from its first
// row on, which is the bottom one. Negative bits say that the pixels stand elsewhere, at an address.
ExitStatus sendRows(const Device& device, uint32_t first, uint32_t rows) {
    const Picture& picture = *device.order->picture;
    uint8_t block[kCellBlockBytes] = {};
    put(block, kCellSecondY, picture.height - 1.0);
    put(block, kCellsPerRow, picture.width);
    put(block, kCellRows, rows);
    put(block, kCellBits, -picture.bitsPerPixel);
    put(block, kCellData, picture.pixels + size_t{first} * picture.stride);
    return call(device, "pixels", kOpCellArray, block);
}

// ---- The bracket ----

ExitStatus openBracket(const Device& device) {
    const Picture& picture = *device.order->picture;
    uint8_t block[kPrimitiveBlockBytes] = {};
    put(block, kPrimitiveId, int32_t{kOpenPicture});
    put(block, kOpenLength, int32_t{kOpenBytes});
    put(block, kOpenData + kOpenWidth, picture.width);
    put(block, kOpenData + kOpenRows, picture.height);
    put(block, kOpenData + kOpenBits, picture.bitsPerPixel);
    return call(device, "opening the picture", kOpPrimitive, block);
}

ExitStatus closeBracket(const Device& device) {
    uint8_t block[kPrimitiveBlockBytes] = {};
    put(block, kPrimitiveId, int32_t{kClosePicture});
    return call(device, "closing the picture", kOpPrimitive, block);
}

// A bracket that is left open writes nothing.
ExitStatus sendBracket(const Device& device) {
    const uint32_t height = device.order->picture->height;
    ExitStatus status = openBracket(device);
    for (uint32_t first = 0; status == kExitDone && first < height; first += kPieceRows) {
        status = stopWished() ? kExitStopped : sendRows(device, first, std::min(kPieceRows, height - first));
    }
    return status == kExitDone ? closeBracket(device) : status;
}

// ---- The device's life ----

ExitStatus sendPicture(const Device& device) {
    if (device.order->road == Road::kBracket) return sendBracket(device);
    return sendRows(device, 0, device.order->picture->height);
}

ExitStatus drawPicture(const Device& device) {
    ExitStatus status = callBare(device, "picture", kOpBeginPicture);
    if (status == kExitDone) status = setWindow(device);
    if (status == kExitDone) status = setScaling(device);
    if (status == kExitDone) status = callBare(device, "picture body", kOpBeginBody);
    if (status == kExitDone && device.order->picture->bitsPerPixel == kIndexBits) status = setColourTable(device);
    if (status == kExitDone) status = sendPicture(device);
    if (status == kExitDone) status = callBare(device, "end of picture", kOpEndPicture);
    return status;
}

ExitStatus useDevice(const Device& device) {
    ExitStatus status = callBare(device, "opening", kOpOpenDevice);
    if (status != kExitDone) return status;
    status = drawPicture(device);
    const ExitStatus closed = callBare(device, "closing", kOpCloseDevice);
    return status == kExitDone ? closed : status;
}

}  // namespace

ExitStatus driveDevice(const Library& library, const ExportOrder& order, StatusRecord& status) {
    int32_t capabilities[kCapabilitySlots] = {};
    RasterInitBlock block = {};
    block.fileName = order.fileName;
    block.replySize = kReplyBytes;
    block.setup = order.setup;
    block.status = &status;
    block.capabilities = capabilities;
    const int32_t code = library.callDriver(0, kFuncInit, &block);
    if (code != kNoError) return reportDriver("init", code);
    const ExitStatus driven = useDevice(Device{&library, &order});
    library.callDriver(0, kFuncTerm, nullptr);
    return driven;
}

}  // namespace cli
