#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "apps/posteffect/JpegErrors.h"
#include "apps/posteffect/JpegPicture.h"

namespace posteffect {
namespace {

constexpr int kLumaRows = 2 * DCTSIZE;  // of one row of blocks
constexpr int kChromaRows = DCTSIZE;

// Tables made for the picture save a few per cent of the file, but all coefficients are held in
// memory until they are known: 3 bytes a pixel.
constexpr std::int64_t kOwnTablesPixels = 40'000'000;

class JpegWriter {
  public:
    explicit JpegWriter(const std::string& name) : m_name(name) {
        m_info.err = &m_errors;
        guard([this] { jpeg_create_compress(&m_info); });
    }
    ~JpegWriter() {
        jpeg_destroy_compress(&m_info);
        std::free(m_buffer);
    }
    JpegWriter(const JpegWriter&) = delete;
    JpegWriter& operator=(const JpegWriter&) = delete;

    std::vector<std::uint8_t> write(const JpegPicture& picture, int quality);

  private:
    void writeHeader(const JpegPicture& picture, int quality);
    void writeRows(const YuvPicture& planes);

    template <typename Work>
    void guard(const Work& work) {
        if (!m_errors.guard(work)) throw m_errors.failure(m_name);
    }

    const std::string& m_name;
    JpegErrors m_errors;
    jpeg_compress_struct m_info{};
    unsigned char* m_buffer = nullptr;
    unsigned long m_length = 0;
};

std::vector<std::uint8_t> JpegWriter::write(const JpegPicture& picture, int quality) {
    guard([&] { writeHeader(picture, quality); });
    writeRows(picture.planes);
    guard([&] { jpeg_finish_compress(&m_info); });
    return {m_buffer, m_buffer + m_length};
}

void JpegWriter::writeHeader(const JpegPicture& picture, int quality) {
    jpeg_mem_dest(&m_info, &m_buffer, &m_length);
    const Size size = picture.planes.size();
    m_info.image_width = static_cast<JDIMENSION>(size.width);
    m_info.image_height = static_cast<JDIMENSION>(size.height);
    m_info.input_components = 3;
    m_info.in_color_space = JCS_YCbCr;
    jpeg_set_defaults(&m_info);  // 4:2:0
    jpeg_set_quality(&m_info, quality, TRUE);
    m_info.raw_data_in = TRUE;
    m_info.optimize_coding =
        std::int64_t{size.width} * size.height <= kOwnTablesPixels ? TRUE : FALSE;
    m_info.write_JFIF_header = picture.density ? TRUE : FALSE;
    if (picture.density) {
        m_info.density_unit = picture.density->unit;
        m_info.X_density = picture.density->x;
        m_info.Y_density = picture.density->y;
    }
    jpeg_start_compress(&m_info, TRUE);
    for (const JpegSegment& segment : picture.segments) {
        jpeg_write_marker(&m_info, segment.marker, segment.bytes.data(),
                          static_cast<unsigned>(segment.bytes.size()));
    }
}

// Copies `count` rows from `first` on into `strip`, repeating the last row and column beyond the
// plane.
void FillStrip(const Plane& plane, int first, int count, Plane* strip) {
    const auto width = static_cast<std::size_t>(plane.width);
    for (int i = 0; i < count; ++i) {
        std::uint8_t* out = strip->row(i);
        std::memcpy(out, plane.row(std::min(first + i, plane.height - 1)), width);
        std::memset(out + width, out[width - 1], static_cast<std::size_t>(strip->width) - width);
    }
}

void JpegWriter::writeRows(const YuvPicture& planes) {
    const int lumaWidth = RoundUp(planes.y.width, kLumaRows);
    Plane y(lumaWidth, kLumaRows);
    Plane u(lumaWidth / 2, kChromaRows);
    Plane v(lumaWidth / 2, kChromaRows);
    JSAMPROW rows[3][kLumaRows];
    for (int i = 0; i < kLumaRows; ++i) {
        rows[0][i] = y.row(i);
        rows[1][i] = u.row(std::min(i, kChromaRows - 1));
        rows[2][i] = v.row(std::min(i, kChromaRows - 1));
    }
    JSAMPARRAY strips[3] = {rows[0], rows[1], rows[2]};
    for (int first = 0; first < planes.y.height; first += kLumaRows) {
        FillStrip(planes.y, first, kLumaRows, &y);
        FillStrip(planes.u, first / 2, kChromaRows, &u);
        FillStrip(planes.v, first / 2, kChromaRows, &v);
        guard([&] { jpeg_write_raw_data(&m_info, strips, kLumaRows); });
    }
}

}  // namespace

std::vector<std::uint8_t> EncodeJpeg(const std::string& name, const JpegPicture& picture,
                                     int quality) {
    return JpegWriter(name).write(picture, quality);
}

}  // namespace posteffect
