// session.cpp: drives the device as a host does: init, opcodes, term. Called by main between reading the picture and
// keeping the file. Blocks are byte-packed and unaligned, so fields go in by memcpy.

#include "cli/session.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "cli/output_size.h"
#include "cli/progress.h"

namespace cli {
namespace {

constexpr double kMillimetresPerInch = 25.4;
constexpr uintptr_t kReplyBytes = 256;
constexpr int16_t kScalingMetric = 1;  // the unit says how many millimetres a pixel measures

constexpr size_t kBareBlockBytes = kBlockData;
constexpr size_t kWindowBlockBytes = kBlockData + 6 * sizeof(double);
constexpr size_t kScalingBlockBytes = kScalingUnit + sizeof(double);
constexpr size_t kTableBlockBytes = kTableColours + sizeof(Colour) * kPaletteEntries;
constexpr size_t kCellBlockBytes = kCellData + sizeof(void*);

struct DriverError {
    int32_t code;
    ExitStatus status;
    const char* meaning;
};

// clang-format off
constexpr DriverError kDriverErrors[] = {
    {kNoWorkBuffer,  kExitExportFailed, "a work buffer could not be had"},
    {kNoSettings,    kExitExportFailed, "the settings block is missing"},
    {kNoPicture,     kExitExportFailed, "no picture could be obtained"},
    {kExportFailed,  kExitExportFailed, "memory could not be had, or the export could not run"},
    {kStreamFailed,  kExitOutputFailed, "the output could not be opened, written or closed"},
    {kStoppedByHost, kExitStopped,      "stopped"},
};
// clang-format on
constexpr DriverError kUnknownError = {0, kExitExportFailed, "a code without a meaning here"};

struct Session {
    const Library* library;
    const ExportOrder* order;
};

template <class Field>
void put(uint8_t* block, size_t position, Field value) {
    std::memcpy(block + position, &value, sizeof value);
}

// The filter's reports and its questions whether to go on; any answer but 0 stops it.
intptr_t answerStatus(intptr_t, intptr_t a, intptr_t b, intptr_t, intptr_t percent, intptr_t, intptr_t) {
    if (a == 0 && b == 0) showProgress(static_cast<int>(percent));
    return stopWished() ? 1 : 0;
}

ExitStatus reportDriver(const char* step, int32_t code) {
    if (code == kNoError) return kExitDone;
    const auto hasCode = [code](const DriverError& e) { return e.code == code; };
    const DriverError* const found = std::find_if(std::begin(kDriverErrors), std::end(kDriverErrors), hasCode);
    const DriverError& error = found == std::end(kDriverErrors) ? kUnknownError : *found;
    clearBar();
    if (error.status == kExitStopped) return kExitStopped;
    return fail(error.status, "%s: driver error %d: %s", step, code, error.meaning);
}

// ---- Calls of opcodes ----

ExitStatus call(const Session& session, const char* step, int32_t opcode, uint8_t* block) {
    put(block, kBlockOpcode, opcode);
    return reportDriver(step, session.library->callDriver(0, kFuncCall, block));
}

ExitStatus callBare(const Session& session, const char* step, int32_t opcode) {
    uint8_t block[kBareBlockBytes] = {};
    return call(session, step, opcode, block);
}

// The window is the picture, pixel for pixel: a smaller one would crop it.
ExitStatus setWindow(const Session& session) {
    const Picture& picture = *session.order->picture;
    const double corners[] = {0, 0, 0, picture.width - 1.0, picture.height - 1.0, 0};
    uint8_t block[kWindowBlockBytes] = {};
    std::memcpy(block + kBlockData, corners, sizeof corners);
    return call(session, "device window", kOpSetWindow, block);
}

ExitStatus setScaling(const Session& session) {
    uint8_t block[kScalingBlockBytes] = {};
    put(block, kScalingMode, kScalingMetric);
    put(block, kScalingUnit, kMillimetresPerInch / kPictureResolution);
    return call(session, "scaling", kOpSetScaling, block);
}

// All entries, those behind the picture's own as black: nothing of an earlier picture's table stays.
ExitStatus setColourTable(const Session& session) {
    uint8_t block[kTableBlockBytes] = {};
    put(block, kTableLength, static_cast<uint32_t>(2 + sizeof session.order->picture->palette));
    std::memcpy(block + kTableColours, session.order->picture->palette, sizeof session.order->picture->palette);
    return call(session, "colour table", kOpSetColourTable, block);
}

// The second corner's y does not lie below the first's, as in the window: the rows then fill the bitmap from its first
// row on, which is the bottom one. Negative bits say that the pixels stand elsewhere, at an address.
ExitStatus sendPixels(const Session& session) {
    const Picture& picture = *session.order->picture;
    uint8_t block[kCellBlockBytes] = {};
    put(block, kCellSecondY, picture.height - 1.0);
    put(block, kCellsPerRow, picture.width);
    put(block, kCellRows, picture.height);
    put(block, kCellBits, -picture.bitsPerPixel);
    put(block, kCellData, picture.pixels);
    return call(session, "pixels", kOpCellArray, block);
}

// ---- The device's life ----

ExitStatus drawPicture(const Session& session) {
    ExitStatus status = callBare(session, "picture", kOpBeginPicture);
    if (status == kExitDone) status = setWindow(session);
    if (status == kExitDone) status = setScaling(session);
    if (status == kExitDone) status = callBare(session, "picture body", kOpBeginBody);
    if (status == kExitDone && session.order->picture->bitsPerPixel == kIndexBits) status = setColourTable(session);
    if (status == kExitDone) status = sendPixels(session);
    if (status == kExitDone) status = callBare(session, "end of picture", kOpEndPicture);
    return status;
}

ExitStatus driveDevice(const Session& session) {
    ExitStatus status = callBare(session, "opening", kOpOpenDevice);
    if (status != kExitDone) return status;
    status = drawPicture(session);
    const ExitStatus closed = callBare(session, "closing", kOpCloseDevice);
    return status == kExitDone ? closed : status;
}

ExitStatus withDevice(const Session& session, Handle setup) {
    int32_t capabilities[kCapabilitySlots] = {};
    StatusRecord status = {};
    status.context = 1;  // the filter passes over a record without one
    status.function = answerStatus;
    RasterInitBlock block = {};
    block.fileName = session.order->fileName;
    block.replySize = kReplyBytes;
    block.setup = setup;
    block.status = &status;
    block.capabilities = capabilities;
    const int32_t code = session.library->callDriver(0, kFuncInit, &block);
    if (code != kNoError) return reportDriver("init", code);
    const ExitStatus driven = driveDevice(session);
    session.library->callDriver(0, kFuncTerm, nullptr);
    return driven;
}

void putColour(uint8_t* bytes, Colour colour) { std::memcpy(bytes, &colour, sizeof colour); }

// Size and resolution stand as the settings have them; the rest is the order's.
void fillSetup(Setup& setup, const ExportOrder& order) {
    setup.colourMode = static_cast<int32_t>(kColourNormal) + static_cast<int32_t>(order.tone);
    setup.outputDevice = 0;
    if (order.sizeReached) {
        setup.sizeMode = kSizeOfPicture;
        setup.resolutionMode = kResolutionOfPicture;
    }
    setup.interlaceChoice = order.interlace ? kInterlaced : 0;
    setup.transparencyChoice = order.transparent ? kTransparentColour : 0;
    if (order.transparent) putColour(setup.transparentColour, *order.transparent);
    setup.backgroundChoice = order.background ? kBackgroundColour : 0;
    if (order.background) putColour(setup.backgroundColour, *order.background);
}

}  // namespace

ExitStatus runSession(const Library& library, const ExportOrder& order) {
    fillSetup(*static_cast<Setup*>(library.globalLock(order.setup)), order);
    library.globalUnlock(order.setup);
    const ExitStatus status = withDevice(Session{&library, &order}, order.setup);
    clearBar();
    return status;
}

}  // namespace cli
