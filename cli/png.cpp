// png.cpp: PNG through libpng's rows. Called by readPicture; compiled only with the picture libraries. Indexed and grey
// pictures of up to 8 bits keep their indices and levels exactly. libpng leaves errors by longjmp: the frames it
// crosses hold nothing that would need destroying, and what must outlive a jump stands in PngJob.

#include <png.h>

#include <cerrno>
#include <csetjmp>

#include "cli/progress.h"
#include "cli/read_picture.h"
#include "cli/transparency.h"
#include "settings/settings.h"

namespace cli {
namespace {

constexpr uint32_t kMostCachedChunks = 64;
constexpr png_alloc_size_t kMostChunkBytes = 1 << 20;
constexpr uint64_t kDeflateRatio = 1032;  // no compressed byte stands for more
constexpr size_t kHeadBytes = 24;         // signature, length and name of the first chunk, width, height
constexpr size_t kWidthAt = 16;
constexpr size_t kHeightAt = 20;
constexpr int kWideSamples = 16;

struct PngJob {
    Input* input;
    const ReadWishes* wishes;
    Picture* picture;
    png_structp png;
    png_infop info;
    ExitStatus status;  // what an error ends with, once somebody has said why
};

// ---- What libpng calls ----

void takeBytes(png_structp png, png_bytep to, size_t count) {
    PngJob* const job = static_cast<PngJob*>(png_get_io_ptr(png));
    if (readBytes(*job->input, to, count)) return;
    job->status = reportShortRead(*job->input);
    png_longjmp(png, 1);
}

[[noreturn]] void endWithError(png_structp png, png_const_charp text) {
    PngJob* const job = static_cast<PngJob*>(png_get_error_ptr(png));
    job->status = fail(kExitInputRefused, "%s: %s", job->input->name, text);
    png_longjmp(png, 1);
}

void passWarning(png_structp png, png_const_charp text) {
    const PngJob* const job = static_cast<const PngJob*>(png_get_error_ptr(png));
    warn("%s: warning: %s", job->input->name, text);
}

// ---- Steps ----

// libpng's own refusal would not name the limit, and comes too late to spare the memory of one row.
ExitStatus checkHead(Input& input) {
    if (lookAhead(input, kHeadBytes) < kHeadBytes) return reportShortRead(input);
    return checkExtents(input.name, png_get_uint_32(input.buffer + kWidthAt),
                        png_get_uint_32(input.buffer + kHeightAt));
}

void setLimits(png_structp png) {
    png_set_user_limits(png, kLargestExtent, kLargestExtent);
    png_set_chunk_cache_max(png, kMostCachedChunks);
    png_set_chunk_malloc_max(png, kMostChunkBytes);
    // Texts, profiles and the like are skipped unread: none reaches the GIF, and some can unpack to any size.
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
}

ExitStatus checkKind(const PngJob& job) {
    const int type = png_get_color_type(job.png, job.info);
    if (type != PNG_COLOR_TYPE_PALETTE && type != PNG_COLOR_TYPE_GRAY) {
        return fail(kExitInputRefused, "%s: true-colour pictures and greys with alpha are not taken yet",
                    job.input->name);
    }
    if (png_get_bit_depth(job.png, job.info) == kWideSamples) {
        return fail(kExitInputRefused, "%s: greys of 16 bits are not taken yet", job.input->name);
    }
    const uint64_t packed = uint64_t{png_get_rowbytes(job.png, job.info)} * png_get_image_height(job.png, job.info);
    return canHold(*job.input, packed / kDeflateRatio) ? kExitDone : reportShortRead(*job.input);
}

void setPalette(const PngJob& job) {
    Picture& picture = *job.picture;
    png_colorp entries = nullptr;
    int count = 0;
    if (png_get_PLTE(job.png, job.info, &entries, &count) != 0 &&
        png_get_color_type(job.png, job.info) == PNG_COLOR_TYPE_PALETTE) {
        picture.colours = static_cast<uint32_t>(count);
        for (uint32_t i = 0; i < picture.colours; ++i) {
            picture.palette[i] = Colour{entries[i].red, entries[i].green, entries[i].blue};
        }
        return;
    }
    picture.colours = 1U << png_get_bit_depth(job.png, job.info);
    for (uint32_t level = 0; level < picture.colours; ++level) {
        const auto grey = static_cast<uint8_t>(level * (kPaletteEntries - 1) / (picture.colours - 1));
        picture.palette[level] = Colour{grey, grey, grey};
    }
}

void readRows(const PngJob& job) {
    const int passes = png_set_interlace_handling(job.png);
    png_set_packing(job.png);
    png_read_update_info(job.png, job.info);
    for (int pass = 0; pass < passes; ++pass) {
        for (uint32_t y = 0; y < job.picture->height; ++y) {
            png_read_row(job.png, rowFromTop(*job.picture, y), nullptr);
        }
    }
    png_read_end(job.png, nullptr);
}

void applyAlpha(const PngJob& job) {
    png_bytep alpha = nullptr;
    int count = 0;
    png_color_16p key = nullptr;
    if (png_get_tRNS(job.png, job.info, &alpha, &count, &key) == 0) return;
    if (png_get_color_type(job.png, job.info) == PNG_COLOR_TYPE_PALETTE) {
        settleTransparency(*job.picture, alpha, static_cast<uint32_t>(count), *job.wishes);
        return;
    }
    // Only the level's own bits count; the rest of its 16 are to be ignored.
    const uint32_t level = key->gray & (job.picture->colours - 1);
    uint8_t levels[kPaletteEntries];
    for (uint32_t i = 0; i < job.picture->colours; ++i) levels[i] = i == level ? 0 : UINT8_MAX;
    settleTransparency(*job.picture, levels, job.picture->colours, *job.wishes);
}

ExitStatus readSteps(PngJob& job) {
    if (setjmp(png_jmpbuf(job.png)) != 0) return job.status;
    setLimits(job.png);
    png_set_read_fn(job.png, &job, takeBytes);
    png_read_info(job.png, job.info);
    job.status = checkKind(job);
    if (job.status != kExitDone) return job.status;
    job.status = makePicture(*job.picture, job.input->name, png_get_image_width(job.png, job.info),
                             png_get_image_height(job.png, job.info));
    if (job.status != kExitDone) return job.status;
    setPalette(job);
    readRows(job);
    applyAlpha(job);
    return stopWished() ? kExitStopped : kExitDone;
}

}  // namespace

ExitStatus readPng(Input& input, const ReadWishes& wishes, Picture& picture) {
    PngJob job = {&input, &wishes, &picture, nullptr, nullptr, checkHead(input)};
    if (job.status != kExitDone) return job.status;
    job.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &job, endWithError, passWarning);
    job.info = job.png == nullptr ? nullptr : png_create_info_struct(job.png);
    if (job.info == nullptr) {
        png_destroy_read_struct(&job.png, nullptr, nullptr);
        return fail(kExitInputRefused, "%s: libpng could not be started", input.name);
    }
    const ExitStatus status = readSteps(job);
    png_destroy_read_struct(&job.png, &job.info, nullptr);
    return status;
}

}  // namespace cli
