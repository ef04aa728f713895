// png.cpp: PNG through libpng's rows. Called by readPicture; compiled only with the picture libraries. Indexed and grey
// pictures of up to 8 bits keep their indices and exact levels; samples of 16 bits become 8 once nothing needs them any
// more; alpha is laid over the background row by row. libpng leaves errors by longjmp: the frames it crosses hold
// nothing that would need destroying, and what must outlive a jump stands in PngJob.

#include <png.h>

#include <algorithm>
#include <bit>
#include <csetjmp>
#include <cstring>

#include "imageio/colour_profile.h"
#include "imageio/png_colours.h"
#include "imageio/readers.h"
#include "imageio/transparency.h"

namespace imageio {
namespace {

constexpr uint32_t kMostCachedChunks = 64;
constexpr png_alloc_size_t kMostChunkBytes = 1 << 20;
constexpr png_alloc_size_t kMostKeptBytes = 8 << 20;  // a profile may be packed badly
constexpr png_byte kAnimationChunk[] = "acTL";
constexpr size_t kAnimationBytes = 8;     // how many frames, and how often they are shown
constexpr uint64_t kDeflateRatio = 1032;  // no compressed byte stands for more
constexpr size_t kHeadBytes = 24;         // signature, length and name of the first chunk, width, height
constexpr size_t kWidthAt = 16;
constexpr size_t kHeightAt = 20;
constexpr int kWideSamples = 16;
constexpr uint32_t kMostChannels = 4;  // red, green, blue, alpha; or grey, alpha

struct PngJob {
    Input* input;
    Picture* picture;
    png_structp png;
    png_infop info;
    png_bytep scratch;  // a row that cannot be read into place: with alpha, or with samples of 16 bits
    Reason reason;      // what an error ends with, once somebody has said why
    bool scales;        // the picture will be scaled
    bool deep;          // samples keep their 16 bits until they are laid down
    Conversion conversion;
};

// ---- What libpng calls ----

void takeBytes(png_structp png, png_bytep to, size_t count) {
    PngJob* const job = static_cast<PngJob*>(png_get_io_ptr(png));
    if (readBytes(*job->input, to, count)) return;
    job->reason = reportShortRead(*job->input);
    png_longjmp(png, 1);
}

[[noreturn]] void endWithError(png_structp png, png_const_charp text) {
    PngJob* const job = static_cast<PngJob*>(png_get_error_ptr(png));
    job->reason = refuse(*job->input, "%s", text);
    png_longjmp(png, 1);
}

void passWarning(png_structp png, png_const_charp text) {
    const PngJob* const job = static_cast<const PngJob*>(png_get_error_ptr(png));
    warn(*job->input, "warning: %s", text);
}

// ---- Steps ----

// libpng's own refusal would not name the limit, and comes too late to spare the memory of one row.
Reason checkHead(Input& input) {
    if (lookAhead(input, kHeadBytes) < kHeadBytes) return reportShortRead(input);
    return checkExtents(input, png_get_uint_32(input.buffer + kWidthAt), png_get_uint_32(input.buffer + kHeightAt));
}

void setLimits(const PngJob& job) {
    const bool raw = job.input->request->raw;
    png_set_user_limits(job.png, kLargestExtent, kLargestExtent);
    png_set_chunk_cache_max(job.png, kMostCachedChunks);
    png_set_chunk_malloc_max(job.png, raw ? kMostChunkBytes : kMostKeptBytes);
    // Texts and the like are skipped unread: none reaches the GIF, and some can unpack to any size.
    png_set_keep_unknown_chunks(job.png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    png_set_keep_unknown_chunks(job.png, PNG_HANDLE_CHUNK_ALWAYS, kAnimationChunk, 1);
    if (!raw) keepColourChunks(job.png);
}

// Readers that know nothing of animations see the picture that stands first.
void warnOfMorePictures(const PngJob& job) {
    const png_unknown_chunk* const chunk = findChunk(job.png, job.info, kAnimationChunk);
    if (chunk == nullptr || chunk->size != kAnimationBytes) return;
    const uint32_t frames = png_get_uint_32(chunk->data);
    if (frames > 1) warn(*job.input, "an animation of %u pictures; the first is taken", frames);
}

// What the header promises must fit the file, at deflate's best.
Reason checkLength(const PngJob& job) {
    const uint64_t packed = uint64_t{png_get_rowbytes(job.png, job.info)} * png_get_image_height(job.png, job.info);
    return canHold(*job.input, packed / kDeflateRatio) ? kDone : reportShortRead(*job.input);
}

bool isGrey(Colour c) { return c.red == c.green && c.green == c.blue; }
bool hasPalette(const PngJob& job) { return png_get_color_type(job.png, job.info) == PNG_COLOR_TYPE_PALETTE; }
bool isWide(const PngJob& job) { return png_get_bit_depth(job.png, job.info) == kWideSamples; }
bool hasGreys(const PngJob& job) { return (png_get_color_type(job.png, job.info) & PNG_COLOR_MASK_COLOR) == 0; }

// Scaling would mix the entries' colours, but has to know their alpha apart from them.
bool becomesColours(const PngJob& job) {
    png_bytep alpha = nullptr;
    int count = 0;
    if (!job.scales || !hasPalette(job) || !job.input->request->keepTransparency) return false;
    if (png_get_tRNS(job.png, job.info, &alpha, &count, nullptr) == 0) return false;
    return std::any_of(alpha, alpha + count, [](uint32_t value) { return value > 0 && value < kOpaque; });
}

// Every pixel with an opacity of its own, or a transparent colour that more than a palette index stands for.
bool hasAlpha(const PngJob& job) {
    if ((png_get_color_type(job.png, job.info) & PNG_COLOR_MASK_ALPHA) != 0) return true;
    if (png_get_valid(job.png, job.info, PNG_INFO_tRNS) == 0) return false;
    return hasPalette(job) ? becomesColours(job) : !hasGreys(job) || isWide(job);
}

// Greys stay greys when what shines through is one.
bool isIndexed(const PngJob& job) {
    if (hasPalette(job)) return !becomesColours(job);
    if (!hasGreys(job) || (job.scales && job.deep)) return false;
    return !hasAlpha(job) || isGrey(job.input->request->background);
}

int32_t bitsPerPixel(const PngJob& job) {
    if (isIndexed(job)) return kIndexBits;
    return job.scales && job.deep ? kDeepBits : kColourBits;
}

// What rows hold once libpng has transformed them.
SampleLayout layoutOf(const PngJob& job) {
    return {hasGreys(job) ? ColourModel::kGrey : ColourModel::kColours, job.deep, hasAlpha(job), false};
}

// libpng compares the transparent colour before it scales: only the exact 16 bits are transparent.
void askForSamples(const PngJob& job) {
    png_set_packing(job.png);
    if (!job.deep) {
        png_set_scale_16(job.png);
    } else if (std::endian::native == std::endian::little) {
        png_set_swap(job.png);
    }
    if (becomesColours(job)) png_set_palette_to_rgb(job.png);
    if (hasAlpha(job)) png_set_tRNS_to_alpha(job.png);
}

void setPalette(const PngJob& job) {
    Picture& picture = *job.picture;
    png_colorp entries = nullptr;
    int count = 0;
    if (hasPalette(job) && png_get_PLTE(job.png, job.info, &entries, &count) != 0) {
        picture.colours = static_cast<uint32_t>(count);
        for (uint32_t i = 0; i < picture.colours; ++i) {
            picture.palette[i] = Colour{entries[i].red, entries[i].green, entries[i].blue};
        }
        return;
    }
    if (png_get_bit_depth(job.png, job.info) >= kIndexBits) return setGreyRamp(picture);
    picture.colours = 1U << png_get_bit_depth(job.png, job.info);
    for (uint32_t level = 0; level < picture.colours; ++level) {
        const auto grey = static_cast<uint8_t>(level * (kPaletteEntries - 1) / (picture.colours - 1));
        picture.palette[level] = Colour{grey, grey, grey};
    }
}

// Rows that are read into place are converted there; of indices, the colours they stand for.
void convertPalette(const PngJob& job) {
    Picture& picture = *job.picture;
    if (job.conversion.transform == nullptr) return;
    if (!hasGreys(job))
        return convertPixels(job.conversion, &picture.palette[0].red, &picture.palette[0].red, picture.colours);
    uint8_t levels[kPaletteEntries];
    for (uint32_t i = 0; i < picture.colours; ++i) levels[i] = picture.palette[i].red;
    convertPixels(job.conversion, levels, levels, picture.colours);
    for (uint32_t i = 0; i < picture.colours; ++i) picture.palette[i] = {levels[i], levels[i], levels[i]};
}

void readRows(const PngJob& job, int passes) {
    const Picture& picture = *job.picture;
    const bool converts = job.conversion.transform != nullptr && picture.bitsPerPixel == kColourBits;
    for (int pass = 0; pass < passes; ++pass) {
        for (uint32_t y = 0; y < picture.height; ++y) {
            uint8_t* const row = rowFromTop(picture, y);
            png_read_row(job.png, row, nullptr);
            if (converts && pass == passes - 1) convertPixels(job.conversion, row, row, picture.width);
        }
    }
}

// libpng's rounding.
template <class To>
To cutTo(uint32_t sample) {
    return static_cast<To>(sample);
}
template <>
uint8_t cutTo<uint8_t>(uint32_t sample) {
    return static_cast<uint8_t>((sample * UINT8_MAX + 0x807F) >> 16);
}

// Notes what is not opaque; false when there is no memory for it.
bool noteAlpha(const PngJob& job, uint32_t x, uint32_t y, uint32_t alpha) {
    Picture& picture = *job.picture;
    const uint32_t row = picture.height - 1 - y;
    if (!job.input->request->keepTransparency || alpha == kOpaque) return true;
    if (job.scales) {
        if (!makeAlpha(picture)) return false;
        alphaRow(picture, row)[x] = static_cast<uint8_t>(alpha);
    } else if (alpha < kHalfOpaque) {
        if (!makeMask(picture)) return false;
        maskRow(picture, row)[x / 8] |= maskBit(x);
    }
    return true;
}

// From every `step`th column on, those that a pass of an interlaced picture brings.
template <class From, class To>
bool layRow(const PngJob& job, uint32_t y, uint32_t first, uint32_t step) {
    constexpr uint32_t kPerLevel = sizeof(To) == 1 ? 1 : 257;
    const Picture& picture = *job.picture;
    const Colour background = job.input->request->background;
    const uint32_t below[] = {background.red * kPerLevel, background.green * kPerLevel, background.blue * kPerLevel};
    const uint32_t given = hasGreys(job) ? 1 : kColourBytes;
    const uint32_t shown = picture.bitsPerPixel == kIndexBits ? 1 : kColourBytes;
    const bool withAlpha = hasAlpha(job);
    const From* const row = reinterpret_cast<const From*>(job.scratch);
    To* const laid = reinterpret_cast<To*>(rowFromTop(picture, y));
    const auto narrow = [](uint32_t sample) { return sizeof(From) == 1 ? sample : cutTo<uint8_t>(sample); };
    for (uint32_t x = first; x < picture.width; x += step) {
        const From* const from = row + size_t{x} * (given + (withAlpha ? 1 : 0));
        To* const to = laid + size_t{x} * shown;
        const uint32_t alpha = withAlpha ? narrow(from[given]) : kOpaque;
        if (!noteAlpha(job, x, y, alpha)) return false;
        for (uint32_t i = 0; i < shown; ++i) {
            const uint32_t sample = from[given == 1 ? 0 : i];
            const uint32_t value = sizeof(To) == 1 ? narrow(sample) : sample;
            to[i] = alpha == kOpaque ? static_cast<To>(value) : laidOver<To>(value, below[i], alpha);
        }
    }
    return true;
}

void readThroughScratch(PngJob& job, int passes) {
    const auto lay = !job.deep                                ? layRow<uint8_t, uint8_t>
                     : job.picture->bitsPerPixel == kDeepBits ? layRow<uint16_t, uint16_t>
                                                              : layRow<uint16_t, uint8_t>;
    const size_t bytes = size_t{job.picture->width} * kMostChannels * (job.deep ? 2 : 1);
    job.scratch = static_cast<png_bytep>(png_calloc(job.png, bytes));
    for (int pass = 0; pass < passes; ++pass) {
        const auto first = static_cast<uint32_t>(passes > 1 ? PNG_PASS_START_COL(pass) : 0);
        const uint32_t step = passes > 1 ? 1U << PNG_PASS_COL_SHIFT(pass) : 1;
        for (uint32_t y = 0; y < job.picture->height; ++y) {
            png_read_row(job.png, job.scratch, nullptr);
            if (passes > 1 && !PNG_ROW_IN_INTERLACE_PASS(y, pass)) continue;
            if (job.conversion.transform != nullptr) {
                convertPixels(job.conversion, job.scratch, job.scratch, job.picture->width);
            }
            if (!lay(job, y, first, step)) png_error(job.png, "no memory for the transparent pixels");
        }
    }
}

void applyTransparentEntries(const PngJob& job) {
    png_bytep alpha = nullptr;
    int count = 0;
    png_color_16p key = nullptr;
    if (hasAlpha(job) || png_get_tRNS(job.png, job.info, &alpha, &count, &key) == 0) return;
    const TransparencyRule rule = {.request = job.input->request, .scales = job.scales};
    if (hasPalette(job)) {
        settleTransparency(*job.picture, alpha, static_cast<uint32_t>(count), rule);
        return;
    }
    // Only the level's own bits count; the rest of its 16 are to be ignored.
    const uint32_t level = key->gray & (job.picture->colours - 1);
    uint8_t levels[kPaletteEntries];
    for (uint32_t i = 0; i < job.picture->colours; ++i) levels[i] = i == level ? 0 : UINT8_MAX;
    settleTransparency(*job.picture, levels, job.picture->colours, rule);
}

Reason readSteps(PngJob& job) {
    if (setjmp(png_jmpbuf(job.png)) != 0) return job.reason;
    setLimits(job);
    png_set_read_fn(job.png, &job, takeBytes);
    png_read_info(job.png, job.info);
    job.reason = checkLength(job);
    if (job.reason != kDone) return job.reason;
    warnOfMorePictures(job);
    const uint32_t width = png_get_image_width(job.png, job.info);
    const uint32_t height = png_get_image_height(job.png, job.info);
    const bool raw = job.input->request->raw;
    job.scales = willScale(*job.input, width, height);
    job.deep = isWide(job) && !raw;
    if (!raw) openColours(job.conversion, *job.input, job.png, job.info, layoutOf(job));
    job.picture->converted = job.conversion.transform != nullptr;
    job.deep = job.deep && (job.scales || job.conversion.transform != nullptr);
    job.reason = startPicture(*job.input, *job.picture, width, height, bitsPerPixel(job));
    if (job.reason != kDone) return job.reason;
    if (isIndexed(job)) setPalette(job);
    const int passes = png_set_interlace_handling(job.png);
    askForSamples(job);
    // Not png_read_update_info: what is asked about the file stays what stands in it.
    png_start_read_image(job.png);
    if (hasAlpha(job) || job.deep) {
        readThroughScratch(job, passes);
    } else {
        if (isIndexed(job)) convertPalette(job);
        readRows(job, passes);
    }
    png_read_end(job.png, nullptr);
    applyTransparentEntries(job);
    return doneUnlessStopped(*job.input);
}

}  // namespace

Reason readPng(Input& input, Picture& picture) {
    PngJob job = {};
    job.input = &input;
    job.picture = &picture;
    job.reason = checkHead(input);
    if (job.reason != kDone) return job.reason;
    job.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &job, endWithError, passWarning);
    job.info = job.png == nullptr ? nullptr : png_create_info_struct(job.png);
    if (job.info == nullptr) {
        png_destroy_read_struct(&job.png, nullptr, nullptr);
        return refuse(input, "libpng could not be started");
    }
    const Reason reason = readSteps(job);
    closeConversion(job.conversion);
    png_free(job.png, job.scratch);
    png_destroy_read_struct(&job.png, &job.info, nullptr);
    return reason;
}

}  // namespace imageio
