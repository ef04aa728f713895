// output_size.cpp: the size of the GIF, asked beforehand as the driver itself would ask. The library would draw
// nothing, or a file without pixels, for what is refused here, and report neither.

#include "cli/library/output_size.h"

#include <charconv>
#include <cinttypes>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace cli {
namespace {

constexpr uint32_t kWidestEnlarged = 32768;  // the library counts source columns in 16 signed bits
constexpr double kLargest = kTolvaLargestExtent;
constexpr double kMostCopies = 32767;  // and the copies of one

// Where only the widths differ, a lone cell array is not scaled.
ExitStatus checkEnlarging(const SizeQuestion& picture, const OutputSize& size) {
    const bool scaled = picture.way != Way::kCells || size.height != picture.height;
    if (!scaled || size.width <= picture.width) return kExitDone;
    if (picture.width > kWidestEnlarged) {
        return fail(kExitInputRefused, "a picture of %u columns cannot be enlarged; the limit is %u", picture.width,
                    kWidestEnlarged);
    }
    if (size.width / picture.width > kMostCopies) {
        return fail(kExitInputRefused, "enlarging %.0f times is too much; the limit is %.0f",
                    size.width / picture.width, kMostCopies);
    }
    return kExitDone;
}

// On the way of cells heights decide whether the library scales at all. One column more or less is what fitting a box
// leaves.
void warnOfUnscaledRows(const SizeQuestion& picture, const OutputSize& size) {
    if (picture.way != Way::kCells || size.height != picture.height) return;
    if (std::abs(size.width - picture.width) <= 1) return;
    warn("only the width changes, from %u to %.0f pixels: the library %s the rows instead of scaling them",
         picture.width, size.width, size.width < picture.width ? "cuts" : "pads");
}

void warnOfAddedRow(const OutputSize& size) {
    if (size.height == size.rows) return;
    warn("the height goes from %.0f to %.0f pixels: this road makes it even", size.rows, size.height);
}

// The library takes a number that it does not find for 0, and any one character for a separator.
bool isScreen(const char* text) {
    const char* const end = text + std::strlen(text);
    for (const int32_t largest : {INT32_MAX, INT32_MAX, int32_t{INT16_MAX}, int32_t{INT16_MAX}}) {
        int32_t number = 0;
        const std::from_chars_result result = std::from_chars(text, end, number);
        if (result.ec != std::errc() || number < 1 || number > largest) return false;
        text = result.ptr < end ? result.ptr + 1 : end;
    }
    return true;
}

void warnOfUnreadScreen() {
    const char* const text = std::getenv("DISPLAYINFO");
    if (text == nullptr || text[0] == '\0' || isScreen(text)) return;
    warn("DISPLAYINFO=%s cannot be read: four numbers above 0 are wanted, as in 1600x1200x120x120", text);
}

}  // namespace

OutputSize askOutputSize(const Library& library, const SizeQuestion& question) {
    // The screen counts for some settings, and on this way the library is told that the picture is one.
    if (question.way == Way::kExport && library.calls.SetDisplayInfo != nullptr) {
        library.calls.SetDisplayInfo(question.width, question.height, kPictureResolution, kPictureResolution);
    }
    // The answer stays in the settings; the driver's own question, with the same words, then changes nothing more.
    OutputSize size = {static_cast<double>(question.width) / kPictureResolution,
                       static_cast<double>(question.height) / kPictureResolution, 0, false};
    int16_t bits = 0;
    int32_t resolution = kPictureResolution;
    library.calls.QueryCellFormat(&size.width, &size.height, &bits, &resolution, nullptr, nullptr);
    size.width = std::trunc(size.width);
    size.height = size.rows = std::trunc(size.height);
    if (makesHeightsEven(question.way)) size.height += std::fmod(size.rows, 2);
    return size;
}

ExitStatus planOutputSize(const Library& library, const SizeQuestion& question, OutputSize& size) {
    warnOfUnreadScreen();
    if (question.way == Way::kExport) {
        if (const ExitStatus failed = needEntries(library, EntryGroup::kGeometry)) return failed;
    }
    size = askOutputSize(library, question);
    if (size.width < 1 || size.height < 1) {
        return fail(kExitInputRefused, "nothing would be left of the picture in this size");
    }
    // Asked this way round, NaN is refused too.
    if (!(size.width <= kLargest && size.height <= kLargest)) {
        return fail(kExitInputRefused, "a GIF of %.0f x %.0f pixels; the limit is %d in either direction", size.width,
                    size.height, kTolvaLargestExtent);
    }
    if (size.width * size.height > static_cast<double>(question.mostPixels)) {
        return fail(kExitInputRefused, "a GIF of %.0f x %.0f pixels; --max-pixels allows %" PRIu64, size.width,
                    size.height, question.mostPixels);
    }
    if (size.width * size.height == 1) {
        return fail(kExitInputRefused,
                    "a GIF of 1 x 1: the encoder emits no pixel for a single one, so none could show it");
    }
    warnOfAddedRow(size);
    if (!question.raw) return kExitDone;
    warnOfUnscaledRows(question, size);
    return checkEnlarging(question, size);
}

}  // namespace cli
