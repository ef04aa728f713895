// support.h: what the library's tests share: streams over memory, the plain definition of the file, and a host that
// drives the device.
#ifndef TOLVA_TESTS_SUPPORT_H
#define TOLVA_TESTS_SUPPORT_H

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <tolva/driver.h>
#include <tolva/output.h>
#include <tolva/raster.h>
#include <tolva/settings.h>
#include <tolva/stream.h>
#include "programs.h"

using Bytes = std::vector<uint8_t>;

using SetupBlock = TolvaSetup;  // the test framework has a Setup of its own
inline TolvaHandle defaultSetup() { return CreateSetup(0, "/nowhere/at/all.ini", nullptr, 0); }

// Opcodes, as a host has them from the manual. So have the tests all numbers and positions of the protocol: from our
// own headers a wrong one would agree with itself.
constexpr int32_t opOpen = 0x1, opClose = 0x2, opBegin = 0x3, opBody = 0x4, opEnd = 0x5, opWindow = 0x206,
                  opBackground = 0x207, opViewport = 0x208, opScaling = 0x209, opQueryViewport = 0x2fd,
                  opQueryWindow = 0x2ff, opAxc = 0x303, opTran = 0x304, opClpr = 0x305, opClip = 0x306, opCells = 0x409,
                  opPrimitive = 0x40a, opColours = 0x522, opDm = 0x906, opPopErrors = 0xf02, opClearErrors = 0xf03;
constexpr int32_t inInit = 1, inOpen = 2, inBegun = 4, inBody = 8, inEnded = 16;                  // a device's states
constexpr int32_t toRead = 0, toCreate = 0x1001, toDelete = 0x200, toFind = 0x4000, toWrap = -1;  // a stream's modes
constexpr int32_t fromStart = 0, fromCurrent = 1, fromEnd = 2, bufferBytes = 12288;
constexpr uint16_t littleEndian = 0, bigEndian = 1, fixed16_16 = 1;
enum : int32_t { procOpen = 1, procRead, procWrite, procSeek, procClose };  // what a host's procedure is asked
using NativeWords = std::vector<intptr_t>;                                  // of a record of native words

inline int upTo(std::mt19937& random, int most) { return static_cast<int>(random() % (most + 1u)); }

// A memory stream that is written.
struct MemoryFile {
    void* block = GlobalLock(GlobalAlloc(66, 1));
    TolvaHandle stream;
    MemoryFile();
    MemoryFile(const MemoryFile&) = delete;  // the stream knows where the block's address stands
    Bytes close();                           // what was written
};

template <class T = uint8_t>
TolvaHandle handleOf(const std::vector<T>& values) {  // a copy of them
    const TolvaHandle h = GlobalAlloc(66, static_cast<uint32_t>(values.size() * sizeof(T)));
    std::copy(values.begin(), values.end(), static_cast<T*>(GlobalLock(h)));
    return h;
}
Bytes contents(TolvaHandle h);
Bytes taken(TolvaHandle h);  // its contents; the handle is freed

Bytes readFile(const std::string& path);
void save(const std::string& path, const Bytes& bytes);

// Segments by the definition: a pixel and a code at a time, into a work buffer of 70000 bytes.
void plainSegment(Bytes& out, Bytes& work, const uint8_t* pixels, int count, bool first, bool last, uint32_t& carry);

// A picture of 8-bit indices, top row first.
struct Picture {
    int width;
    int height;
    Bytes pixels;
};
Picture noise(int width, int height, int colours, uint32_t seed);
Bytes bottomUp(const Picture& picture);  // rows padded to 4 bytes
Bytes testPalette();                     // 256 triples, all different
uint8_t plainlyNearest(const uint8_t* table, int entries, const uint8_t* colour);

// The whole file by the definition.
struct GifOptions {
    bool interlaced = false;
    std::vector<int> segments = {};  // pixel counts of the segments; empty: all in one
};
std::vector<int> bandSegments(const Picture& picture, int rows);  // one a band
std::vector<int> spoolSegments(const Picture& picture);           // one a buffer-load of each interlace pass
Bytes plainGif(const Picture& picture, const Bytes& palette, const GifOptions& options);
// The pixels that an independent decoder sees, where the build has one; else those given.
Bytes decoded(const Bytes& gif, const Bytes& otherwise = {});

// What a host's status function is called with, and what it answers: `answer`, or 1 from query `stopAt` on.
struct Asked {
    Asked();
    std::vector<std::vector<intptr_t>> calls;  // the address for details as 0
    std::vector<intptr_t> progress;
    int stopAt = INT_MAX;
    intptr_t answer = 0;
    intptr_t detail = 1;                   // the answer to the question for details
    std::function<void()> within = {};     // what the host does meanwhile
    NativeWords record = NativeWords(13);  // the context second, the function third
    TolvaStatusRecord* address() { return reinterpret_cast<TolvaStatusRecord*>(record.data()); }
};

// A host. Handlers are reached through the entry, as any host reaches them.
struct Host {
    TolvaHandle setup = 0;
    NativeWords init = NativeWords(16);
    NativeWords status = NativeWords(13);
    int32_t capabilities[60] = {};
    SetupBlock* settings() { return static_cast<SetupBlock*>(GlobalLock(setup)); }
};
int32_t startHost(Host& host, const char* fileName, uintptr_t replySize = 256);
int32_t call(Bytes block);
int32_t callOpcode(int32_t opcode);
int32_t send(const std::vector<Bytes>& blocks);  // the first result that is not 0
void endHost(Host& host);

// A host after init; its file goes with it.
struct Device {
    Temporary file;
    Host host;
    explicit Device(const std::function<void(SetupBlock&)>& set = {});
    ~Device() { endHost(host); }
    Bytes written() const { return readFile(file.path); }
};

template <class T>
void put(Bytes& block, size_t at, T value) {
    if (block.size() < at + sizeof value) block.resize(at + sizeof value);
    std::memcpy(block.data() + at, &value, sizeof value);
}
Bytes opcodeBlock(int32_t opcode);
Bytes colourTableBlock(const Bytes& palette, uint32_t first = 0);
Bytes cellBlock(const uint8_t* rows, int width, int height, int bits = 8);

// From the device to a picture's body and back; without `dpi` the host tells no scaling.
int32_t openBody(double x2, double y2, double dpi = 0.0);
int32_t closeBody();
int32_t sendPicture(const Picture& picture, double dpi = 128.0);

// The primitives around a collected picture.
Bytes openBlock(int width, int height, int bits);
Bytes closeBlock();
// Rows of any depth, as a host has them.
struct Cells {
    int width, height, bits;
    Bytes rows;
    int stride() const { return rlBytesPerLine(width, bits); }
};
Cells anyCells(int width, int height, int bits);
// Sends `cells` in pieces of `piece` rows between the primitives. By the corners, rows run down or up the bitmap.
int32_t sendCollected(const Cells& cells, int piece, bool upward);
// An export outside a device, with everything it takes.
int32_t exportCells(const Cells& cells, const char* name, TolvaHandle setup, TolvaStatusRecord* status);
// A whole picture to the writer.
int32_t writeInBands(TolvaHandle stream, const Picture& picture, Bytes palette, int bandRows);

#endif
