// pictures.cpp: the writers.

#include "pictures.h"

#include <cstdio>

#include <jpeglib.h>
#include <png.h>

// libpng's packing takes one sample a byte.
void makePng(const std::string& path, const PictureOrder& order) {
    FILE* const file = fopen(path.c_str(), "wb");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_IHDR(png, info, static_cast<png_uint_32>(order.width), static_cast<png_uint_32>(order.height), order.bits,
                 order.kind, order.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, 0, 0);
    const auto* const palette = reinterpret_cast<const png_color*>(order.palette.data());
    if (!order.palette.empty()) png_set_PLTE(png, info, palette, static_cast<int>(order.palette.size()));
    if (!order.alpha.empty())
        png_set_tRNS(png, info, order.alpha.data(), static_cast<int>(order.alpha.size()), nullptr);
    std::vector<png_uint_16> k(order.key.begin(), order.key.end());
    k.resize(3, k.empty() ? 0 : k[0]);
    const png_color_16 key = {0, k[0], k[1], k[2], k[0]};
    if (!order.key.empty()) png_set_tRNS(png, info, nullptr, 0, &key);
    png_write_info_before_PLTE(png, info);
    for (const auto& [name, bytes] : order.chunks) {
        const auto* const letters = reinterpret_cast<const png_byte*>(name.data());
        png_write_chunk(png, letters, reinterpret_cast<const png_byte*>(bytes.data()), bytes.size());
    }
    png_write_info(png, info);
    png_set_packing(png);
    png_set_interlace_handling(png);
    const size_t rowBytes = order.samples.size() / static_cast<size_t>(order.height);
    for (int pass = 0; pass < (order.interlaced ? 7 : 1); ++pass) {
        for (size_t at = 0; at < order.samples.size(); at += rowBytes) png_write_row(png, order.samples.data() + at);
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    fclose(file);
}

void makeJpeg(const std::string& path, const PictureOrder& order) {
    FILE* const file = fopen(path.c_str(), "wb");
    jpeg_compress_struct jpeg = {};
    jpeg_error_mgr errors = {};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    jpeg_stdio_dest(&jpeg, file);
    jpeg.image_width = static_cast<JDIMENSION>(order.width);
    jpeg.image_height = static_cast<JDIMENSION>(order.height);
    jpeg.input_components = order.channels;
    jpeg.in_color_space = order.channels == 1 ? JCS_GRAYSCALE : order.channels == 3 ? JCS_RGB : JCS_CMYK;
    jpeg_set_defaults(&jpeg);
    if (order.stored != 0) jpeg_set_colorspace(&jpeg, static_cast<J_COLOR_SPACE>(order.stored));
    jpeg_set_quality(&jpeg, 100, TRUE);
    if (order.interlaced) jpeg_simple_progression(&jpeg);
    constexpr jpeg_scan_info kApart[] = {{1, {0}, 0, 63, 0, 0}, {1, {1}, 0, 63, 0, 0}, {1, {2}, 0, 63, 0, 0}};
    if (order.apart) jpeg.scan_info = kApart;
    if (order.apart) jpeg.num_scans = 3;
    jpeg_start_compress(&jpeg, TRUE);
    const auto* const exif = reinterpret_cast<const JOCTET*>(order.exif.data());
    if (!order.exif.empty()) jpeg_write_marker(&jpeg, JPEG_APP0 + 1, exif, static_cast<unsigned>(order.exif.size()));
    const auto* const profile = reinterpret_cast<const JOCTET*>(order.profile.data());
    if (!order.profile.empty()) jpeg_write_icc_profile(&jpeg, profile, static_cast<unsigned>(order.profile.size()));
    for (int y = 0; y < order.height; ++y) {
        auto* row = const_cast<JSAMPLE*>(order.samples.data() + y * order.width * order.channels);
        jpeg_write_scanlines(&jpeg, &row, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    fclose(file);
}
