// diffusion.cpp: each pixel waits for the error of the one before it, which is a look-up away. So four rows are in
// flight, each two pixels behind the one above: what that hands down to a column is complete by then, and the indices
// are those of one row after the other.

#include "quantize/diffusion.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "quantize/texture.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#include "host/numbers.h"
#endif

namespace tolva {
namespace {

// Of an entry's error in a channel. Without a limit the errors of colours outside the palette's reach add up, and what
// has gathered shows as specks where the picture changes. A palette of few colours is far from most pixels, though, and
// would show bands if it could not hand on what it usually errs: so many times the root of its mean squared error.
constexpr int32_t kLeastLimit = 16, kGreatestLimit = 112;
constexpr uint32_t kUsualErrors = 4;

enum Weight : int16_t { kRight = 7, kBelowLeft = 3, kBelow = 5, kBelowRight = 1 };
constexpr int16_t kWeightBits = 4;
constexpr int16_t kFineBits = 6, kCoarseBits = 4;  // of the share: with all weights it fits 16 bits
constexpr int32_t kGreatestFineLimit = 31;

// A little of each error is kept back, or the noise of diffusion takes more from the picture than the banding did. How
// much is handed on goes by the picture's texture beside the palette's error: grain hides bands by itself, and is lost
// in more noise, while smooth pictures need nearly all. Where a palette errs by a level or two, less will do, too, and
// noise would make most of the file. The figures are from fifty photographs and drawings: with one share for all of
// them some lost 1 dB, and others looked worse from a distance.
struct SharePoint {
    uint32_t texture;
    uint32_t share;
};
constexpr SharePoint kShares[] = {{0, 60}, {13, 60}, {32, 56}, {42, 56}, {54, 50}, {96, 50}, {134, 43}, {160, 40}};
constexpr uint32_t kShareOfSmallErrors = 42;
constexpr uint32_t kSmallError = 56;      // in 16ths, as errors are here
constexpr uint32_t kErrorOfOneShare = 4;  // and so much for each one more
constexpr int16_t kCoarseShare = 15;

uint32_t shareOf(const FittedError& fitted) {
    size_t i = std::size(kShares) - 1;
    uint32_t share = kShares[i].share;
    for (; i > 0 && fitted.texture < kShares[i].texture; --i) {
        const SharePoint &low = kShares[i - 1], &high = kShares[i];
        const uint32_t apart = high.texture - low.texture;
        share = high.share + ((low.share - high.share) * (high.texture - fitted.texture) + apart / 2) / apart;
    }
    const uint32_t above = fitted.squared - std::min(fitted.squared, kSmallError);
    return std::min(share, kShareOfSmallErrors + above / kErrorOfOneShare);
}

// Hands down to the column before x, which is complete with this, and keeps the error for the next.
void passOn(Diffusion& d, uint32_t x, const Lanes& error, PassedErrors& passed) {
    for (uint32_t c = 0; c < kChannels; ++c) {
        const int32_t begun = kBelowRight * passed.beforeThat.of[c] + kBelow * passed.previous.of[c];
        if (x > 0) d.columns[x - 1].of[c] = static_cast<int16_t>((begun + kBelowLeft * error.of[c]) * d.share);
        if (x + 1 < d.width) continue;
        const int32_t last = kBelowRight * passed.previous.of[c] + kBelow * error.of[c];
        d.columns[x].of[c] = static_cast<int16_t>(last * d.share);
    }
    passed.beforeThat = passed.previous;
    passed.previous = error;
}

uint8_t diffusePixel(Diffusion& d, Answers& answers, const uint8_t* pixel, uint32_t x, PassedErrors& passed) {
    uint8_t wanted[kChannels];
    for (uint32_t c = 0; c < kChannels; ++c) {
        const int32_t arriving = d.columns[x].of[c] + kRight * d.share * passed.previous.of[c] + (1 << (d.bits - 1));
        wanted[c] = static_cast<uint8_t>(std::clamp(pixel[c] + (arriving >> d.bits), 0, 255));
    }
    const uint8_t index = answer(answers, wanted);
    Lanes error = {};
    for (uint32_t c = 0; c < kChannels; ++c) {
        error.of[c] = static_cast<int16_t>(std::clamp<int32_t>(wanted[c] - d.entries[index].of[c], -d.most, d.most));
    }
    passOn(d, x, error, passed);
    return index;
}

#if defined(__SSE2__)

// What stays the same for all pixels, where no store can be thought to change it.
struct Held {
    __m128i half, bits, most, least;
    __m128i right, belowLeft, below, belowRight;  // weights times the share
    const Lanes* entries;
    Lanes* columns;
};

struct Registers {
    __m128i previous;
    __m128i beforeThat;
};

__m128i loadLanes(const Lanes& lanes) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(lanes.of)); }
void storeLanes(Lanes& lanes, __m128i value) { _mm_storel_epi64(reinterpret_cast<__m128i*>(lanes.of), value); }

Held held(const Diffusion& d) {
    const auto all = [](int32_t value) { return _mm_set1_epi16(static_cast<int16_t>(value)); };
    return {.half = all(1 << (d.bits - 1)),
            .bits = _mm_cvtsi32_si128(d.bits),
            .most = all(d.most),
            .least = all(-d.most),
            .right = all(kRight * d.share),
            .belowLeft = all(kBelowLeft * d.share),
            .below = all(kBelow * d.share),
            .belowRight = all(kBelowRight * d.share),
            .entries = d.entries,
            .columns = d.columns};
}

inline uint8_t answerPacked(Answers& answers, uint32_t colour) {
    const uint32_t place = kSpread[0][colour & 255] | kSpread[1][colour >> 8 & 255] | kSpread[2][colour >> 16 & 255];
    const uint32_t part = answers.room->parts[place / kPartColours];
    if (part != 0) [[likely]]
        return eitherAnswer(answers.room->blocks, part, place);
    uint8_t bytes[4];
    store(bytes, colour);
    return answerSlowly(answers, bytes);
}

// diffusePixel behind the first column and before the last. The pixel is loaded with the byte before it, because there
// may be none behind it.
inline uint8_t diffuseInside(const Held& h, Answers& answers, const uint8_t* pixel, uint32_t x, Registers& passed) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i arriving =
        _mm_add_epi16(_mm_add_epi16(loadLanes(h.columns[x]), h.half), _mm_mullo_epi16(passed.previous, h.right));
    const __m128i levels = _mm_sra_epi16(arriving, h.bits);
    const __m128i colour =
        _mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int32_t>(load<uint32_t>(pixel - 1) >> 8)), zero);
    const __m128i wanted = _mm_packus_epi16(_mm_add_epi16(colour, levels), zero);
    const uint32_t packed = static_cast<uint32_t>(_mm_cvtsi128_si32(wanted));
    const uint8_t index = answerPacked(answers, packed);
    const __m128i apart = _mm_sub_epi16(_mm_unpacklo_epi8(wanted, zero), loadLanes(h.entries[index]));
    const __m128i error = _mm_max_epi16(_mm_min_epi16(apart, h.most), h.least);
    const __m128i begun =
        _mm_add_epi16(_mm_mullo_epi16(passed.beforeThat, h.belowRight), _mm_mullo_epi16(passed.previous, h.below));
    storeLanes(h.columns[x - 1], _mm_add_epi16(begun, _mm_mullo_epi16(error, h.belowLeft)));
    passed.beforeThat = passed.previous;
    passed.previous = error;
    return index;
}

Registers inRegisters(const PassedErrors& passed) { return {loadLanes(passed.previous), loadLanes(passed.beforeThat)}; }

void fromRegisters(PassedErrors& passed, const Registers& registers) {
    storeLanes(passed.previous, registers.previous);
    storeLanes(passed.beforeThat, registers.beforeThat);
}

#else

using Registers = PassedErrors;

Diffusion& held(Diffusion& d) { return d; }

uint8_t diffuseInside(Diffusion& d, Answers& answers, const uint8_t* pixel, uint32_t x, Registers& passed) {
    return diffusePixel(d, answers, pixel, x, passed);
}

const Registers& inRegisters(const PassedErrors& passed) { return passed; }
void fromRegisters(PassedErrors& passed, const Registers& registers) { passed = registers; }

#endif

template <uint32_t rowCount>
void diffuse(Diffusion& d, Answers& answers, const DiffusedRow* rows, size_t step) {
    constexpr uint32_t kBehind = 2, kLastBehind = kBehind * (rowCount - 1);
    PassedErrors passed[rowCount] = {};
    const auto plainly = [&](uint64_t from, uint64_t to) {
        for (uint64_t at = from; at < to; ++at) {
            for (uint32_t r = 0; r < rowCount; ++r) {
                if (at < kBehind * r || at - kBehind * r >= d.width) continue;
                const uint32_t x = static_cast<uint32_t>(at - kBehind * r);
                rows[r].to[x] = diffusePixel(d, answers, rows[r].pixels + x * step, x, passed[r]);
            }
        }
    };
    const uint64_t inside = kLastBehind + 1;  // where the last row, too, has left its first column
    const uint64_t end = std::max<uint64_t>(inside, d.width - 1);
    plainly(0, inside);
    Registers registers[rowCount];
    for (uint32_t r = 0; r < rowCount; ++r) registers[r] = inRegisters(passed[r]);
    auto&& same = held(d);
    DiffusedRow in[rowCount];
    std::copy(rows, rows + rowCount, in);
    for (uint64_t at = inside; at < end; ++at) {
        for (uint32_t r = 0; r < rowCount; ++r) {
            const uint32_t x = static_cast<uint32_t>(at) - kBehind * r;
            in[r].to[x] = diffuseInside(same, answers, in[r].pixels + x * step, x, registers[r]);
        }
    }
    for (uint32_t r = 0; r < rowCount; ++r) fromRegisters(passed[r], registers[r]);
    plainly(end, uint64_t{d.width} + kLastBehind);
}

}  // namespace

void beginDiffusion(Diffusion& d, const uint8_t* table, uint32_t count, const FittedError& fitted) {
    for (uint32_t i = 0; i < count; ++i) {
        for (uint32_t c = 0; c < kChannels; ++c) d.entries[i].of[c] = table[i * kChannels + c];
    }
    const uint32_t error = fitted.squared / kErrorParts;
    int32_t most = kLeastLimit;
    while (most < kGreatestLimit &&
           kChannels * static_cast<uint32_t>(most * most) < kUsualErrors * kUsualErrors * error)
        ++most;
    const bool fine = most <= kGreatestFineLimit;
    d.most = static_cast<int16_t>(most);
    d.share = fine ? static_cast<int16_t>(shareOf(fitted)) : kCoarseShare;
    d.bits = kWeightBits + (fine ? kFineBits : kCoarseBits);
}

bool beginRows(Diffusion& d, uint32_t width) {
    if (d.columns != nullptr && d.width == width) return true;
    freeDiffusion(d);
    d.columns = static_cast<Lanes*>(std::calloc(width, sizeof(Lanes)));
    d.width = width;
    return d.columns != nullptr;
}

void freeDiffusion(Diffusion& d) {
    std::free(d.columns);
    d.columns = nullptr;
}

void diffusePiece(Diffusion& d, Answers& answers, const DiffusedPiece& piece, PassedErrors& passed) {
    for (uint32_t i = 0; i < piece.count; ++i) {
        const uint32_t x = piece.first + i;
        const bool transparent = piece.transparent != nullptr && piece.transparent[i];
        if (transparent) passOn(d, x, {}, passed);
        piece.to[i] =
            transparent ? piece.key : diffusePixel(d, answers, piece.pixels + size_t{i} * kChannels, x, passed);
    }
}

void diffuseRow(Diffusion& d, Answers& answers, const DiffusedRow* row, int bytesPerPixel) {
    diffuse<1>(d, answers, row, static_cast<uint32_t>(bytesPerPixel));
}

void diffuseRows(Diffusion& d, Answers& answers, const DiffusedRow* rows, int bytesPerPixel) {
    diffuse<kRowsInFlight>(d, answers, rows, static_cast<uint32_t>(bytesPerPixel));
}

}  // namespace tolva
