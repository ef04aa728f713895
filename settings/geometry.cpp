// geometry.cpp: how large will it be? The one place that turns a picture's extents, the settings and the screen into an
// output size; asked by the pipeline for every picture and by hosts before an export.

#include <cmath>

#include "host/numbers.h"
#include "settings/current.h"

using namespace tolva;

namespace {

void answerRasterInfo(Setup& setup, const int32_t* in, int32_t* out) {
    const double dpi = in[kTolvaInfoDpi];
    const double displayDpi = in[kTolvaInfoDisplayDpi];
    if (setup.sizeMode == kTolvaSizeOfPicture && dpi != 0) {
        setup.width = in[kTolvaInfoDots] / dpi;
        setup.height = in[kTolvaInfoRows] / dpi;
    } else if (setup.sizeMode == kTolvaSizeOfScreen && displayDpi != 0) {
        setup.width = in[kTolvaInfoDisplayDots] / displayDpi;
        setup.height = in[kTolvaInfoDisplayRows] / displayDpi;
    }
    if (setup.resolutionMode == kTolvaResolutionOfPicture && dpi != 0) {
        setup.xResolution = setup.yResolution = low16(in[kTolvaInfoDpi]);
    } else if (setup.resolutionMode == kTolvaResolutionOfScreen && displayDpi != 0) {
        setup.xResolution = setup.yResolution = low16(in[kTolvaInfoDisplayDpi]);
    }
    double size[2] = {setup.width, setup.height};
    if (setup.sizeMode != kTolvaSizeOfPicture || dpi == 0)
        RasterAdjustAspect(size, in[kTolvaInfoDots], in[kTolvaInfoRows]);
    out[kTolvaInfoPixelWidth] = truncated<int32_t>(std::ceil(setup.xResolution * size[0]));
    out[kTolvaInfoPixelHeight] = truncated<int32_t>(std::ceil(setup.yResolution * size[1]));
    out[kTolvaInfoBitsPerPixel] = kTolvaOutputDepth;
}

}  // namespace

void QueryCellFormat(double* width, double* height, int16_t* bitsPerPixel, int32_t* resolution, void*, void*) {
    Setup* const setup = currentSetup();
    if (bitsPerPixel != nullptr) *bitsPerPixel = kTolvaOutputDepth;
    if (setup == nullptr) return;

    const int32_t given = *resolution;
    double displayWidth = 0.0;
    double displayHeight = 0.0;
    int16_t displayDpi = 0;
    if (setup->sizeMode == kTolvaSizeOfScreen || setup->resolutionMode == kTolvaResolutionOfScreen) {
        GetDisplayInfo(&displayWidth, &displayHeight, &displayDpi, nullptr);
    }

    if (setup->sizeMode == kTolvaSizeOfPicture && given != 0) {
        setup->width = *width;
        setup->height = *height;
    } else if (setup->sizeMode == kTolvaSizeOfScreen && displayDpi != 0) {
        setup->width = displayWidth;
        setup->height = displayHeight;
    }

    if (setup->resolutionMode == kTolvaResolutionOfPicture && given != 0) {
        setup->xResolution = setup->yResolution = low16(given);
    } else if (setup->resolutionMode == kTolvaResolutionOfScreen && displayDpi != 0) {
        setup->xResolution = setup->yResolution = displayDpi;
    }

    double size[2] = {setup->width, setup->height};
    if (setup->sizeMode != kTolvaSizeOfPicture || given == 0) RasterAdjustAspect(size, *width, *height);
    if (setup->xResolution == 0) return;
    *width = size[0] * setup->xResolution;
    *height = size[1] * setup->yResolution;
    *resolution = setup->xResolution;
}

int32_t RasterAdjustAspect(double* size, double width, double height) {
    const Setup* const setup = currentSetup();
    if (setup == nullptr) return 0;
    // The box in dots, whole numbers; a picture of no height or a box of none gives what floating division gives.
    double across = truncated<int32_t>(setup->xResolution * setup->width);
    double down = truncated<int32_t>(setup->yResolution * setup->height);
    const double boxRatio = across / down;
    const double pictureRatio = width / height;
    if (pictureRatio < boxRatio) {
        across -= truncated<int32_t>(across - down * pictureRatio);
    } else if (pictureRatio > boxRatio) {
        down -= truncated<int32_t>(down - across / pictureRatio);
    }
    size[0] = across / setup->xResolution;
    size[1] = down / setup->yResolution;
    return 0;
}

void GetRasterInfo(Handle, const int32_t* from, int32_t* to) {
    if (from == nullptr || to == nullptr) return;
    int32_t in[kTolvaInfoInWords];
    int32_t out[kTolvaInfoOutWords] = {};
    std::memcpy(in, from, sizeof in);
    if (lpRaster != nullptr) answerRasterInfo(*lpRaster, in, out);
    std::memcpy(to, out, sizeof out);
}
