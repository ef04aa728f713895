// output_size.cpp: the size of the GIF, computed beforehand with the library's own arithmetic, step for step. The
// library would draw nothing, or a file without pixels, for what is refused here, and report neither.

#include "cli/output_size.h"

#include <cmath>

namespace cli {
namespace {

constexpr uint32_t kWidestEnlarged = 32768;  // the library counts source columns in 16 signed bits
constexpr double kMostCopies = 32767;        // and the copies of one

Box inchesOf(const Options& options) {
    if (options.sizeWish == SizeWish::kFitInches) return options.box;
    return {options.box.width / kPictureResolution, options.box.height / kPictureResolution};
}

// Comes in with the picture's size.
void fitIntoBox(OutputSize& size) {
    const double resolution = size.resolution;
    const double pictureRatio = (size.width / kPictureResolution) / (size.height / kPictureResolution);
    double width = std::trunc(resolution * size.box.width);
    double height = std::trunc(resolution * size.box.height);
    const double boxRatio = width / height;
    if (pictureRatio < boxRatio) width -= std::trunc(width - height * pictureRatio);
    if (pictureRatio > boxRatio) height -= std::trunc(height - width / pictureRatio);
    // Through inches and back: a resolution that is no power of two may lose a pixel here.
    size.width = std::trunc(width / resolution * resolution);
    size.height = std::trunc(height / resolution * resolution);
}

ExitStatus checkEnlarging(const Picture& picture, const OutputSize& size) {
    if (size.height <= picture.height) return kExitDone;
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

}  // namespace

ExitStatus planOutputSize(const Options& options, const Picture& picture, OutputSize& size) {
    size = OutputSize{.boxed = options.sizeWish != SizeWish::kAsPicture,
                      .box = {},
                      .resolution = kPictureResolution,
                      .width = static_cast<double>(picture.width),
                      .height = static_cast<double>(picture.height)};
    if (size.boxed) {
        size.box = inchesOf(options);
        if (options.sizeWish == SizeWish::kFitInches) size.resolution = options.resolution;
        fitIntoBox(size);
    }
    if (size.width < 1 || size.height < 1) {
        return fail(kExitInputRefused, "nothing would be left of the picture in this box");
    }
    if (size.width * size.height == 1) {
        return fail(kExitInputRefused,
                    "a GIF of 1 x 1: the encoder emits no pixel for a single one, so none could show it");
    }
    return checkEnlarging(picture, size);
}

}  // namespace cli
