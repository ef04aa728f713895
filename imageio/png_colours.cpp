// png_colours.cpp: the chunks iCCP, sRGB, gAMA and cHRM. Called by the PNG reader between the header and the rows. They
// are taken as they stand: libpng would unpack and judge profiles by itself, and complain of what is harmless.

#include "imageio/png_colours.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <zlib.h>

namespace imageio {
namespace {

constexpr size_t kChunkNameBytes = 5;  // with its end
constexpr png_byte kColourChunks[][kChunkNameBytes] = {"iCCP", "sRGB", "gAMA", "cHRM"};
constexpr const png_byte* kProfileChunk = kColourChunks[0];
constexpr const png_byte* kSrgbChunk = kColourChunks[1];
constexpr const png_byte* kGammaChunk = kColourChunks[2];
constexpr const png_byte* kPrimariesChunk = kColourChunks[3];
constexpr double kChunkUnits = 100000;
constexpr size_t kGammaBytes = 4;
constexpr size_t kPrimariesBytes = 32;

// Behind a name that ends with 0, and the method of packing.
void openPackedProfile(Conversion& conversion, const Input& input, const png_unknown_chunk& chunk,
                       SampleLayout layout) {
    const png_byte* const name = chunk.data;
    const png_byte* const end = name + chunk.size;
    const png_byte* const nameEnd = std::find(name, end, png_byte{0});
    if (end - nameEnd < 2) return warn(input, "the colour profile is ignored: it is cut off");
    const png_byte* const packed = nameEnd + 2;
    png_byte* const profile = static_cast<png_byte*>(std::malloc(kMostProfileBytes));
    if (profile == nullptr) return warn(input, "the colour profile is ignored: no memory");
    uLongf count = kMostProfileBytes;
    switch (uncompress(profile, &count, packed, static_cast<uLong>(end - packed))) {
        case Z_OK: openProfile(conversion, input, profile, count, layout); break;
        case Z_BUF_ERROR:
            warn(input, "the colour profile is ignored: it is cut off, or larger than %zu bytes", kMostProfileBytes);
            break;
        default: warn(input, "the colour profile is ignored: it cannot be unpacked"); break;
    }
    std::free(profile);
}

double numberAt(const png_byte* bytes) { return png_get_uint_32(bytes) / kChunkUnits; }

}  // namespace

void keepColourChunks(png_structp png) {
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_ALWAYS, &kColourChunks[0][0], std::size(kColourChunks));
}

const png_unknown_chunk* findChunk(png_structp png, png_infop info, const png_byte* name) {
    png_unknown_chunkp chunks = nullptr;
    const int count = png_get_unknown_chunks(png, info, &chunks);
    for (int i = 0; i < count; ++i) {
        if (std::memcmp(chunks[i].name, name, kChunkNameBytes) == 0) return &chunks[i];
    }
    return nullptr;
}

void openColours(Conversion& conversion, const Input& input, png_structp png, png_infop info, SampleLayout layout) {
    if (const png_unknown_chunk* const profile = findChunk(png, info, kProfileChunk)) {
        return openPackedProfile(conversion, input, *profile, layout);
    }
    if (findChunk(png, info, kSrgbChunk) != nullptr) return;
    const png_unknown_chunk* const gamma = findChunk(png, info, kGammaChunk);
    const png_unknown_chunk* const primaries = findChunk(png, info, kPrimariesChunk);
    Calibration calibration = {};
    if (gamma != nullptr && gamma->size == kGammaBytes) calibration.gamma = 1 / numberAt(gamma->data);
    if (primaries != nullptr && primaries->size == kPrimariesBytes) {
        Chromaticity* const places[] = {&calibration.white, &calibration.red, &calibration.green, &calibration.blue};
        const png_byte* from = primaries->data;
        for (Chromaticity* const place : places) {
            *place = {numberAt(from), numberAt(from + 4)};
            from += 8;
        }
    }
    if (gamma != nullptr || primaries != nullptr) openCalibration(conversion, input, calibration, layout);
}

}  // namespace imageio
