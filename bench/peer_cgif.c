/* peer_cgif.c: a palette picture (PGM) to GIF through cgif, for comparison: peer_cgif IN.pgm OUT.gif */
#include <cgif.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

int main(int count, char** arguments) {
    int width = 0, height = 0;
    (void)count;
    FILE* in = fopen(arguments[1], "rb");
    if (in == NULL || fscanf(in, "P5 %d %d 255", &width, &height) != 2) return 1;
    fgetc(in);
    size_t bytes = (size_t)width * (size_t)height;
    uint8_t* pixels = malloc(bytes);
    if (fread(pixels, 1, bytes, in) != bytes) return 1;
    uint8_t greys[768];
    for (int i = 0; i < 768; ++i) greys[i] = (uint8_t)(i / 3);
    CGIF_Config config = {0};
    config.width = (uint16_t)width;
    config.height = (uint16_t)height;
    config.pGlobalPalette = greys;
    config.numGlobalPaletteEntries = 256;
    config.path = arguments[2];
    CGIF* gif = cgif_newgif(&config);
    CGIF_FrameConfig frame = {0};
    frame.pImageData = pixels;
    cgif_addframe(gif, &frame);
    free(pixels);
    return cgif_close(gif) == CGIF_OK ? 0 : 1;
}
