#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>

#include "apps/posteffect/JpegErrors.h"
#include "apps/posteffect/JpegPicture.h"
#include "apps/posteffect/PlaneScale.h"

namespace posteffect {
namespace {

constexpr int kMaximumRows = MAX_SAMP_FACTOR * DCTSIZE;  // of one component in a row of blocks
constexpr std::size_t kMaximumSegment = 65533;

// Tables made for the picture save 2 to 4 per cent of the file, but all coefficients are held in
// memory until they are known: 3 bytes a pixel, and a third of the time of reading and writing.
constexpr std::int64_t kOwnTablesPixels = 4'000'000;

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

    std::vector<std::uint8_t> write(const JpegPicture& picture, std::optional<int> quality);
    std::vector<std::uint8_t> rewrite(const std::vector<std::uint8_t>& file,
                                      const JpegPicture& picture);

  private:
    void writeHeader(const JpegPicture& picture, std::optional<int> quality);
    void useCoding(const JpegCoding& coding);
    void describe(const JpegPicture& picture);
    void writeSegments(const std::vector<JpegSegment>& segments);
    void writeRows(const YuvPicture& planes);
    std::vector<std::uint8_t> result() const { return {m_buffer, m_buffer + m_length}; }

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

std::vector<std::uint8_t> JpegWriter::write(const JpegPicture& picture,
                                            std::optional<int> quality) {
    guard([&] { writeHeader(picture, quality); });
    writeRows(picture.planes);
    guard([&] { jpeg_finish_compress(&m_info); });
    return result();
}

void JpegWriter::writeHeader(const JpegPicture& picture, std::optional<int> quality) {
    jpeg_mem_dest(&m_info, &m_buffer, &m_length);
    const Size size = picture.planes.size();
    m_info.image_width = static_cast<JDIMENSION>(size.width);
    m_info.image_height = static_cast<JDIMENSION>(size.height);
    m_info.input_components = 3;
    m_info.in_color_space = JCS_YCbCr;
    jpeg_set_defaults(&m_info);  // 4:2:0
    jpeg_set_quality(&m_info, quality.value_or(kDefaultQuality), TRUE);
    if (!quality && picture.coding) useCoding(*picture.coding);
    m_info.raw_data_in = TRUE;
    m_info.optimize_coding =
        std::int64_t{size.width} * size.height <= kOwnTablesPixels ? TRUE : FALSE;
    describe(picture);
    jpeg_start_compress(&m_info, TRUE);
    writeSegments(picture.segments);
}

void JpegWriter::useCoding(const JpegCoding& coding) {
    bool usual = true;  // no component is finer than luma
    for (const JpegCoding::Component& component : coding.components) {
        usual = usual && component.horizontal <= coding.components[0].horizontal &&
                component.vertical <= coding.components[0].vertical;
    }
    for (int c = 0; c < 3; ++c) {
        const JpegCoding::Component& component = coding.components[static_cast<std::size_t>(c)];
        JQUANT_TBL*& table = m_info.quant_tbl_ptrs[c];
        if (!table) table = jpeg_alloc_quant_table(reinterpret_cast<j_common_ptr>(&m_info));
        std::copy(component.steps.begin(), component.steps.end(), std::begin(table->quantval));
        table->sent_table = FALSE;
        m_info.comp_info[c].quant_tbl_no = c;
        if (!usual) continue;
        m_info.comp_info[c].h_samp_factor = component.horizontal;
        m_info.comp_info[c].v_samp_factor = component.vertical;
    }
}

void JpegWriter::describe(const JpegPicture& picture) {
    m_info.write_JFIF_header = picture.density ? TRUE : FALSE;
    if (!picture.density) return;
    m_info.density_unit = picture.density->unit;
    m_info.X_density = picture.density->x;
    m_info.Y_density = picture.density->y;
}

void JpegWriter::writeSegments(const std::vector<JpegSegment>& segments) {
    for (const JpegSegment& segment : segments) {
        if (segment.bytes.size() > kMaximumSegment) continue;
        jpeg_write_marker(&m_info, segment.marker, segment.bytes.data(),
                          static_cast<unsigned>(segment.bytes.size()));
    }
}

std::vector<std::uint8_t> JpegWriter::rewrite(const std::vector<std::uint8_t>& file,
                                              const JpegPicture& picture) {
    jpeg_decompress_struct source{};
    source.err = &m_errors;
    const bool done = m_errors.guard([&] {
        jpeg_create_decompress(&source);
        jpeg_mem_src(&source, file.data(), file.size());
        jpeg_read_header(&source, TRUE);
        jvirt_barray_ptr* coefficients = jpeg_read_coefficients(&source);
        jpeg_mem_dest(&m_info, &m_buffer, &m_length);
        jpeg_copy_critical_parameters(&source, &m_info);
        m_info.optimize_coding = TRUE;
        describe(picture);
        jpeg_write_coefficients(&m_info, coefficients);
        writeSegments(picture.segments);
        writeSegments(picture.grayIcc);
        jpeg_finish_compress(&m_info);
    });
    jpeg_destroy_decompress(&source);
    if (!done) throw m_errors.failure(m_name);
    return result();
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

// A 4:2:0 picture's plane as a component of these sampling factors has it.
Plane Resampled(const Plane& chroma, Size wanted, Ratio horizontal, Ratio vertical) {
    Plane whole(RoundUp(chroma.width, horizontal.from), RoundUp(chroma.height, vertical.from));
    for (int y = 0; y < chroma.height; ++y) {
        std::memcpy(whole.row(y), chroma.row(y), static_cast<std::size_t>(chroma.width));
    }
    ReplicateEdges(&whole, {chroma.width, chroma.height});
    Plane scaled = ScalePlane(whole, horizontal, vertical);
    scaled.width = std::min(scaled.width, wanted.width);
    scaled.height = std::min(scaled.height, wanted.height);
    return scaled;
}

void JpegWriter::writeRows(const YuvPicture& planes) {
    const jpeg_component_info* coded = m_info.comp_info;
    const int across = coded[0].h_samp_factor;  // luma's are the largest
    const int down = coded[0].v_samp_factor;
    const Plane* sources[3] = {&planes.y, &planes.u, &planes.v};
    Plane resampled[3];
    Plane strips[3];
    JSAMPROW rows[3][kMaximumRows];
    JSAMPARRAY arrays[3] = {rows[0], rows[1], rows[2]};
    for (int c = 0; c < 3; ++c) {
        const Ratio horizontal{across, coded[c].h_samp_factor * 2};
        const Ratio vertical{down, coded[c].v_samp_factor * 2};
        if (c > 0 && (horizontal.from != horizontal.to || vertical.from != vertical.to)) {
            const Size wanted = {(planes.y.width * coded[c].h_samp_factor + across - 1) / across,
                                 (planes.y.height * coded[c].v_samp_factor + down - 1) / down};
            resampled[c] = Resampled(*sources[c], wanted, horizontal, vertical);
            sources[c] = &resampled[c];
        }
        strips[c] =
            Plane(RoundUp(planes.y.width, across * DCTSIZE) / across * coded[c].h_samp_factor,
                  coded[c].v_samp_factor * DCTSIZE);
        for (int i = 0; i < kMaximumRows; ++i) {
            rows[c][i] = strips[c].row(std::min(i, strips[c].height - 1));
        }
    }
    const int lines = down * DCTSIZE;
    for (int first = 0; first < planes.y.height; first += lines) {
        for (int c = 0; c < 3; ++c) {
            FillStrip(*sources[c], first / down * coded[c].v_samp_factor, strips[c].height,
                      &strips[c]);
        }
        guard([&] { jpeg_write_raw_data(&m_info, arrays, static_cast<JDIMENSION>(lines)); });
    }
}

}  // namespace

void JpegCoding::transpose() {
    for (Component& component : components) {
        std::swap(component.horizontal, component.vertical);
        for (std::size_t row = 0; row < DCTSIZE; ++row) {
            for (std::size_t column = 0; column < row; ++column) {
                std::swap(component.steps[row * DCTSIZE + column],
                          component.steps[column * DCTSIZE + row]);
            }
        }
    }
}

std::vector<std::uint8_t> EncodeJpeg(const std::string& name, const JpegPicture& picture,
                                     std::optional<int> quality) {
    return JpegWriter(name).write(picture, quality);
}

std::vector<std::uint8_t> RewriteJpeg(const std::string& name,
                                      const std::vector<std::uint8_t>& file,
                                      const JpegPicture& picture) {
    return JpegWriter(name).rewrite(file, picture);
}

}  // namespace posteffect
