// gif_oracle.cpp: decoding through libgif.
#include "gif_oracle.h"

#include <gif_lib.h>

SeenGif seenIn(const std::string& path) {
    SeenGif seen;
    GifFileType* const gif = DGifOpenFileName(path.c_str(), nullptr);
    if (gif == nullptr) return seen;
    if (DGifSlurp(gif) == GIF_OK && gif->ImageCount == 1 && gif->SColorMap != nullptr) {
        const SavedImage& image = gif->SavedImages[0];
        seen.width = gif->SWidth;
        seen.height = gif->SHeight;
        seen.interlaced = image.ImageDesc.Interlace;
        for (int i = 0; i < gif->SColorMap->ColorCount; ++i) {
            const GifColorType& c = gif->SColorMap->Colors[i];
            seen.palette.push_back({c.Red, c.Green, c.Blue});
        }
        seen.pixels.assign(image.RasterBits, image.RasterBits + seen.width * seen.height);
        GraphicsControlBlock control = {};
        if (DGifSavedExtensionToGCB(gif, 0, &control) == GIF_OK) seen.transparent = control.TransparentColor;
    }
    DGifCloseFile(gif, nullptr);
    return seen;
}
