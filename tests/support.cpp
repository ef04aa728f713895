#include "support.h"

#include "gif_oracle.h"

#include <unistd.h>

#include <map>

MemoryFile::MemoryFile() {
    StreamDescriptor descriptor = {};
    descriptor.blockRef = reinterpret_cast<intptr_t>(&block);
    descriptor.growBy = 4096;
    stream = zunOpen(nullptr, &descriptor, toCreate);
}

Bytes MemoryFile::close() {
    const int32_t length = zunSeek(stream, 0, fromEnd);
    zunClose(stream);
    Bytes bytes = taken(GlobalHandle(block));
    bytes.resize(length);
    return bytes;
}

Bytes contents(TolvaHandle h) {
    const uint8_t* const data = static_cast<const uint8_t*>(GlobalLock(h));
    return Bytes(data, data + GlobalSize(h));
}

Bytes taken(TolvaHandle h) {
    const Bytes bytes = contents(h);
    GlobalFree(h);
    return bytes;
}

Bytes readFile(const std::string& path) {
    const std::string text = textOf(path);
    return Bytes(text.begin(), text.end());
}

void save(const std::string& path, const Bytes& bytes) { save(path, std::string(bytes.begin(), bytes.end())); }

void plainSegment(Bytes& out, Bytes& work, const uint8_t* pixels, int count, bool first, bool last, uint32_t& carry) {
    constexpr uint32_t kClear = 256, kEnd = 257, kFirstFree = 258, kFull = 4090;
    uint32_t bits = carry, next = kFirstFree, string = count > 0 ? pixels[0] : 0;  // strings are told by their codes
    uint16_t width = 9;
    std::map<uint32_t, uint32_t> codes;  // by a shorter string's code and a pixel
    const auto emit = [&](uint32_t code) { LZWPutCode(work.data(), &bits, code, width); };
    const auto put = [&](uint32_t code) {  // and what is done behind each string
        emit(code);
        if (next == 513 || next == 1025 || next == 2049) ++width;
        if (next < kFull) return;
        emit(kClear);
        width = 9;
        next = kFirstFree;
        codes.clear();
    };
    const auto flush = [&](uint32_t count) {
        for (uint32_t at = 0, n = 0; at < count; at += n) {
            n = std::min(count - at, 254u);
            out.push_back(static_cast<uint8_t>(n));
            out.insert(out.end(), work.begin() + at, work.begin() + at + n);
        }
    };
    work.resize(70000);
    std::fill_n(work.begin(), std::clamp(count, 0, 254), uint8_t{0});
    if (carry != 0) {
        work[0] = out.back();
        out.pop_back();
    }
    if (first) emit(kClear);
    for (int i = 1; i < count; ++i) {
        const bool atEnd = i + 1 == count;
        const uint32_t longer = string << 16 | pixels[i];
        const bool found = codes.contains(longer);
        if (found) string = codes[longer];
        if (found && !atEnd) continue;
        codes.emplace(longer, next++);  // kept: what was found uses up a code too
        put(string);
        string = pixels[i];
        if (!found && atEnd) put(string);  // kept: the width is tested again though nothing was entered
        const uint32_t group = bits / 8 / 254 * 254;
        if (group == 0) continue;
        flush(group);
        bits -= 8 * group;
        std::fill_n(work.begin(), 254, uint8_t{0});
        std::memmove(work.data(), work.data() + group, (bits + 7) / 8);
    }
    emit(last ? kEnd : kClear);
    const uint32_t n = last ? (bits + 7) / 8 : bits / 8;
    carry = last ? 0 : bits % 8;
    flush(n);
    if (last) out.push_back(0);
    if (carry != 0) out.push_back(work[n]);
}

Picture noise(int width, int height, int colours, uint32_t seed) {
    Picture picture{width, height, Bytes(width * height)};
    std::mt19937 random(seed);
    for (uint8_t& p : picture.pixels) p = upTo(random, colours - 1);
    return picture;
}

Bytes bottomUp(const Picture& picture) {
    const int stride = (picture.width + 3) / 4 * 4;
    Bytes rows(stride * picture.height);
    for (int y = 0; y < picture.height; ++y) {
        std::copy_n(picture.pixels.begin() + picture.width * y, picture.width,
                    rows.begin() + stride * (picture.height - 1 - y));
    }
    return rows;
}

Bytes testPalette() {
    Bytes palette;
    for (int i = 0; i < 256; ++i) {
        for (const int c : {i, 255 - i, (i * 37 + 11) & 255}) palette.push_back(c);
    }
    return palette;
}

uint8_t plainlyNearest(const uint8_t* table, int entries, const uint8_t* colour) {
    int best = 0, least = INT_MAX;
    for (int i = 0; i < entries; ++i) {
        int distance = 0;
        for (int k = 0; k < 3; ++k) distance += (table[3 * i + k] - colour[k]) * (table[3 * i + k] - colour[k]);
        if (distance < least) best = i;
        least = std::min(least, distance);
    }
    return static_cast<uint8_t>(best);
}

const std::vector<std::pair<int, int>> kPasses = {
    {0, 8}, {4, 8}, {2, 4}, {1, 2}};  // of an interlaced file: start, step

std::vector<int> bandSegments(const Picture& picture, int rows) {
    std::vector<int> segments;
    for (int left = picture.height; left > 0; left -= rows) segments.push_back(std::min(rows, left) * picture.width);
    return segments;
}

std::vector<int> spoolSegments(const Picture& picture) {
    std::vector<int> segments;
    const int most = 65536 / picture.width;
    for (const auto& [start, step] : kPasses) {
        if (start >= picture.height) break;
        for (int rows = (picture.height - start + step - 1) / step; rows > 0; rows -= most) {
            segments.push_back(std::min(rows, most) * picture.width);
        }
    }
    return segments;
}

Bytes plainGif(const Picture& picture, const Bytes& palette, const GifOptions& options) {
    const int width = picture.width, height = picture.height;
    Bytes out = {'G', 'I', 'F', '8', '9', 'a'};
    const auto add = [&out](std::initializer_list<int> bytes) {
        for (const int byte : bytes) out.push_back(static_cast<uint8_t>(byte));
    };
    add({width, width >> 8, height, height >> 8, 0xF7, 0, 0});
    out.insert(out.end(), palette.begin(), palette.end());
    add({0x21, 0xF9, 4, 0, 0, 0, 0, 0});
    add({0x2C, 0, 0, 0, 0, width, width >> 8, height, height >> 8, options.interlaced ? 0x40 : 0, 8});
    Bytes pixels;
    for (const auto& [start, step] : options.interlaced ? kPasses : std::vector{std::pair{0, 1}}) {
        for (int y = start; y < height; y += step) {
            const auto row = picture.pixels.begin() + width * y;
            pixels.insert(pixels.end(), row, row + width);
        }
    }
    std::vector<int> segments = options.segments;
    if (segments.empty()) segments = {width * height};
    uint32_t carry = 0;
    Bytes work;
    const uint8_t* next = pixels.data();
    for (size_t i = 0; i < segments.size(); next += segments[i++]) {
        if (!options.interlaced) work.assign(work.size(), 0);  // each band brings its own
        plainSegment(out, work, next, segments[i], i == 0, i + 1 == segments.size(), carry);
    }
    out.push_back(0x3B);
    return out;
}

Bytes decoded([[maybe_unused]] const Bytes& gif, const Bytes& otherwise) {
#ifdef TOLVA_GIF_ORACLE
    const Temporary file;
    save(file.path, gif);
    return seenIn(file.path).pixels;
#endif
    return otherwise;
}

Asked::Asked() {
    const TolvaStatusFunction answered = [](intptr_t context, intptr_t a, intptr_t b, intptr_t c, intptr_t d,
                                            intptr_t e, intptr_t f) -> intptr_t {
        Asked& asked = *reinterpret_cast<Asked*>(context);
        const bool details = a == 2;
        EXPECT_EQ(details, f != 0);
        if (asked.within) asked.within();
        asked.calls.push_back({a, b, c, d, e, details ? 0 : f});
        if (details) return asked.detail;
        asked.progress.push_back(d);
        return static_cast<int>(asked.progress.size()) > asked.stopAt ? 1 : asked.answer;
    };
    record[1] = reinterpret_cast<intptr_t>(this);
    record[2] = reinterpret_cast<intptr_t>(answered);
}

int32_t startHost(Host& host, const char* fileName, uintptr_t replySize) {
    if (host.setup == 0) host.setup = defaultSetup();
    host.init[3] = reinterpret_cast<intptr_t>(fileName);
    host.init[9] = replySize;
    host.init[13] = host.setup;
    host.init[14] = reinterpret_cast<intptr_t>(host.status.data());
    host.init[15] = reinterpret_cast<intptr_t>(host.capabilities);
    return RASTER_dd_entry32(0, 0, host.init.data());
}

int32_t call(Bytes block) { return RASTER_dd_entry32(0, 2, block.data()); }
int32_t callOpcode(int32_t opcode) { return call(opcodeBlock(opcode)); }

int32_t send(const std::vector<Bytes>& blocks) {
    int32_t result = 0;
    for (const Bytes& block : blocks) {
        const int32_t answer = call(block);
        if (result == 0) result = answer;
    }
    return result;
}

void endHost(Host& host) {
    RASTER_dd_entry32(0, -1, nullptr);
    DestroySetup(host.setup);
    host.setup = 0;
}

Device::Device(const std::function<void(SetupBlock&)>& set) {
    host.setup = defaultSetup();
    if (set) set(*host.settings());
    EXPECT_EQ(startHost(host, file), 0);
}

Bytes opcodeBlock(int32_t opcode) {
    Bytes block(128);
    put(block, 0, opcode);
    return block;
}

Bytes colourTableBlock(const Bytes& palette, uint32_t first) {
    Bytes block = opcodeBlock(opColours);
    put(block, 4, static_cast<uint32_t>(palette.size() + 2));
    put(block, 16, first);
    block.resize(20);
    block.insert(block.end(), palette.begin(), palette.end());
    return block;
}

Bytes cellBlock(const uint8_t* rows, int width, int height, int bits) {
    Bytes block = opcodeBlock(opCells);
    put(block, 48, static_cast<double>(height));
    put(block, 88, width);
    put(block, 92, height);
    put(block, 96, bits == 1 ? -32768 : -bits);
    put(block, 102, rows);
    return block;
}

int32_t openBody(double x2, double y2, double dpi) {
    Bytes window = opcodeBlock(opWindow), scaling = opcodeBlock(opScaling);
    put(window, 16 + 3 * sizeof(double), x2);
    put(window, 16 + 4 * sizeof(double), y2);
    put(scaling, 16, int16_t{1});
    put(scaling, 24, dpi == 0.0 ? 0.0 : 25.4 / dpi);
    return send({opcodeBlock(opOpen), opcodeBlock(opBegin), window, scaling, opcodeBlock(opBody),
                 colourTableBlock(testPalette())});
}

int32_t closeBody() { return send({opcodeBlock(opEnd), opcodeBlock(opClose)}); }

int32_t sendPicture(const Picture& picture, double dpi) {
    const Bytes rows = bottomUp(picture);
    const int32_t opened = openBody(picture.width - 1, picture.height - 1, dpi);
    const int32_t drawn = call(cellBlock(rows.data(), picture.width, picture.height));
    return std::max({opened, drawn, closeBody()});
}

Bytes openBlock(int width, int height, int bits) {
    Bytes block = opcodeBlock(opPrimitive);
    put(block, 16, int32_t{-5});
    put(block, 20, 1);
    const size_t data = 24 + 24 + 4;
    put(block, data - 4, int32_t{28});
    put(block, data, width);
    put(block, data + 4, height);
    put(block, data + 8, bits == 1 ? int32_t{-32768} : bits);
    return block;
}

Bytes closeBlock() {
    Bytes block = opcodeBlock(opPrimitive);
    put(block, 16, int32_t{-6});
    return block;
}

Cells anyCells(int width, int height, int bits) {
    Cells cells = {width, height, bits, {}};
    cells.rows = noise(cells.stride(), height, 256, bits).pixels;
    return cells;
}

int32_t sendCollected(const Cells& cells, int piece, bool upward) {
    const int32_t opened = openBody(cells.width - 1, cells.height - 1, 128);
    std::vector<Bytes> blocks = {openBlock(cells.width + 5, cells.height, cells.bits)};
    for (int y = 0; y < cells.height; y += piece) {
        blocks.push_back(cellBlock(cells.rows.data() + cells.stride() * y, cells.width, piece, cells.bits));
        if (upward) put(blocks.back(), 48, -1.0);
    }
    blocks.push_back(closeBlock());
    return std::max({opened, send(blocks), closeBody()});
}

int32_t exportCells(const Cells& cells, const char* name, TolvaHandle setup, TolvaStatusRecord* status) {
    Bytes palette = testPalette();
    palette.resize(cells.bits < 24 ? 3 << cells.bits : 3);
    TolvaPictureDescriptor descriptor = {};
    descriptor.depth = cells.bits;
    descriptor.width = cells.width;
    descriptor.height = cells.height;
    descriptor.resolution = 128;
    descriptor.palette = cells.bits < 24 ? handleOf(palette) : 0;
    descriptor.bitmap = handleOf(cells.rows);
    TolvaPictureDescriptor information = {};
    const uintptr_t arguments[] = {0, 0, setup, 0, 0, 0, reinterpret_cast<uintptr_t>(status)};
    const int32_t result = ExportCellData(name, &information, &descriptor, arguments);
    EXPECT_TRUE(result != 0 || information.fullHeight == cells.height);
    GlobalFree(descriptor.palette);
    GlobalFree(descriptor.bitmap);
    return result;
}

int32_t writeInBands(TolvaHandle stream, const Picture& picture, Bytes palette, int bandRows) {
    TolvaHandle state = 0;
    EXPECT_EQ(BeginCellBitmap(stream, picture.width, picture.height, 8, palette.data(), &state), -1);
    int32_t result = 0;
    for (int row = 0; row < picture.height; row += bandRows) {
        const int rows = std::min(bandRows, picture.height - row);
        const auto top = picture.pixels.begin() + picture.width * row;
        const TolvaHandle band = handleOf(bottomUp({picture.width, rows, Bytes(top, top + picture.width * rows)}));
        result = std::max(result, WriteCellBits(stream, band, picture.width, rows, 8, 0, state));
        GlobalFree(band);
    }
    return std::max(result, EndCellBitmap(stream, state));
}
