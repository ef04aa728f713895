// support.h: what the library's tests share: streams over memory, the plain definition of the file, decoding by an
// independent library, and a host that drives the device.
#ifndef TOLVA_TESTS_SUPPORT_H
#define TOLVA_TESTS_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "driver/driver.h"
#include "output/output.h"
#include "raster/raster.h"
#include "settings/settings.h"
#include "stream/stream.h"

using Bytes = std::vector<uint8_t>;

using SetupBlock = ::Setup;  // the test framework has a Setup of its own

inline std::mt19937 seeded(uint32_t seed) { return std::mt19937(seed); }
inline int upTo(std::mt19937& random, int most) {
    return static_cast<int>(random() % (static_cast<uint32_t>(most) + 1));
}

// A memory stream and what was written to it.
struct MemoryFile {
    void* block = nullptr;
    Handle stream = 0;
};
void openMemory(MemoryFile& file);
Bytes closeMemory(MemoryFile& file);

std::string temporaryPath(const char* name);
Bytes readFile(const std::string& path);
int temporaryFiles();  // how many of the library's stand in /tmp

// Segments by the definition: a linear search, a code at a time into a work buffer of 70000 bytes.
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

// The whole file by the definition.
struct GifOptions {
    bool interlaced = false;
    int transparent = -1;
    int background = 0;
    std::vector<int> segments = {};  // pixel counts of the segments; empty: all in one
};
Bytes plainGif(const Picture& picture, const Bytes& palette, const GifOptions& options);
Bytes inFileOrder(const Picture& picture, bool interlaced);

// Decodes with an independent library where the build has it; otherwise answers the picture given.
Picture decoded(const Bytes& gif, const Picture& otherwise);

// A host. Handlers are reached through the entry, as any host reaches them.
struct Host {
    Handle setup = 0;
    RasterInitBlock init = {};
    StatusRecord status = {};
    int32_t capabilities[kCapabilitySlots] = {};
    SetupBlock* settings() { return static_cast<SetupBlock*>(GlobalLock(setup)); }
};
int32_t startHost(Host& host, const char* fileName, uintptr_t replySize = 64);
int32_t call(Bytes block);
int32_t callOpcode(int32_t opcode);
void endHost(Host& host);

template <class T>
void put(Bytes& block, size_t at, T value) {
    if (block.size() < at + sizeof value) block.resize(at + sizeof value);
    std::memcpy(block.data() + at, &value, sizeof value);
}
Bytes opcodeBlock(int32_t opcode);
Bytes windowBlock(double x2, double y2);
Bytes colourTableBlock(const Bytes& palette, uint32_t first = 0);
Bytes cellBlock(const uint8_t* rows, int width, int height, int bits = 8);

// Opens, sends one picture at `dpi` and closes; the first result that is not 0.
int32_t sendPicture(const Picture& picture, const Bytes& palette, double dpi = 128.0);

struct Outcome {
    int status;
    std::string out;
};
Outcome runProgram(const std::string& commandLine);

#endif
