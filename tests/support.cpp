#include "support.h"

#include <dirent.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#ifdef TOLVA_GIF_ORACLE
#include <gif_lib.h>
#endif

void openMemory(MemoryFile& file) {
    file.block = GlobalLock(GlobalAlloc(kMoveableZeroed, 1));
    StreamDescriptor descriptor = {};
    descriptor.blockRef = reinterpret_cast<intptr_t>(&file.block);
    descriptor.growBy = kUsualGrowth;
    file.stream = zunOpen(nullptr, &descriptor, kCreateAndWrite);
}

Bytes closeMemory(MemoryFile& file) {
    const int32_t length = zunSeek(file.stream, 0, kFromEnd);
    zunClose(file.stream);
    const uint8_t* const data = static_cast<const uint8_t*>(file.block);
    Bytes bytes(data, data + length);
    GlobalFree(GlobalHandle(file.block));
    return bytes;
}

std::string temporaryPath(const char* name) {
    return testing::TempDir() + "tolva_test_" + std::to_string(getpid()) + "_" + name;
}

Bytes readFile(const std::string& path) {
    Bytes bytes;
    FILE* const file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return bytes;
    for (int c; (c = std::fgetc(file)) != EOF;) bytes.push_back(static_cast<uint8_t>(c));
    std::fclose(file);
    return bytes;
}

int temporaryFiles() {
    DIR* const folder = opendir("/tmp");
    int count = 0;
    for (const dirent* entry; (entry = readdir(folder)) != nullptr;) {
        if (std::strlen(entry->d_name) == 11 && std::strncmp(entry->d_name, "tolva", 5) == 0) ++count;
    }
    closedir(folder);
    return count;
}

namespace {

struct PlainEncoder {
    Bytes& out;
    uint8_t* work;
    uint32_t bits;
    uint16_t width = 9;
    uint32_t next = 258;
    uint32_t table[4096] = {};

    void emit(uint32_t code) { LZWPutCode(work, &bits, code, width); }
    void subBlocks(const uint8_t* p, uint32_t n) {
        for (uint32_t k; n > 0; p += k, n -= k) {
            k = n < 254 ? n : 254;
            out.push_back(static_cast<uint8_t>(k));
            out.insert(out.end(), p, p + k);
        }
    }
    void test() {
        if (next == 513 || next == 1025 || next == 2049) ++width;
        if (next != 4090) return;
        emit(256);
        width = 9;
        next = 258;
    }
};

}  // namespace

void plainSegment(Bytes& out, Bytes& workBytes, const uint8_t* pixels, int count, bool first, bool last,
                  uint32_t& carry) {
    workBytes.resize(70000);
    std::fill_n(workBytes.begin(), std::max(std::min(count, 254), 0), uint8_t{0});
    PlainEncoder e{out, workBytes.data(), carry};
    if (carry != 0) {
        e.work[0] = out.back();
        out.pop_back();
    }
    if (first) e.emit(256);
    uint32_t prefix = count > 0 ? pixels[0] : 0;
    uint32_t at = 258;
    for (int i = 1; i < count;) {
        const uint32_t c = pixels[i++];
        const uint32_t key = prefix << 16 | c;
        bool found = false;
        for (; at < e.next; ++at) {
            found = e.table[at] == key;
            if (found) break;
        }
        if (found) prefix = at;
        if (!found || i == count) {
            at = 258;
            e.table[e.next++] = key;
            for (;;) {
                e.emit(prefix);
                e.test();
                prefix = c;
                if (found || i < count) break;
                found = true;
            }
        }
        const uint32_t group = e.bits / 8 / 254 * 254;
        if (group == 0) continue;
        e.subBlocks(e.work, group);
        e.bits -= 8 * group;
        std::fill_n(e.work, 254, uint8_t{0});
        std::memmove(e.work, e.work + group, (e.bits + 7) / 8);
    }
    e.emit(last ? 257 : 256);
    const uint32_t n = last ? (e.bits + 7) / 8 : e.bits / 8;
    carry = last ? 0 : e.bits % 8;
    e.subBlocks(e.work, n);
    if (last) out.push_back(0);
    if (carry != 0) out.push_back(e.work[n]);
}

Picture noise(int width, int height, int colours, uint32_t seed) {
    Picture picture{width, height, Bytes(static_cast<size_t>(width) * static_cast<size_t>(height))};
    std::mt19937 random = seeded(seed);
    for (uint8_t& p : picture.pixels) p = static_cast<uint8_t>(random() % static_cast<uint32_t>(colours));
    return picture;
}

Bytes bottomUp(const Picture& picture) {
    const size_t width = static_cast<size_t>(picture.width);
    const size_t stride = (width + 3) / 4 * 4;
    Bytes rows(stride * static_cast<size_t>(picture.height));
    for (int y = 0; y < picture.height; ++y) {
        std::copy_n(picture.pixels.begin() + static_cast<long>(width) * y, width,
                    rows.begin() + static_cast<long>(stride) * (picture.height - 1 - y));
    }
    return rows;
}

Bytes testPalette() {
    Bytes palette;
    for (int i = 0; i < 256; ++i) {
        for (const int c : {i, 255 - i, (i * 37 + 11) & 255}) palette.push_back(static_cast<uint8_t>(c));
    }
    return palette;
}

Bytes inFileOrder(const Picture& picture, bool interlaced) {
    if (!interlaced) return picture.pixels;
    Bytes ordered;
    for (const auto& [start, step] : {std::pair{0, 8}, {4, 8}, {2, 4}, {1, 2}}) {
        for (int y = start; y < picture.height; y += step) {
            const auto row = picture.pixels.begin() + static_cast<long>(picture.width) * y;
            ordered.insert(ordered.end(), row, row + picture.width);
        }
    }
    return ordered;
}

Bytes plainGif(const Picture& picture, const Bytes& palette, const GifOptions& options) {
    const auto low = [](int v) { return static_cast<uint8_t>(v & 255); };
    const auto high = [](int v) { return static_cast<uint8_t>(v >> 8 & 255); };
    const uint8_t size[] = {low(picture.width), high(picture.width), low(picture.height), high(picture.height)};
    Bytes out = {'G', 'I', 'F', '8', '9', 'a', size[0], size[1], size[2], size[3], 0xF7, low(options.background), 0};
    out.insert(out.end(), palette.begin(), palette.end());
    const bool keyed = options.transparent >= 0;
    out.insert(out.end(), {0x21, 0xF9, 4, keyed, 0, 0, keyed ? low(options.transparent) : uint8_t{0}, 0});
    out.insert(out.end(), {0x2C, 0, 0, 0, 0, size[0], size[1], size[2], size[3]});
    out.push_back(options.interlaced ? 0x40 : 0);
    out.push_back(8);
    const Bytes pixels = inFileOrder(picture, options.interlaced);
    std::vector<int> segments = options.segments;
    if (segments.empty()) segments = {static_cast<int>(pixels.size())};
    uint32_t carry = 0;
    Bytes work;
    size_t done = 0;
    for (size_t i = 0; i < segments.size(); ++i) {
        if (!options.interlaced) work.assign(work.size(), 0);  // each band brings its own
        plainSegment(out, work, pixels.data() + done, segments[i], i == 0, i + 1 == segments.size(), carry);
        done += static_cast<size_t>(segments[i]);
    }
    out.push_back(0x3B);
    return out;
}

#ifdef TOLVA_GIF_ORACLE
namespace {
struct Reading {
    const Bytes* bytes;
    size_t at;
};
}  // namespace

Picture decoded(const Bytes& gif, const Picture&) {
    Reading reading = {&gif, 0};
    const InputFunc read = [](GifFileType* file, GifByteType* to, int count) {
        Reading& r = *static_cast<Reading*>(file->UserData);
        const size_t n = std::min(static_cast<size_t>(count), r.bytes->size() - r.at);
        std::copy_n(r.bytes->begin() + static_cast<long>(r.at), n, to);
        r.at += n;
        return static_cast<int>(n);
    };
    int error = 0;
    GifFileType* const file = DGifOpen(&reading, read, &error);
    Picture picture = {};
    if (file != nullptr && DGifSlurp(file) == GIF_OK && file->ImageCount == 1) {
        const SavedImage& image = file->SavedImages[0];
        const int width = image.ImageDesc.Width;
        const int height = image.ImageDesc.Height;
        picture = {width, height, Bytes(image.RasterBits, image.RasterBits + width * height)};
    }
    if (file != nullptr) DGifCloseFile(file, &error);
    return picture;
}
#else
Picture decoded(const Bytes&, const Picture& otherwise) { return otherwise; }
#endif

int32_t startHost(Host& host, const char* fileName, uintptr_t replySize) {
    if (host.setup == 0) host.setup = CreateSetup(0, "/nowhere/at/all.ini", nullptr, 0);
    host.init.fileName = fileName;
    host.init.replySize = replySize;
    host.init.setup = host.setup;
    host.init.status = &host.status;
    host.init.capabilities = host.capabilities;
    return RASTER_dd_entry32(0, kFuncInit, &host.init);
}

int32_t call(Bytes block) { return RASTER_dd_entry32(0, kFuncCall, block.data()); }
int32_t callOpcode(int32_t opcode) { return call(opcodeBlock(opcode)); }

void endHost(Host& host) {
    RASTER_dd_entry32(0, kFuncTerm, nullptr);
    DestroySetup(host.setup);
    host.setup = 0;
}

Bytes opcodeBlock(int32_t opcode) {
    Bytes block(128);
    put(block, kBlockOpcode, opcode);
    return block;
}

Bytes windowBlock(double x2, double y2) {
    Bytes block = opcodeBlock(kOpSetWindow);
    put(block, kBlockData + 3 * sizeof(double), x2);
    put(block, kBlockData + 4 * sizeof(double), y2);
    return block;
}

Bytes colourTableBlock(const Bytes& palette, uint32_t first) {
    Bytes block = opcodeBlock(kOpSetColourTable);
    put(block, kTableLength, static_cast<uint32_t>(palette.size() + 2));
    put(block, kTableFirst, first);
    block.resize(kTableColours);
    block.insert(block.end(), palette.begin(), palette.end());
    return block;
}

Bytes cellBlock(const uint8_t* rows, int width, int height, int bits) {
    Bytes block = opcodeBlock(kOpCellArray);
    put(block, kCellSecondY, static_cast<double>(height));
    put(block, kCellsPerRow, width);
    put(block, kCellRows, height);
    put(block, kCellBits, bits == 1 ? kOneBitCells : -bits);
    put(block, kCellData, rows);
    return block;
}

int32_t sendPicture(const Picture& picture, const Bytes& palette, double dpi) {
    const Bytes rows = bottomUp(picture);
    Bytes scaling = opcodeBlock(kOpSetScaling);
    put(scaling, kScalingMode, int16_t{dpi == 0.0 ? int16_t{0} : int16_t{1}});
    put(scaling, kScalingUnit, dpi == 0.0 ? 0.0 : 25.4 / dpi);
    int32_t result = 0;
    for (const Bytes& block : {opcodeBlock(kOpOpenDevice), opcodeBlock(kOpBeginPicture),
                               windowBlock(picture.width - 1, picture.height - 1), scaling, opcodeBlock(kOpBeginBody),
                               colourTableBlock(palette), cellBlock(rows.data(), picture.width, picture.height),
                               opcodeBlock(kOpEndPicture), opcodeBlock(kOpCloseDevice)}) {
        const int32_t answer = call(block);
        if (result == 0) result = answer;
    }
    return result;
}

Outcome runProgram(const std::string& commandLine) {
    Outcome outcome = {-1, ""};
    FILE* const pipe = popen(commandLine.c_str(), "r");
    if (pipe == nullptr) return outcome;
    for (int c; (c = std::fgetc(pipe)) != EOF;) outcome.out.push_back(static_cast<char>(c));
    outcome.status = pclose(pipe);
    return outcome;
}
