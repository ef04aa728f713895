// peer_giflib.cpp: a palette picture (PGM) to GIF through giflib's EGifPutLine, for comparison: peer_giflib IN.pgm
// OUT.gif
#include <gif_lib.h>

#include <cstdio>
#include <vector>

int main(int, char** arguments) {
    int width = 0, height = 0, error = 0;
    FILE* const in = std::fopen(arguments[1], "rb");
    if (in == nullptr || std::fscanf(in, "P5 %d %d 255", &width, &height) != 2) return 1;
    std::fgetc(in);
    std::vector<GifByteType> pixels(static_cast<size_t>(width) * static_cast<size_t>(height));
    if (std::fread(pixels.data(), 1, pixels.size(), in) != pixels.size()) return 1;
    GifColorType greys[256];
    for (int i = 0; i < 256; ++i) greys[i].Red = greys[i].Green = greys[i].Blue = static_cast<GifByteType>(i);
    ColorMapObject* const map = GifMakeMapObject(256, greys);
    GifFileType* const gif = EGifOpenFileName(arguments[2], false, &error);
    EGifPutScreenDesc(gif, width, height, 8, 0, map);
    EGifPutImageDesc(gif, 0, 0, width, height, false, nullptr);
    for (int y = 0; y < height; ++y)
        EGifPutLine(gif, pixels.data() + static_cast<size_t>(width) * static_cast<size_t>(y), width);
    GifFreeMapObject(map);
    return EGifCloseFile(gif, &error) == GIF_OK ? 0 : 1;
}
