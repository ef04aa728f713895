// png.cpp: PNG through libpng's rows. Called by readPicture; compiled only with the picture libraries. Indexed and grey
// pictures of up to 8 bits keep their indices and levels exactly; samples of 16 bits are scaled to 8; alpha is laid
// over the background row by row. libpng leaves errors by longjmp: the frames it crosses hold nothing that would need
// destroying, and what must outlive a jump stands in PngJob.

#include <png.h>

#include <cerrno>
#include <csetjmp>
#include <cstring>

#include "imageio/readers.h"
#include "imageio/transparency.h"

namespace imageio {
namespace {

constexpr uint32_t kMostCachedChunks = 64;
constexpr png_alloc_size_t kMostChunkBytes = 1 << 20;
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
    png_bytep scratch;  // a row with alpha
    Reason reason;      // what an error ends with, once somebody has said why
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

void setLimits(png_structp png) {
    png_set_user_limits(png, kLargestExtent, kLargestExtent);
    png_set_chunk_cache_max(png, kMostCachedChunks);
    png_set_chunk_malloc_max(png, kMostChunkBytes);
    // Texts, profiles and the like are skipped unread: none reaches the GIF, and some can unpack to any size.
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_ALWAYS, kAnimationChunk, 1);
}

// Readers that know nothing of animations see the picture that stands first.
void warnOfMorePictures(const PngJob& job) {
    png_unknown_chunkp chunks = nullptr;
    const int count = png_get_unknown_chunks(job.png, job.info, &chunks);
    if (count < 1 || chunks[0].size != kAnimationBytes) return;
    const uint32_t frames = png_get_uint_32(chunks[0].data);
    if (frames > 1) warn(*job.input, "an animation of %u pictures; the first is taken", frames);
}

// What the header promises must fit the file, at deflate's best.
Reason checkLength(const PngJob& job) {
    const uint64_t packed = uint64_t{png_get_rowbytes(job.png, job.info)} * png_get_image_height(job.png, job.info);
    return canHold(*job.input, packed / kDeflateRatio) ? kDone : reportShortRead(*job.input);
}

bool isGrey(Colour c) { return c.red == c.green && c.green == c.blue; }
bool hasPalette(const PngJob& job) { return png_get_color_type(job.png, job.info) == PNG_COLOR_TYPE_PALETTE; }

// Every pixel with an opacity of its own, or a transparent colour that more than a palette index stands for.
bool hasAlpha(const PngJob& job) {
    if ((png_get_color_type(job.png, job.info) & PNG_COLOR_MASK_ALPHA) != 0) return true;
    if (png_get_valid(job.png, job.info, PNG_INFO_tRNS) == 0) return false;
    const bool narrowGrey = png_get_color_type(job.png, job.info) == PNG_COLOR_TYPE_GRAY &&
                            png_get_bit_depth(job.png, job.info) < kWideSamples;
    return !hasPalette(job) && !narrowGrey;
}

// Greys stay greys when what shines through is one.
bool isIndexed(const PngJob& job) {
    if (hasPalette(job)) return true;
    if ((png_get_color_type(job.png, job.info) & PNG_COLOR_MASK_COLOR) != 0) return false;
    return !hasAlpha(job) || isGrey(job.input->request->background);
}

// libpng compares the transparent colour before it scales: only the exact 16 bits are transparent.
void askForBytes(const PngJob& job) {
    png_set_packing(job.png);
    png_set_scale_16(job.png);
    if (!hasAlpha(job)) return;
    png_set_tRNS_to_alpha(job.png);
    if (!isIndexed(job)) png_set_gray_to_rgb(job.png);
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

// From every `step`th column on, those that a pass of an interlaced picture brings.
bool layRow(const PngJob& job, uint32_t y, uint32_t first, uint32_t step) {
    Picture& picture = *job.picture;
    const Colour background = job.input->request->background;
    const uint8_t below[] = {background.red, background.green, background.blue};
    const uint32_t channels = picture.bitsPerPixel == kColourBits ? kColourBytes : 1;
    uint8_t* const row = rowFromTop(picture, y);
    for (uint32_t x = first; x < picture.width; x += step) {
        const uint8_t* const from = job.scratch + size_t{x} * (channels + 1);
        uint8_t* const to = row + size_t{x} * channels;
        const uint32_t alpha = from[channels];
        if (alpha == kOpaque) {
            std::memcpy(to, from, channels);
        } else if (alpha < kHalfOpaque && job.input->request->keepTransparency) {
            if (!makeMask(picture)) return false;
            maskRow(picture, picture.height - 1 - y)[x / 8] |= maskBit(x);
        } else {
            for (uint32_t i = 0; i < channels; ++i) to[i] = laidOver(from[i], below[i], alpha);
        }
    }
    return true;
}

void readRows(const PngJob& job, int passes) {
    for (int pass = 0; pass < passes; ++pass) {
        for (uint32_t y = 0; y < job.picture->height; ++y) {
            png_read_row(job.png, rowFromTop(*job.picture, y), nullptr);
        }
    }
}

void readAlphaRows(PngJob& job, int passes) {
    for (int pass = 0; pass < passes; ++pass) {
        const auto first = static_cast<uint32_t>(passes > 1 ? PNG_PASS_START_COL(pass) : 0);
        const uint32_t step = passes > 1 ? 1U << PNG_PASS_COL_SHIFT(pass) : 1;
        for (uint32_t y = 0; y < job.picture->height; ++y) {
            png_read_row(job.png, job.scratch, nullptr);
            if (passes > 1 && !PNG_ROW_IN_INTERLACE_PASS(y, pass)) continue;
            if (!layRow(job, y, first, step)) png_error(job.png, "no memory for the transparent pixels");
        }
    }
}

void applyTransparentEntries(const PngJob& job) {
    png_bytep alpha = nullptr;
    int count = 0;
    png_color_16p key = nullptr;
    if (hasAlpha(job) || png_get_tRNS(job.png, job.info, &alpha, &count, &key) == 0) return;
    if (hasPalette(job)) {
        settleTransparency(*job.picture, alpha, static_cast<uint32_t>(count), *job.input->request);
        return;
    }
    // Only the level's own bits count; the rest of its 16 are to be ignored.
    const uint32_t level = key->gray & (job.picture->colours - 1);
    uint8_t levels[kPaletteEntries];
    for (uint32_t i = 0; i < job.picture->colours; ++i) levels[i] = i == level ? 0 : UINT8_MAX;
    settleTransparency(*job.picture, levels, job.picture->colours, *job.input->request);
}

Reason readSteps(PngJob& job) {
    if (setjmp(png_jmpbuf(job.png)) != 0) return job.reason;
    setLimits(job.png);
    png_set_read_fn(job.png, &job, takeBytes);
    png_read_info(job.png, job.info);
    job.reason = checkLength(job);
    if (job.reason != kDone) return job.reason;
    warnOfMorePictures(job);
    const bool withAlpha = hasAlpha(job);
    job.reason = startPicture(*job.input, *job.picture, png_get_image_width(job.png, job.info),
                              png_get_image_height(job.png, job.info), isIndexed(job) ? kIndexBits : kColourBits);
    if (job.reason != kDone) return job.reason;
    if (isIndexed(job)) setPalette(job);
    const int passes = png_set_interlace_handling(job.png);
    askForBytes(job);
    // Not png_read_update_info: what is asked about the file stays what stands in it.
    png_start_read_image(job.png);
    if (withAlpha) {
        job.scratch = static_cast<png_bytep>(png_malloc(job.png, size_t{job.picture->width} * kMostChannels));
        readAlphaRows(job, passes);
    } else {
        readRows(job, passes);
    }
    png_read_end(job.png, nullptr);
    applyTransparentEntries(job);
    return doneUnlessStopped(*job.input);
}

}  // namespace

Reason readPng(Input& input, Picture& picture) {
    PngJob job = {&input, &picture, nullptr, nullptr, nullptr, checkHead(input)};
    if (job.reason != kDone) return job.reason;
    job.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &job, endWithError, passWarning);
    job.info = job.png == nullptr ? nullptr : png_create_info_struct(job.png);
    if (job.info == nullptr) {
        png_destroy_read_struct(&job.png, nullptr, nullptr);
        return refuse(input, "libpng could not be started");
    }
    const Reason reason = readSteps(job);
    png_free(job.png, job.scratch);
    png_destroy_read_struct(&job.png, &job.info, nullptr);
    return reason;
}

}  // namespace imageio
