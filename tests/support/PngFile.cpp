#include "tests/support/PngFile.h"

#include <png.h>

#include <map>

namespace {

const std::map<std::string, int> kColorTypes = {{"rgb", PNG_COLOR_TYPE_RGB},
                                                {"rgba", PNG_COLOR_TYPE_RGBA},
                                                {"gray", PNG_COLOR_TYPE_GRAY},
                                                {"gray-alpha", PNG_COLOR_TYPE_GRAY_ALPHA},
                                                {"palette", PNG_COLOR_TYPE_PALETTE}};

// One sample of so many bits; those of 16 have a low byte that says something.
void Put(int value, int depth, Bytes* row) {
    row->push_back(static_cast<std::uint8_t>(value));
    if (depth == 16) row->push_back(static_cast<std::uint8_t>(value));
}

}  // namespace

Bytes MakePng(const PngRecipe& recipe, const std::function<Rgba(int x, int y)>& pixel) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    Bytes file;
    png_set_write_fn(
        png, &file,
        [](png_structp self, png_bytep bytes, std::size_t count) {
            auto* out = static_cast<Bytes*>(png_get_io_ptr(self));
            out->insert(out->end(), bytes, bytes + count);
        },
        nullptr);
    png_set_IHDR(png, info, static_cast<png_uint_32>(recipe.width),
                 static_cast<png_uint_32>(recipe.height), recipe.depth,
                 kColorTypes.at(recipe.colors),
                 recipe.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    std::vector<png_color> colors(256);
    Bytes alphas(256);
    std::vector<Bytes> rows(static_cast<std::size_t>(recipe.height));
    for (int y = 0; y < recipe.height; ++y) {
        Bytes& row = rows[static_cast<std::size_t>(y)];
        for (int x = 0; x < recipe.width; ++x) {
            const Rgba rgba = pixel(x, y);
            const auto level = static_cast<std::uint8_t>(rgba[0]);
            colors[level] = {level, level, level};
            alphas[level] = static_cast<std::uint8_t>(rgba[3]);
            Put(rgba[0], recipe.depth, &row);
            for (const std::size_t c : {1U, 2U}) {
                if (recipe.colors[0] == 'r') Put(rgba[c], recipe.depth, &row);
            }
            if (recipe.colors == "rgba" || recipe.colors == "gray-alpha") {
                Put(rgba[3], recipe.depth, &row);
            }
        }
    }
    if (recipe.colors == "palette") {
        png_set_PLTE(png, info, colors.data(), 256);
        png_set_tRNS(png, info, alphas.data(), 256, nullptr);
    }
    png_write_info(png, info);
    std::vector<png_bytep> pointers;
    for (Bytes& row : rows) pointers.push_back(row.data());
    png_write_image(png, pointers.data());
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return file;
}

RgbaPicture DecodePngFile(const Bytes& file) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    RgbaPicture picture;
    if (png_image_begin_read_from_memory(&image, file.data(), file.size()) == 0) return picture;
    image.format = PNG_FORMAT_RGBA;
    picture.bytes.resize(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, nullptr, picture.bytes.data(), 0, nullptr) == 0) return {};
    picture.width = static_cast<int>(image.width);
    picture.height = static_cast<int>(image.height);
    return picture;
}
