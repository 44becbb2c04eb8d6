#include "PngWriter.h"

#include <png.h>

#include <cstdio>
#include <vector>

namespace qcphost {

bool WritePng(const std::string& path, const uint8_t* bgra, uint32_t width, uint32_t height) {
    FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) return false;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    bool written = false;
    if (png && info && !setjmp(png_jmpbuf(png))) {
        png_init_io(png, file);
        png_set_IHDR(png, info, width, height, 8, PNG_COLOR_TYPE_RGBA, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_set_compression_level(png, 3);
        png_write_info(png, info);
        png_set_bgr(png);
        std::vector<png_bytep> rows(height);
        for (uint32_t y = 0; y < height; ++y) rows[y] = const_cast<png_bytep>(bgra + size_t(y) * width * 4);
        png_write_image(png, rows.data());
        png_write_end(png, nullptr);
        written = true;
    }
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
    return written;
}

} // namespace qcphost
