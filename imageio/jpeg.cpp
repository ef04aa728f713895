// jpeg.cpp: JPEG through libjpeg's rows. Called by readPicture; compiled only with the picture libraries. Greys become
// indices, everything else red, green, blue; a colour profile is obeyed. libjpeg leaves errors by longjmp: the frames
// it crosses hold nothing that would need destroying, and what must outlive a jump stands in JpegJob.

#include <algorithm>
#include <cinttypes>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

#include <jerror.h>  // its list depends on what jpeglib.h says

#include "imageio/colour_profile.h"
#include "imageio/orientation.h"
#include "imageio/readers.h"

namespace imageio {
namespace {

constexpr int kExifMarker = JPEG_APP0 + 1;
constexpr int kProfileMarker = JPEG_APP0 + 2;
constexpr unsigned kWholeSegment = 0xFFFF;
constexpr uint64_t kMostHeadBytes = 64 << 20;  // segments before the picture stay in memory
// A few kilobytes can ask for thousands of scans, each as slow as a picture. Of the largest picture allowed there may
// be twice as many as a usual progressive file has.
constexpr int kMostScans = 1000;
constexpr uint64_t kMostScansOfLargest = 20;
constexpr uint32_t kRowsAtOnce = 16;
constexpr size_t kPrintChannels = 4;
constexpr uint32_t kBlockSide = DCTSIZE;
constexpr uint64_t kBlocksPerByte = 8;  // no block takes less than a bit where codes are Huffman's

// What libjpeg goes on after, with pixels of its own invention.
constexpr int kDamage[] = {JWRN_HIT_MARKER, JWRN_HUFF_BAD_CODE, JWRN_MUST_RESYNC, JWRN_ARITH_BAD_CODE,
                           JWRN_BOGUS_PROGRESSION};

struct JpegJob {
    jpeg_decompress_struct jpeg;  // first: libjpeg hands its address back
    jpeg_error_mgr errors;
    jpeg_source_mgr source;
    jpeg_progress_mgr progress;
    jmp_buf whereErrorsEnd;
    Input* input;
    Picture* picture;
    uint8_t* rows;  // as the file has them, where they cannot be read into place
    size_t rowsStride;
    int orientation;
    uint64_t headBytes;  // read so far, until the head is through
    bool headRead;
    Conversion conversion;
    uint8_t* profile;  // libjpeg's block
    Reason reason;     // what an error ends with, once somebody has said why
};

JpegJob& jobOf(j_common_ptr jpeg) { return *reinterpret_cast<JpegJob*>(jpeg); }
JpegJob& jobOf(j_decompress_ptr jpeg) { return *reinterpret_cast<JpegJob*>(jpeg); }

[[noreturn]] void endWith(JpegJob& job, Reason reason) {
    job.reason = reason;
    std::longjmp(job.whereErrorsEnd, 1);
}

// ---- What libjpeg calls ----

[[noreturn]] void endWithError(j_common_ptr jpeg) {
    char text[JMSG_LENGTH_MAX];
    jpeg->err->format_message(jpeg, text);
    endWith(jobOf(jpeg), refuse(*jobOf(jpeg).input, "%s", text));
}

void passWarning(j_common_ptr jpeg, int level) {
    if (level >= 0) return;  // traces
    for (const int code : kDamage) {
        if (jpeg->err->msg_code == code) endWithError(jpeg);
    }
    char text[JMSG_LENGTH_MAX];
    jpeg->err->format_message(jpeg, text);
    warn(*jobOf(jpeg).input, "warning: %s", text);
}

void startSource(j_decompress_ptr) {}
void endSource(j_decompress_ptr) {}

boolean refillSource(j_decompress_ptr jpeg) {
    JpegJob& job = jobOf(jpeg);
    Input& input = *job.input;
    input.next = input.end;
    if (lookAhead(input, 1) == 0) endWith(job, reportShortRead(input));
    job.headBytes += input.end;
    if (!job.headRead && job.headBytes > kMostHeadBytes) {
        endWith(job, refuse(input, "more than %" PRIu64 " bytes before the picture", kMostHeadBytes));
    }
    job.source.next_input_byte = input.buffer;
    job.source.bytes_in_buffer = input.end;
    return TRUE;
}

void skipSource(j_decompress_ptr jpeg, long count) {
    if (count <= 0) return;
    jpeg_source_mgr& source = *jpeg->src;
    auto left = static_cast<size_t>(count);
    while (left > source.bytes_in_buffer) {
        left -= source.bytes_in_buffer;
        refillSource(jpeg);
    }
    source.next_input_byte += left;
    source.bytes_in_buffer -= left;
}

void watchProgress(j_common_ptr jpeg) {
    JpegJob& job = jobOf(jpeg);
    if (isStopped(*job.input)) endWith(job, kStopped);
    const int scans = job.jpeg.input_scan_number;  // so far
    if (scans > kMostScans) {
        endWith(job, refuse(*job.input, "more than %d scans", kMostScans));
    }
    const uint64_t pixels = uint64_t{job.jpeg.image_width} * job.jpeg.image_height;
    const uint64_t mostPixels = kMostScansOfLargest * job.input->request->mostPixels;
    if (static_cast<uint64_t>(scans) * pixels > mostPixels) {
        endWith(job, refuse(*job.input, "%d or more scans of %" PRIu64 " pixels; %s allows %" PRIu64 " in all scans",
                            scans, pixels, job.input->request->mostPixelsName, mostPixels));
    }
}

// ---- Steps ----

void connect(JpegJob& job) {
    job.source = jpeg_source_mgr{};
    job.source.init_source = startSource;
    job.source.fill_input_buffer = refillSource;
    job.source.skip_input_data = skipSource;
    job.source.resync_to_restart = jpeg_resync_to_restart;
    job.source.term_source = endSource;
    job.source.next_input_byte = job.input->buffer + job.input->next;
    job.source.bytes_in_buffer = job.input->end - job.input->next;
    job.jpeg.src = &job.source;
    job.progress = jpeg_progress_mgr{};
    job.progress.progress_monitor = watchProgress;
    job.jpeg.progress = &job.progress;
    jpeg_save_markers(&job.jpeg, kExifMarker, kWholeSegment);
    if (!job.input->request->raw) jpeg_save_markers(&job.jpeg, kProfileMarker, kWholeSegment);
}

int findOrientation(const JpegJob& job) {
    for (const jpeg_marker_struct* marker = job.jpeg.marker_list; marker != nullptr; marker = marker->next) {
        const int orientation = orientationOf(marker->data, marker->data_length);
        if (orientation != kNoOrientation) return orientation;
    }
    return kUpright;
}

uint64_t blocksAlong(uint32_t pixels, int factor, int largestFactor) {
    const uint64_t whole = uint64_t{kBlockSide} * static_cast<uint64_t>(largestFactor);
    return (uint64_t{pixels} * static_cast<uint64_t>(factor) + whole - 1) / whole;
}

Reason checkLength(const JpegJob& job) {
    const jpeg_decompress_struct& jpeg = job.jpeg;
    if (jpeg.arith_code != FALSE) return kDone;  // may take next to nothing
    uint64_t blocks = 0;
    for (int i = 0; i < jpeg.num_components; ++i) {
        const jpeg_component_info& component = jpeg.comp_info[i];
        blocks += blocksAlong(jpeg.image_width, component.h_samp_factor, jpeg.max_h_samp_factor) *
                  blocksAlong(jpeg.image_height, component.v_samp_factor, jpeg.max_v_samp_factor);
    }
    job.input->next = job.input->end - job.source.bytes_in_buffer;  // known to libjpeg alone until now
    return canHold(*job.input, blocks / kBlocksPerByte) ? kDone : reportShortRead(*job.input);
}

Reason chooseColours(JpegJob& job) {
    switch (job.jpeg.jpeg_color_space) {
        case JCS_GRAYSCALE: job.jpeg.out_color_space = JCS_GRAYSCALE; return kDone;
        case JCS_YCbCr:
        case JCS_RGB: job.jpeg.out_color_space = JCS_RGB; return kDone;
        case JCS_CMYK:
        case JCS_YCCK: job.jpeg.out_color_space = JCS_CMYK; return kDone;
        default:
            return refuse(*job.input, "%d colour components that no known model goes with", job.jpeg.num_components);
    }
}

bool isPrint(const JpegJob& job) { return job.jpeg.out_color_space == JCS_CMYK; }
bool isGrey(const JpegJob& job) { return job.jpeg.out_color_space == JCS_GRAYSCALE; }

void openColours(JpegJob& job) {
    unsigned count = 0;
    if (job.input->request->raw || jpeg_read_icc_profile(&job.jpeg, &job.profile, &count) == FALSE) return;
    const ColourModel model = isGrey(job)    ? ColourModel::kGrey
                              : isPrint(job) ? ColourModel::kPrint
                                             : ColourModel::kColours;
    const bool inverted = job.jpeg.saw_Adobe_marker != FALSE;
    openProfile(job.conversion, *job.input, job.profile, count, {model, false, false, inverted});
    job.picture->converted = job.conversion.transform != nullptr;
}

// A level each.
void setGreys(JpegJob& job) {
    Picture& picture = *job.picture;
    setGreyRamp(picture);
    if (job.conversion.transform == nullptr) return;
    for (Colour& entry : picture.palette) {
        convertPixels(job.conversion, &entry.red, &entry.red, 1);
        entry = {entry.red, entry.red, entry.red};
    }
}

Reason makeRoom(JpegJob& job) {
    const uint32_t width = job.jpeg.image_width;
    const uint32_t height = job.jpeg.image_height;
    const bool exchanged = exchangesAxes(job.orientation);
    const int32_t bits = isGrey(job) ? kIndexBits : kColourBits;
    const Reason failed =
        startPicture(*job.input, *job.picture, exchanged ? height : width, exchanged ? width : height, bits);
    if (failed) return failed;
    if (isGrey(job)) setGreys(job);
    job.rowsStride = size_t{width} * kPrintChannels;
    const size_t bytes = job.rowsStride * (exchanged ? kRowsAtOnce : 1);
    const auto common = reinterpret_cast<j_common_ptr>(&job.jpeg);
    job.rows = static_cast<uint8_t*>(job.jpeg.mem->alloc_large(common, JPOOL_IMAGE, bytes));
    return kDone;
}

// What ink and black leave of the light. Colours as they are written together with an Adobe marker stand for the lack
// of ink. `to` may be where `from` is: it never gets ahead.
void convertPrintRow(const JpegJob& job, const uint8_t* from, uint8_t* to) {
    const uint8_t inverted = job.jpeg.saw_Adobe_marker != FALSE ? UINT8_MAX : 0;
    for (uint32_t x = 0; x < job.jpeg.image_width; ++x, from += kPrintChannels, to += kColourBytes) {
        const uint8_t black = from[kColourBytes] ^ inverted;
        for (uint32_t i = 0; i < kColourBytes; ++i) {
            to[i] = static_cast<uint8_t>(UINT8_MAX - std::max<uint8_t>(from[i] ^ inverted, black));
        }
    }
}

// Where print colours need more room than the row has, they come to `wide` first. It may be the row.
void readRow(JpegJob& job, uint8_t* row, uint8_t* wide) {
    JSAMPROW rows[] = {isPrint(job) ? wide : row};
    if (isStopped(*job.input)) endWith(job, kStopped);
    jpeg_read_scanlines(&job.jpeg, rows, 1);
    if (job.conversion.transform != nullptr && !isGrey(job)) {
        convertPixels(job.conversion, rows[0], row, job.jpeg.image_width);
    } else if (isPrint(job)) {
        convertPrintRow(job, rows[0], row);
    }
}

void readInPlace(JpegJob& job) {
    const Picture& picture = *job.picture;
    for (uint32_t y = 0; y < picture.height; ++y) {
        uint8_t* const row = rowOfFile(picture, y, job.orientation);
        readRow(job, row, job.rows);
        mirrorRow(picture, row, job.orientation);
    }
}

void readIntoColumns(JpegJob& job) {
    const uint32_t height = job.jpeg.image_height;
    for (uint32_t y = 0; y < height; y += kRowsAtOnce) {
        const uint32_t count = height - y < kRowsAtOnce ? height - y : kRowsAtOnce;
        for (uint32_t k = 0; k < count; ++k) {
            uint8_t* const row = job.rows + k * job.rowsStride;
            readRow(job, row, row);
        }
        placeColumns(*job.picture, job.rows, job.rowsStride, y, count, job.orientation);
    }
}

Reason readSteps(JpegJob& job) {
    if (setjmp(job.whereErrorsEnd) != 0) return job.reason;
    jpeg_create_decompress(&job.jpeg);
    connect(job);
    jpeg_read_header(&job.jpeg, TRUE);
    job.headRead = true;
    if (const Reason failed = checkExtents(*job.input, job.jpeg.image_width, job.jpeg.image_height)) return failed;
    if (const Reason failed = checkLength(job)) return failed;
    if (const Reason failed = chooseColours(job)) return failed;
    job.orientation = findOrientation(job);
    openColours(job);
    jpeg_start_decompress(&job.jpeg);
    if (const Reason failed = makeRoom(job)) return failed;
    if (exchangesAxes(job.orientation)) {
        readIntoColumns(job);
    } else {
        readInPlace(job);
    }
    jpeg_finish_decompress(&job.jpeg);
    return doneUnlessStopped(*job.input);
}

}  // namespace

Reason readJpeg(Input& input, Picture& picture) {
    static JpegJob job;
    job = JpegJob{};
    job.input = &input;
    job.picture = &picture;
    job.jpeg.err = jpeg_std_error(&job.errors);
    job.errors.error_exit = endWithError;
    job.errors.emit_message = passWarning;
    const Reason reason = readSteps(job);
    closeConversion(job.conversion);
    std::free(job.profile);
    jpeg_destroy_decompress(&job.jpeg);
    return reason;
}

}  // namespace imageio
