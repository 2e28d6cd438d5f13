#include "tests/support/JpegFile.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

namespace {

struct FileIsBad {};

// The test's own frames only; libjpeg is built with unwind tables where tests run.
void ThrowBad(j_common_ptr) {
    throw FileIsBad();
}
void ThrowOnWarning(j_common_ptr, int level) {
    if (level < 0) throw FileIsBad();
}

}  // namespace

Bytes MakeJpeg(const JpegRecipe& recipe, const std::function<Rgb(int x, int y)>& pixel) {
    jpeg_compress_struct info = {};
    jpeg_error_mgr errors = {};
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* buffer = nullptr;
    unsigned long length = 0;
    jpeg_mem_dest(&info, &buffer, &length);

    const bool gray = recipe.colors == "gray";
    const bool cmyk = recipe.colors == "cmyk";
    const std::size_t channels = gray ? 1 : cmyk ? 4 : 3;
    info.image_width = static_cast<JDIMENSION>(recipe.width);
    info.image_height = static_cast<JDIMENSION>(recipe.height);
    info.input_components = static_cast<int>(channels);
    info.in_color_space = gray ? JCS_GRAYSCALE : cmyk ? JCS_CMYK : JCS_RGB;
    jpeg_set_defaults(&info);
    if (recipe.colors == "rgb") jpeg_set_colorspace(&info, JCS_RGB);
    jpeg_set_quality(&info, recipe.quality, TRUE);
    if (recipe.colors == "ycc" || gray) {
        for (int c = 0; c < info.num_components; ++c) {
            info.comp_info[c].h_samp_factor = recipe.sampling[static_cast<std::size_t>(c)][0];
            info.comp_info[c].v_samp_factor = recipe.sampling[static_cast<std::size_t>(c)][1];
        }
    }
    if (recipe.progressive) jpeg_simple_progression(&info);
    info.arith_code = recipe.arithmetic ? TRUE : FALSE;
    if (!recipe.jfif) info.write_JFIF_header = FALSE;
    info.density_unit = 1;
    info.X_density = 300;
    info.Y_density = 301;
    jpeg_start_compress(&info, TRUE);
    for (const Segment& segment : recipe.segments) {
        jpeg_write_marker(&info, segment.marker, segment.bytes.data(),
                          static_cast<unsigned>(segment.bytes.size()));
    }
    Bytes row(static_cast<std::size_t>(recipe.width) * channels);
    for (int y = 0; y < recipe.height; ++y) {
        for (int x = 0; x < recipe.width; ++x) {
            const Rgb color = pixel(x, y);
            for (std::size_t c = 0; c < channels; ++c) {
                row[static_cast<std::size_t>(x) * channels + c] =
                    static_cast<std::uint8_t>(c < 3 ? color[c] : 0);
            }
        }
        JSAMPROW pointer = row.data();
        jpeg_write_scanlines(&info, &pointer, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    Bytes file(buffer, buffer + length);
    std::free(buffer);
    return file;
}

RgbPicture DecodeRgb(const Bytes& file) {
    jpeg_decompress_struct info = {};
    jpeg_error_mgr errors = {};
    info.err = jpeg_std_error(&errors);
    errors.error_exit = ThrowBad;
    errors.emit_message = ThrowOnWarning;
    jpeg_create_decompress(&info);
    RgbPicture picture;
    try {
        jpeg_mem_src(&info, file.data(), file.size());
        jpeg_read_header(&info, TRUE);
        info.out_color_space = JCS_RGB;
        jpeg_start_decompress(&info);
        const std::size_t rowBytes = info.output_width * std::size_t{3};
        picture.bytes.resize(rowBytes * info.output_height);
        while (info.output_scanline < info.output_height) {
            JSAMPROW row = picture.bytes.data() + rowBytes * info.output_scanline;
            jpeg_read_scanlines(&info, &row, 1);
        }
        jpeg_finish_decompress(&info);
        picture.width = static_cast<int>(info.output_width);
        picture.height = static_cast<int>(info.output_height);
    } catch (const FileIsBad&) {
        picture = {};
    }
    jpeg_destroy_decompress(&info);
    return picture;
}

std::vector<Segment> ListSegments(const Bytes& file) {
    std::vector<Segment> segments;
    constexpr int kStartOfScan = 0xDA;
    for (std::size_t at = 2; at + 4 <= file.size() && file[at] == 0xFF;) {
        const int marker = file[at + 1];
        if (marker == kStartOfScan) break;
        const std::size_t length = file[at + 2] * std::size_t{256} + file[at + 3];
        if (length < 2 || at + 2 + length > file.size()) break;
        if ((marker >= JPEG_APP0 && marker < JPEG_APP0 + 16) || marker == JPEG_COM) {
            const std::uint8_t* const begin = file.data() + at + 4;
            segments.push_back({marker, Bytes(begin, begin + length - 2)});
        }
        at += 2 + length;
    }
    return segments;
}
