// same.cpp: exports drawn pictures through one libtolva.so, on every way and in every mode, and prints a sum for each
// file. bench/same runs it with two libraries and compares. Everything is looked up and laid out by hand, in native
// words, so that the same program drives builds whose headers differ (64-bit builds alone: positions are theirs).
//
// usage: same LIBRARY FOLDER PICTURES [PICTURE]    with PICTURE, that one alone, and its files are left in FOLDER
//        same - FOLDER PICTURES                    writes them to FOLDER, greys and colours, for the programs

#include <dlfcn.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;
using Word = intptr_t;
using Random = std::mt19937;
using Callback = Word (*)(Word, Word, Word, Word);

struct Library {
    int (*entry)(Word, int16_t, void*);
    Word (*createSetup)(Word, const char*, const char*, Word);
    int (*destroySetup)(Word);
    Word (*alloc)(uint32_t, uint32_t);
    void* (*lock)(Word);
    Word (*release)(Word);
    Word (*open)(const char*, void*, int32_t);
    int (*close)(Word);
    int (*outputPicture)(Word, void*, Callback);
    int (*exportCells)(const char*, void*, const void*, const void*);
    void (*writeCells)(Word, int32_t, int32_t, int32_t, int16_t, int16_t);
    void (*setDisplay)(double, double, int16_t, int16_t);
} lib;

template <class F>
void find(void* library, const char* name, F& function) {
    function = reinterpret_cast<F>(dlsym(library, name));
    if (function != nullptr) return;
    std::fprintf(stderr, "%s is missing\n", name);
    std::exit(2);
}

void load(const char* path) {
    void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) std::fprintf(stderr, "%s\n", dlerror()), std::exit(2);
    find(library, "RASTER_dd_entry32", lib.entry);
    find(library, "CreateSetup", lib.createSetup);
    find(library, "DestroySetup", lib.destroySetup);
    find(library, "GlobalAlloc", lib.alloc);
    find(library, "GlobalLock", lib.lock);
    find(library, "GlobalFree", lib.release);
    find(library, "zunOpen", lib.open);
    find(library, "zunClose", lib.close);
    find(library, "OutputPicture", lib.outputPicture);
    find(library, "ExportCellData", lib.exportCells);
    find(library, "RasterWriteCellData", lib.writeCells);
    find(library, "SetDisplayInfo", lib.setDisplay);
}

template <class T>
void put(void* block, size_t at, T value) {
    std::memcpy(static_cast<uint8_t*>(block) + at, &value, sizeof value);
}

int upTo(Random& random, int most) { return static_cast<int>(random() % (most + 1u)); }
template <class T, size_t N>
T oneOf(Random& random, const T (&values)[N]) {
    return values[random() % N];
}

// ---- Pictures ----

struct Picture {
    int width, height, bits;
    Bytes rows;     // bottom row first, padded to 4 bytes
    Bytes palette;  // 256 triples
};

int strideOf(int width, int bits) { return ((width * bits + 7) / 8 + 3) / 4 * 4; }

int extent(Random& random) { return 1 + (upTo(random, 9) == 0 ? upTo(random, 6) : upTo(random, 160)); }

// Noise, few colours, flat areas, gradients, blobs: what encoders, reducers and matchers take different paths for.
Picture draw(Random& random) {
    Picture p = {extent(random), extent(random), oneOf(random, {1, 4, 8, 8, 24, 24, 24, 32}), {}, {}};
    if (upTo(random, 59) == 0) p.width = 700, p.height = 500 + upTo(random, 9);  // spooled to a file
    const int kind = upTo(random, 4), few = 1 + upTo(random, 15), steps = 1 + upTo(random, 40);
    const int stride = strideOf(p.width, p.bits);
    p.rows.resize(static_cast<size_t>(stride) * p.height);
    for (size_t i = 0; i < p.rows.size(); ++i) {
        const int x = static_cast<int>(i) % stride, y = static_cast<int>(i) / stride;
        const int channel = p.bits >= 24 ? x % (p.bits / 8) : 0;
        const int values[] = {static_cast<int>(random()), upTo(random, few) * 37, x / steps * 16 + y / steps,
                              (x + y * (channel + 1)) / 2, (x * x + y * y * (channel + 1)) / (steps * 8)};
        p.rows[i] = static_cast<uint8_t>(values[kind]);
    }
    const bool greys = upTo(random, 3) == 0;
    for (int i = 0; i < 256; ++i) {
        for (int c = 0; c < 3; ++c) p.palette.push_back(static_cast<uint8_t>(greys ? i : random()));
    }
    return p;
}

// ---- Settings ----

struct File {  // of the host's own
    Bytes bytes;
    size_t at;
};

Word serve(Word instance, Word operation, Word a, Word b) {
    File& file = *reinterpret_cast<File*>(instance);
    const size_t count = static_cast<size_t>(b);
    if (operation == 1) return instance;
    if (operation == 2) {
        const size_t got = std::min(count, file.bytes.size() - file.at);
        std::memcpy(reinterpret_cast<void*>(a), file.bytes.data() + file.at, got);
        file.at += got;
        return static_cast<Word>(got);
    }
    if (operation == 3) {
        if (file.bytes.size() < file.at + count) file.bytes.resize(file.at + count);
        std::memcpy(file.bytes.data() + file.at, reinterpret_cast<void*>(a), count);
        file.at += count;
        return b;
    }
    if (operation != 4) return 0;
    const int32_t offset = *reinterpret_cast<int32_t*>(a);
    const size_t from[] = {0, file.at, file.bytes.size()};
    return static_cast<Word>(file.at = from[b] + static_cast<size_t>(offset));
}

uint64_t asked;
Word answer(Word, Word a, Word b, Word c, Word d, Word, Word) {
    for (const Word word : {a, b, c, d}) asked = (asked ^ static_cast<uint64_t>(word)) * 0x100000001b3;
    return 0;
}

Word makeSetup(Random& random, bool throughHost) {
    const Word h = lib.createSetup(0, "/nowhere/at/all.ini", nullptr, 0);
    void* const setup = lib.lock(h);
    put<int32_t>(setup, 616, upTo(random, 2) == 0 ? 103 + upTo(random, 4) : 103);
    if (throughHost) put(setup, 624, &serve);
    for (size_t i = 0; i < 3; ++i) put(setup, 632 + i, static_cast<uint8_t>(random()));
    put<int32_t>(setup, 640, upTo(random, 1) == 0 ? 602 : 600 + upTo(random, 3));
    put<int32_t>(setup, 644, upTo(random, 1) == 0 ? 309 : 307 + upTo(random, 3));
    put(setup, 648, static_cast<int16_t>(32 + upTo(random, 80)));
    put(setup, 650, static_cast<int16_t>(32 + upTo(random, 80)));
    put(setup, 656, 0.05 + upTo(random, 400) / 100.0);
    put(setup, 664, 0.05 + upTo(random, 400) / 100.0);
    put<int32_t>(setup, 672, upTo(random, 2) == 0 ? 715 : 0);
    put<int32_t>(setup, 676, upTo(random, 2) == 0 ? 719 : 0);
    for (size_t i = 0; i < 3; ++i) put(setup, 680 + i, static_cast<uint8_t>(random()));
    put<int32_t>(setup, 684, upTo(random, 2) == 0 ? 728 : 0);
    lib.setDisplay(100 + upTo(random, 300), 100 + upTo(random, 300), 72, 72);
    return h;
}

Word handleOf(const Bytes& bytes) {
    const Word h = lib.alloc(66, static_cast<uint32_t>(bytes.size()));
    if (!bytes.empty()) std::memcpy(lib.lock(h), bytes.data(), bytes.size());
    return h;
}

// ---- The ways ----

enum Way { kCells, kInlineCells, kModelCells, kBracket, kExport, kBands, kWays };
const char* const kWayNames[] = {"cells", "inline cells", "cells by name", "bracket", "export", "bands"};

struct Order {
    const Picture& picture;
    Way way;
    const char* fileName;
    Word setup;
    Word* status;
    int dpi;
    int bandRows;
    int model;
};

int call(Bytes block) { return lib.entry(0, 2, block.data()); }
Bytes opcode(int32_t number, size_t bytes = 128) {
    Bytes block(bytes);
    put(block.data(), 0, number);
    return block;
}

int sendRows(const Order& order, int first, int rows, bool isInline) {
    const Picture& p = order.picture;
    const size_t stride = static_cast<size_t>(strideOf(p.width, p.bits));
    const uint8_t* const data = p.rows.data() + stride * first;
    Bytes block = opcode(0x409, isInline ? 102 + stride * rows : 128);
    put(block.data(), 48, p.height - 1.0);
    put<int32_t>(block.data(), 88, p.width);
    put<int32_t>(block.data(), 92, rows);
    put<int32_t>(block.data(), 96, isInline ? p.bits : p.bits == 1 ? -32768 : -p.bits);
    if (isInline) {
        std::memcpy(block.data() + 102, data, stride * rows);
    } else {
        put(block.data(), 102, data);
    }
    return call(block);
}

int sendBracket(const Order& order) {
    Bytes open = opcode(0x40a);
    put<int32_t>(open.data(), 16, -5);
    put<int32_t>(open.data(), 24, 28);
    put<int32_t>(open.data(), 28, order.picture.width);
    put<int32_t>(open.data(), 32, order.picture.height);
    put<int32_t>(open.data(), 36, order.picture.bits);
    int result = call(open);
    for (int y = 0; y < order.picture.height; y += order.bandRows) {
        result = result * 31 + sendRows(order, y, std::min(order.bandRows, order.picture.height - y), false);
    }
    Bytes close = opcode(0x40a);
    put<int32_t>(close.data(), 16, -6);
    return result * 31 + call(close);
}

int driveDevice(const Order& order) {
    const Picture& p = order.picture;
    int32_t capabilities[60] = {};
    Word init[16] = {};
    init[3] = reinterpret_cast<Word>(order.fileName);
    init[9] = 64;
    init[13] = order.setup;
    init[14] = reinterpret_cast<Word>(order.status);
    init[15] = reinterpret_cast<Word>(capabilities);
    int result = lib.entry(0, 0, init);
    Bytes window = opcode(0x206), scaling = opcode(0x209), table = opcode(0x522, 20);
    put(window.data(), 40, p.width - 1.0);
    put(window.data(), 48, p.height - 1.0);
    put<int16_t>(scaling.data(), 16, 1);
    put(scaling.data(), 24, order.dpi == 0 ? 0.0 : 25.4 / order.dpi);
    put<int32_t>(table.data(), 4, 2 + 768);
    table.insert(table.end(), p.palette.begin(), p.palette.end());
    for (const Bytes& block : {opcode(1), opcode(3), window, scaling, opcode(4), table}) {
        result = result * 31 + call(block);
    }
    if (order.way == kBracket) {
        result = result * 31 + sendBracket(order);
    } else if (order.way == kModelCells) {
        const Word bitmap = handleOf(p.rows);
        lib.writeCells(bitmap, p.width, p.height, order.dpi, static_cast<int16_t>(p.bits),
                       static_cast<int16_t>(order.model));
        lib.release(bitmap);
    } else {
        result = result * 31 + sendRows(order, 0, p.height, order.way == kInlineCells);
    }
    for (const Bytes& block : {opcode(5), opcode(2)}) result = result * 31 + call(block);
    return result * 31 + lib.entry(0, -1, nullptr);
}

int exportWhole(const Order& order) {
    const Picture& p = order.picture;
    uint8_t cells[40] = {}, information[40] = {};
    put(cells, 0, static_cast<int16_t>(p.bits));
    put(cells, 2, static_cast<uint16_t>(p.width));
    put(cells, 4, static_cast<uint16_t>(p.height));
    put(cells, 6, static_cast<int16_t>(order.dpi));
    put(cells, 8, static_cast<double>(p.width));
    put(cells, 16, static_cast<double>(p.height));
    const Word palette = handleOf(p.palette), bitmap = handleOf(p.rows);
    put(cells, 24, palette);
    put(cells, 32, bitmap);
    std::memcpy(information, cells, sizeof cells);
    const Word arguments[7] = {0, 0, order.setup, 0, 0, 0, reinterpret_cast<Word>(order.status)};
    const int result = lib.exportCells(order.fileName, information, cells, arguments);
    lib.release(palette);
    lib.release(bitmap);
    return result;
}

// The bands of a host: 8-bit rows, made from the picture's bytes, whatever size is asked for.
struct Bands {
    const Order* order;
    int width;
    Word band;
} bands;

Word drawBand(Word operation, Word record, Word a, Word b) {
    const Picture& p = bands.order->picture;
    if (operation == 0) {
        void* const query = reinterpret_cast<void*>(a);
        const double perInch = bands.order->dpi == 0 ? 1.0 : bands.order->dpi;
        put(query, 0, p.width / perInch);
        put(query, 8, p.height / perInch);
        put<int32_t>(query, 16, bands.order->dpi);
    }
    if (operation == 1) {
        std::memcpy(&bands.width, reinterpret_cast<uint8_t*>(record) + 32, sizeof bands.width);
        std::memcpy(*reinterpret_cast<void**>(record + 24), p.palette.data(), p.palette.size());
        return bands.order->bandRows;
    }
    if (operation == 3) {
        lib.release(bands.band);
        const size_t stride = static_cast<size_t>(strideOf(bands.width, 8));
        Bytes rows(stride * static_cast<size_t>(b - a));
        for (size_t i = 0; i < rows.size(); ++i)
            rows[i] = p.rows[(i + stride * static_cast<size_t>(a)) % p.rows.size()];
        return bands.band = handleOf(rows);
    }
    return 0;
}

int drawBands(const Order& order, File* own) {
    Word descriptor[6] = {reinterpret_cast<Word>(own), 0, 0, 0, reinterpret_cast<Word>(&serve), 0};
    const Word stream = lib.open(order.fileName, own != nullptr ? descriptor : nullptr, 0x1001);
    bands = {&order, 0, 0};
    const int result = lib.outputPicture(stream, &bands, drawBand);
    lib.release(bands.band);
    return result * 31 + lib.close(stream);
}

// ---- One file ----

Bytes readFile(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

void exportOne(const Picture& picture, int number, Way way, const std::string& folder, bool keeps) {
    Random random(static_cast<uint32_t>(number * kWays + way));
    File own = {};
    const bool throughHost = upTo(random, 2) == 0;
    const std::string path = folder + "/" + std::to_string(number) + "-" + std::to_string(way) + ".gif";
    Word status[13] = {0, 1, reinterpret_cast<Word>(&answer)};
    status[12] = reinterpret_cast<Word>(&own);
    const Word setup = makeSetup(random, throughHost);
    const Order order = {picture,
                         way,
                         path.c_str(),
                         setup,
                         status,
                         oneOf(random, {0, 72, 96, 128}),
                         1 + upTo(random, picture.height),
                         upTo(random, 3)};
    asked = 0xcbf29ce484222325;
    const int result = way == kExport  ? exportWhole(order)
                       : way == kBands ? drawBands(order, throughHost ? &own : nullptr)
                                       : driveDevice(order);
    const Bytes gif = throughHost ? own.bytes : readFile(path.c_str());
    uint64_t sum = 0xcbf29ce484222325;
    for (const uint8_t byte : gif) sum = (sum ^ byte) * 0x100000001b3;
    std::printf("%d %s: %d x %d x %d, results %x, asked %016llx, %zu bytes %016llx\n", number, kWayNames[way],
                picture.width, picture.height, picture.bits, static_cast<unsigned>(result),
                static_cast<unsigned long long>(asked), gif.size(), static_cast<unsigned long long>(sum));
    lib.destroySetup(setup);
    if (keeps && throughHost)
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<char*>(own.bytes.data()), static_cast<std::streamsize>(own.bytes.size()));
    if (!keeps) unlink(path.c_str());
}

void writePicture(const Picture& p, const std::string& path) {
    const int channels = p.bits / 8;
    std::ofstream file(path, std::ios::binary);
    file << (channels == 1 ? "P5\n" : "P6\n") << p.width << " " << p.height << "\n255\n";
    for (int y = p.height; y-- > 0;) {
        file.write(reinterpret_cast<const char*>(p.rows.data()) + strideOf(p.width, p.bits) * y, p.width * channels);
    }
}

}  // namespace

int main(int count, char** words) {
    if (count < 4) return 2;
    const bool draws = std::strcmp(words[1], "-") == 0;
    if (!draws) load(words[1]);
    const int pictures = std::atoi(words[3]);
    const int only = count > 4 ? std::atoi(words[4]) : -1;
    for (int number = 0; number < pictures; ++number) {
        if (only >= 0 && number != only) continue;
        Random random(static_cast<uint32_t>(number) + 1000000);
        const Picture picture = draw(random);
        if (draws && (picture.bits == 8 || picture.bits == 24)) {
            writePicture(picture, words[2] + ("/" + std::to_string(number)) + ".pnm");
        }
        for (int way = 0; !draws && way < kWays; ++way)
            exportOne(picture, number, static_cast<Way>(way), words[2], only >= 0);
        std::fflush(stdout);
    }
    return 0;
}
