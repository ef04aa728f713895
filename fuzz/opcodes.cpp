// opcodes.cpp: an arbitrary host's calls in any order, those of its callbacks included, with cell arrays, bands and
// settings of all kinds. It owes what docs/security.md says, and has no memory for more than mostPixels.

#include <cstdio>

#include <sys/mman.h>

#include <tolva/tolva.h>
#include "fuzz/input.h"
#include "host/numbers.h"

namespace {

using tolva::load, tolva::store;
using Block = std::vector<uint8_t>;
constexpr std::pair<int32_t, size_t> kOpcodes[] = {  // and the bytes that each reads
    {0x409, 102}, {0x40a, 24}, {0x522, 20}, {0x206, 64}, {0x207, 19}, {0x208, 56}, {0x209, 32}, {1, 4},
    {2, 4},       {3, 4},      {4, 4},      {5, 4},      {0x2fd, 4},  {0x2ff, 4},  {0x303, 4},  {0x304, 4},
    {0x305, 4},   {0x306, 4},  {0x52b, 4},  {0x906, 4},  {0xf02, 20}, {0xf03, 4},  {0xf01, 4},  {-1, 4}};

Input *input, *answers;  // the zeros behind their ends are honest answers
int depth;               // of callbacks that call back
int64_t mostPixels;
char outputName[40];
TolvaHandle setups[2], band;
TolvaStatusRecord status;
TolvaCommonBlock common;

TolvaSetup& settings(size_t which) { return *static_cast<TolvaSetup*>(GlobalLock(setups[which])); }

TolvaHandle filled(uint32_t bytes) {
    const TolvaHandle h = GlobalAlloc(66, bytes);
    input->take(GlobalLock(h), bytes);
    return h;
}

// Whether a picture of that many dots becomes one that this host has memory for, or one that no GIF can be.
bool isSmall(double width, double height, int32_t dpi) {
    const TolvaSetup before = *lpRaster;
    if (dpi != 0) width /= dpi, height /= dpi;
    QueryCellFormat(&width, &height, nullptr, &dpi, nullptr, nullptr);
    *lpRaster = before;
    return !(width < 65536 && height < 65536 && width * height > mostPixels);
}

// ---- Opcodes: blocks as long as they are read, and not a byte longer ----

int64_t rowBytes(int64_t width, int64_t bits) {
    return (width * (bits == -32768 ? 1 : std::min(std::abs(bits), int64_t{1} << 20)) + 31) / 32 * 4;
}
int64_t span(int axis) { return tolva::truncatedDistance(lpEMData->window[axis], lpEMData->window[axis + 3]) + 1; }

// As many rows as this host has; those by address stand beside the block.
void addRows(Block& block, Block& rows) {
    const int32_t dpi = lpEMData->resolution;
    const int64_t across = load<uint32_t>(&block[88]), bits = load<int32_t>(&block[96]),
                  width = std::min(span(0), across);
    const int64_t stride = rowBytes(std::abs(bits) == 24 ? across : width, bits);
    uint32_t down = std::min<int64_t>(load<uint32_t>(&block[92]), mostPixels * 4 / (stride + 1));
    const bool small = dpi == 0 ? isSmall(width, down, 0) : isSmall(span(0), span(1), dpi);
    if (!small && lpEMData->accumulating == 0) down = 0;
    store(&block[92], down);
    rows = input->bytes(stride * down);
    const uint8_t* const address = rows.data();
    block.resize(102 + (bits < 0 ? sizeof address : rows.size()));
    std::copy_n(bits < 0 ? reinterpret_cast<const uint8_t*>(&address) : address, block.size() - 102, &block[101] + 1);
}

void addPoints(Block& block) {
    TolvaEMData& em = *lpEMData;
    const auto id = load<int32_t>(&block[16]), points = load<int32_t>(&block[20]);
    if (id == -6 && !isSmall(em.pictureWidth, em.pictureHeight, tolva::low16(em.resolution))) block[16] = 0;
    if (points > 0 && points <= 1024) block.resize(24 + points * 24);
    if (id != -5) return;
    em.pictureBitmap = GlobalFree(em.pictureBitmap);  // that of a picture which was not closed is the host's
    block.resize(block.size() + 32);
    uint8_t* const data = &block[block.size() - 28];
    input->take(data, 28);
    const int64_t row = rowBytes(std::min<int64_t>(span(0), load<uint32_t>(data)), load<int32_t>(data + 8));
    store<uint32_t>(data + 4, std::min<int64_t>(load<uint32_t>(data + 4), mostPixels * 4 / (row + 1)));
}

void callOpcode(decltype(&dd_entry32) entry) {
    const auto [opcode, bytes] = input->pick(kOpcodes);
    Block rows, block = input->bytes(bytes);
    if (opcode == 0x409 && lpEMData != nullptr) addRows(block, rows);
    if (opcode == 0x40a && lpEMData != nullptr) addPoints(block);
    const uint32_t length = opcode == 0x522 ? load<uint32_t>(&block[4]) : 0;
    if (length >= 2 && length < 196610) block.resize(20 + (length - 2) / 3 * 3, input->byte());
    store(block.data(), opcode);
    entry(0, 2, block.data());
}

// ---- Callbacks ----

void step();
void callBack() {
    if (depth >= 2 || answers->byte() < 220) return;
    ++depth;
    step();
    --depth;
}

intptr_t answerStatus(intptr_t, intptr_t, intptr_t, intptr_t, intptr_t, intptr_t, intptr_t) {
    callBack();
    return answers->byte() > 230;
}

intptr_t answerStream(intptr_t, intptr_t operation, intptr_t a, intptr_t b) {
    const auto said = static_cast<int8_t>(answers->byte());
    if (operation == 1) return said + 1;
    callBack();
    if (operation == 2) answers->take(reinterpret_cast<void*>(a), std::clamp<intptr_t>(said, 0, b));
    return said == 0 && operation == 3 ? b : said;
}

intptr_t answerBands(intptr_t operation, intptr_t record, intptr_t a, intptr_t) {
    uint8_t*& palette = reinterpret_cast<TolvaOffscreenRecord*>(record)->palette;
    if (operation == 0) {
        TolvaOffscreenQuery query = input->number<TolvaOffscreenQuery>();
        const double dpi = query.resolution == 0 ? 1 : query.resolution;
        const bool small = isSmall(query.width * dpi, query.height * dpi, query.resolution);
        if (!small) UseDefaultSettings(lpRaster);
        *reinterpret_cast<TolvaOffscreenQuery*>(a) = small ? query : TolvaOffscreenQuery{9, 0.1, 10, 0};
        return 0;
    }
    callBack();
    band = GlobalFree(band);
    if (operation == 3) return static_cast<intptr_t>(band = filled(input->upTo(3000)));
    if (operation == 2) return static_cast<intptr_t>(zunPtrGlobalFree(palette));
    input->take(palette, 768);
    if (input->byte() > 200) palette = static_cast<uint8_t*>(zunPtrGlobalReAlloc(palette, 999, 66));
    return input->byte() > 128 ? input->number<int32_t>() : reinterpret_cast<TolvaOffscreenInit*>(a)->bandRows;
}

// ---- Calls ----

void init(decltype(&dd_entry32) entry) {
    if (entry != dd_entry32 && depth == 0 && lpEMData != nullptr) return;  // a second device leaks the first
    const uint32_t kind = input->upTo(7);
    char name[160] = "";
    if (kind < 2) std::snprintf(name, sizeof name, kind == 0 ? "%s" : "%147s", outputName);
    int32_t capabilities[60];
    TolvaRasterInitBlock block = {.fileName = name,
                                  .replySize = input->pick<uintptr_t>({0, 1, 40, 4000, UINTPTR_MAX}),
                                  .setup = setups[kind % 2],
                                  .status = &status,
                                  .capabilities = capabilities};
    entry(0, 0, kind == 7 ? nullptr : &block);
}

void exportCells() {
    const uintptr_t arguments[7] = {0, 0, setups[0], 0, 0, 0, reinterpret_cast<uintptr_t>(&status)};
    TolvaPictureDescriptor picture = {}, cells = {};
    input->take(&cells, 8);
    cells.palette = filled(input->upTo(900)), cells.bitmap = filled(input->upTo(3000));
    if (depth == 0)
        lpRaster = &settings(0),
        SetDisplayInfo(cells.width, cells.height, cells.resolution, cells.resolution);  // as the call does
    const bool small =
        int64_t{cells.width} * cells.height <= mostPixels && isSmall(cells.width, cells.height, cells.resolution);
    if (depth > 0 || small) ExportCellData(input->byte() % 2 == 0 ? outputName : "", &picture, &cells, arguments);
    GlobalFree(cells.palette), GlobalFree(cells.bitmap);
}

void outputBands() {
    void* block = GlobalLock(GlobalAlloc(66, 1));
    StreamDescriptor descriptor = {reinterpret_cast<intptr_t>(&block), 0, 4096, 0, 0, 0};
    const TolvaHandle stream = zunOpen(nullptr, &descriptor, 0x1001);
    settings(1).exporting.status = &status;
    OutputPicture(stream, &status, answerBands);
    zunClose(stream);
    GlobalFree(GlobalHandle(block));
}

void step() {
    const uint32_t what = input->upTo(15), which = input->upTo(1);
    const auto entry = which == 1 ? dd_entry32 : RASTER_dd_entry32;
    if (what == 0) return init(entry);
    if (what == 1) return static_cast<void>(entry(0, -1, nullptr));
    if (what == 2) return exportCells();
    if (what == 3) return outputBands();
    if (what > 7) return callOpcode(entry);
    Block in = input->bytes(28), out(16);
    TolvaSetup& s = settings(which);
    if (what == 4) input->take(&s.colourMode, offsetof(TolvaSetup, reserve) - offsetof(TolvaSetup, colourMode));
    if (what == 4) s.outputDevice = in[0] % 2 == 0 ? 0 : reinterpret_cast<uintptr_t>(answerStream);
    if (what == 5 && lpEMData != nullptr) lpEMData->errorCapacity = in[0] % 12, lpEMData->replyPosition = in[1] * 10;
    if (what == 6) common.state = in[0] % 3, hCommon = which, lpCommon = in[1] % 2 == 0 ? nullptr : &common;
    if (what == 7) xEscapeSetup(setups[which], in[16], in[17], in[16] == 81 ? nullptr : in.data(), out.data(), 0);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const int file = memfd_create("output", 0);
    std::snprintf(outputName, sizeof outputName, "/proc/self/fd/%d", file);
    Input all(data, size);
    const Block said = all.bytes(all.byte());
    Input callbacks(said.data(), said.size());
    input = &all, answers = &callbacks;
    mostPixels = size % 64 == 0 ? 1 << 18 : 1 << 13;
    status = {.context = 1, .function = answerStatus};
    common = {.state = 1, .status = &status};
    for (TolvaHandle& setup : setups) setup = CreateSetup(0, "/nowhere/at/all.ini", nullptr, 0);
    for (int i = 0; i < 60 && all.left() > 0; ++i) step();
    all.at = all.end, callbacks.at = callbacks.end;
    hCommon = 0, lpCommon = nullptr;
    for (const auto entry : {dd_entry32, RASTER_dd_entry32}) entry(0, -1, nullptr);
    for (const TolvaHandle setup : setups) DestroySetup(setup);
    SetDisplayInfo(0, 0, 0, 0);
    return 0;
}
