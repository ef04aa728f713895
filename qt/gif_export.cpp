// gif_export.cpp: init, opcodes, term, with the library's default settings: no profile is looked for. Blocks of opcodes
// are byte-packed and unaligned, so fields go in by memcpy.

#include "qt/gif_export.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <mutex>

#include <tolva/driver.h>
#include <tolva/raster.h>
#include <tolva/settings.h>
#include <tolva/stream.h>

namespace qtolva {
namespace {

// All that a picture of 8 bits in one cell array costs the library, and as much again. Without memory it ends the
// process, so this much is tried before.
constexpr size_t kLibraryNeeds = 4u << 20;
// Of the picture, in dots per inch: a power of two, so that pixels through inches to pixels stay the same.
constexpr double kResolution = 128;
constexpr double kMillimetresPerInch = 25.4;
constexpr int16_t kScalingMetric = 1;  // the unit says how many millimetres a pixel measures
constexpr uintptr_t kReplyBytes = 256;
constexpr size_t kPaletteBytes = sizeof(IndexedPicture::palette);
static_assert(kPaletteBytes == 768);
// Qt's reader puts the rows of interlaced pictures of 3 or 4 rows in wrong places, and nobody waits for so few.
constexpr int kLeastInterlaced = 5;
constexpr uint8_t kGifSignature[] = {'G', 'I', 'F', '8', '9', 'a'};
// The end of the pixels' sub-blocks, and the trailer.
constexpr uint8_t kGifEnd[] = {0x00, 0x3B};

std::mutex oneDevice;

// ---- The transparent entry ----
// The library is told a colour, not an index, and looks for it: among greys alone when it is one, among colours alone
// when not, the first of equals.

bool isGrey(Colour c) { return c.red == c.green && c.green == c.blue; }

bool isNearGrey(Colour c) {
    const auto [least, most] = std::minmax({c.red, c.green, c.blue});
    return most - least <= kTolvaGreyTolerance;
}

bool isSame(Colour a, Colour b) { return std::memcmp(&a, &b, sizeof a) == 0; }

bool standsBefore(const IndexedPicture& picture, int entries, Colour colour) {
    const auto end = picture.palette.begin() + entries;
    return std::find_if(picture.palette.begin(), end, [=](Colour c) { return isSame(c, colour); }) != end;
}

bool isFound(const IndexedPicture& picture) {
    const Colour colour = picture.palette[static_cast<size_t>(picture.key)];
    return (isGrey(colour) || !isNearGrey(colour)) && !standsBefore(picture, picture.key, colour);
}

// A colour that the search finds at this entry: its own, or else a grey that no other entry has. There is one, because
// the others are 255.
void settleKey(IndexedPicture& picture) {
    if (isFound(picture)) return;
    Colour& colour = picture.palette[static_cast<size_t>(picture.key)];
    for (int level = 0; level < kTolvaLargestPalette; ++level) {
        const auto grey = static_cast<uint8_t>(level);
        colour = {grey, grey, grey};
        if (std::count_if(picture.palette.begin(), picture.palette.end(),
                          [=](Colour c) { return isSame(c, colour); }) == 1)
            return;
    }
}

// ---- The device ----

template <class Field>
void put(uint8_t* block, size_t position, const Field& value) {
    std::memcpy(block + position, &value, sizeof value);
}

struct Failure {
    const char* step = nullptr;
    int32_t code = kTolvaNoError;
};

// Keeps the first failure; the device is taken through its states whatever happens.
void call(Failure& failure, const char* step, int32_t opcode, uint8_t* block) {
    put(block, kTolvaBlockOpcode, opcode);
    const int32_t code = RASTER_dd_entry32(0, kTolvaFuncCall, block);
    if (code != kTolvaNoError && failure.code == kTolvaNoError) failure = {step, code};
}

void callBare(Failure& failure, const char* step, int32_t opcode) {
    uint8_t block[kTolvaBlockData] = {};
    call(failure, step, opcode, block);
}

void setWindow(Failure& failure, const IndexedPicture& picture) {
    uint8_t block[kTolvaBlockData + 6 * sizeof(double)] = {};
    const double corners[] = {0, 0, 0, picture.width - 1.0, picture.height - 1.0, 0};
    put(block, kTolvaBlockData, corners);
    call(failure, "the window", kTolvaOpSetWindow, block);
}

void setScaling(Failure& failure) {
    uint8_t block[kTolvaScalingUnit + sizeof(double)] = {};
    put(block, kTolvaScalingMode, kScalingMetric);
    put(block, kTolvaScalingUnit, kMillimetresPerInch / kResolution);
    call(failure, "the scaling", kTolvaOpSetScaling, block);
}

void setColours(Failure& failure, const IndexedPicture& picture) {
    uint8_t block[kTolvaTableColours + kPaletteBytes] = {};
    put(block, kTolvaTableLength, static_cast<uint32_t>(2 + kPaletteBytes));
    put(block, kTolvaTableColours, picture.palette);
    call(failure, "the colours", kTolvaOpSetColourTable, block);
}

// Bottom row first, at an address: the library then reads them where they lie.
void sendRows(Failure& failure, const IndexedPicture& picture) {
    uint8_t block[kTolvaCellData + sizeof(void*)] = {};
    const uint8_t* const rows = picture.rows.get();
    put(block, kTolvaCellSecondY, picture.height - 1.0);
    put(block, kTolvaCellsPerRow, static_cast<uint32_t>(picture.width));
    put(block, kTolvaCellRows, static_cast<uint32_t>(picture.height));
    put(block, kTolvaCellBits, int32_t{-8});
    put(block, kTolvaCellData, rows);
    Failure written;
    call(written, "the pixels", kTolvaOpCellArray, block);
    // This says only that the spool of interlaced pictures could not be opened, and those of one cell array need none.
    if (written.code != kTolvaStreamFailed && failure.code == kTolvaNoError) failure = written;
}

Failure driveDevice(const IndexedPicture& picture, TolvaHandle setup, TolvaStatusRecord& status) {
    char noName[] = "";
    int32_t capabilities[kTolvaCapabilitySlots] = {};
    TolvaRasterInitBlock init = {};
    init.fileName = noName;
    init.replySize = kReplyBytes;
    init.setup = setup;
    init.status = &status;
    init.capabilities = capabilities;
    Failure failure = {"the start", RASTER_dd_entry32(0, kTolvaFuncInit, &init)};
    if (failure.code != kTolvaNoError) return failure;
    callBare(failure, "opening", kTolvaOpOpenDevice);
    callBare(failure, "the picture", kTolvaOpBeginPicture);
    setWindow(failure, picture);
    setScaling(failure);
    callBare(failure, "the picture's body", kTolvaOpBeginBody);
    setColours(failure, picture);
    sendRows(failure, picture);
    callBare(failure, "the picture's end", kTolvaOpEndPicture);
    callBare(failure, "closing", kTolvaOpCloseDevice);
    RASTER_dd_entry32(0, kTolvaFuncTerm, nullptr);
    return failure;
}

// ---- Settings, and what came of it ----

// Not by CreateSetup, which looks for a profile. With no block of that kind made, this one is the only one.
TolvaHandle makeSetup(const IndexedPicture& picture, bool interlace) {
    const TolvaHandle h = GlobalAlloc(kTolvaMoveableZeroed, kTolvaSetupBytes);
    TolvaSetup& setup = *static_cast<TolvaSetup*>(GlobalLock(h));
    UseDefaultSettings(&setup);
    setup.outputDevice = reinterpret_cast<uintptr_t>(serveMemoryFile);
    if (interlace && picture.height >= kLeastInterlaced) setup.interlaceChoice = kTolvaInterlaced;
    if (picture.key == kTolvaNoKey) return h;
    setup.transparencyChoice = kTolvaTransparentColour;
    std::memcpy(setup.transparentColour, &picture.palette[static_cast<size_t>(picture.key)], sizeof(Colour));
    return h;
}

bool canHave(size_t bytes) {
    const std::unique_ptr<void, Free> tried(std::malloc(bytes));
    return tried != nullptr;
}

// No failure was reported, but the library passes on less than a host needs.
bool isWhole(const MemoryFile& gif) {
    const auto ends = static_cast<int64_t>(sizeof kGifSignature + sizeof kGifEnd);
    return gif.size > ends && std::memcmp(gif.bytes, kGifSignature, sizeof kGifSignature) == 0 &&
           std::memcmp(gif.bytes + gif.size - sizeof kGifEnd, kGifEnd, sizeof kGifEnd) == 0;
}

}  // namespace

QString exportGif(IndexedPicture& picture, bool interlace, MemoryFile& gif) {
    if (picture.key != kTolvaNoKey) settleKey(picture);
    const std::lock_guard<std::mutex> lock(oneDevice);
    if (!canHave(kLibraryNeeds)) return QStringLiteral("there is no memory to write it with");
    TolvaStatusRecord status = {};
    status.streamContext = reinterpret_cast<intptr_t>(&gif);
    const TolvaHandle setup = makeSetup(picture, interlace);
    const Failure failure = driveDevice(picture, setup, status);
    DestroySetup(setup);
    if (gif.isFull) return QStringLiteral("there is no memory for the GIF");
    if (failure.code != kTolvaNoError) {
        return QStringLiteral("driver error %1 at %2").arg(failure.code).arg(QLatin1String(failure.step));
    }
    return isWhole(gif) ? QString() : QStringLiteral("the library wrote no whole GIF");
}

}  // namespace qtolva
