#include <libyuv/convert.h>
#include <libyuv/planar_functions.h>

#include <jerror.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <utility>

#include "apps/posteffect/JpegErrors.h"
#include "apps/posteffect/JpegPicture.h"
#include "apps/posteffect/Picture.h"
#include "apps/posteffect/PlaneScale.h"

namespace posteffect {
namespace {

constexpr int kAdobeMarker = JPEG_APP0 + 14;
constexpr std::uint8_t kNeutralChroma = 128;
constexpr int kMaximumRows = MAX_SAMP_FACTOR * DCTSIZE;  // of one component in a row of blocks

// Pixels for which a byte of Huffman codes can stand, at most: 8 blocks of a bit each, of
// components of which only one has all the rows.
constexpr std::int64_t kMostExpansion = std::int64_t{8} * DCTSIZE2 * MAX_SAMP_FACTOR;

// Far more than any picture needs; each costs time even where it says nothing.
constexpr int kMostScans = 500;

constexpr char kIccName[] = "ICC_PROFILE";       // with its final NUL; then number and count
constexpr char kMultiPictureName[] = "MPF";      // with its final NUL
constexpr std::size_t kIccColorSpace = 14 + 16;  // in the first segment of a profile

class JpegReader {
  public:
    JpegReader(const std::string& name, const std::vector<std::uint8_t>& file);
    ~JpegReader() { jpeg_destroy_decompress(&m_info); }
    JpegReader(const JpegReader&) = delete;
    JpegReader& operator=(const JpegReader&) = delete;

    JpegPicture read();

  private:
    void readHeader(const std::vector<std::uint8_t>& file);
    static void onProgress(j_common_ptr info);
    void readComponents();
    void readRgb();
    void finish();
    void keepSegments();
    void keepCoding();
    Plane takeComponent(int index, int divisor);

    template <typename Work>
    void guard(const Work& work) {
        if (!m_errors.guard(work)) throw m_errors.failure(m_name);
    }

    const std::string& m_name;
    JpegErrors m_errors;
    jpeg_progress_mgr m_progress{};
    jpeg_decompress_struct m_info{};
    Size m_size;
    std::array<Plane, 3> m_components;  // as coded, whole blocks
    JpegPicture m_picture;
};

JpegReader::JpegReader(const std::string& name, const std::vector<std::uint8_t>& file)
    : m_name(name) {
    m_info.err = &m_errors;
    guard([this] { jpeg_create_decompress(&m_info); });
    try {
        readHeader(file);
    } catch (...) {
        jpeg_destroy_decompress(&m_info);
        throw;
    }
}

void JpegReader::readHeader(const std::vector<std::uint8_t>& file) {
    guard([this, &file] {
        m_progress.progress_monitor = onProgress;
        m_info.progress = &m_progress;
        jpeg_mem_src(&m_info, file.data(), file.size());
        jpeg_save_markers(&m_info, JPEG_COM, 0xFFFF);
        for (int marker = JPEG_APP0 + 1; marker < JPEG_APP0 + 16; ++marker) {
            if (marker != kAdobeMarker) jpeg_save_markers(&m_info, marker, 0xFFFF);
        }
        jpeg_read_header(&m_info, TRUE);
    });
    m_size = {static_cast<int>(m_info.image_width), static_cast<int>(m_info.image_height)};
    if (m_info.jpeg_color_space == JCS_CMYK || m_info.jpeg_color_space == JCS_YCCK) {
        throw Failure(kExitUnsupported, m_name, "CMYK JPEG: convert it to RGB or grey first");
    }
    if (m_info.jpeg_color_space != JCS_YCbCr && m_info.jpeg_color_space != JCS_GRAYSCALE &&
        m_info.jpeg_color_space != JCS_RGB) {
        throw Failure(kExitUnsupported, m_name,
                      "JPEG of an unknown colour space: convert it to RGB or grey first");
    }
    CheckPictureSize(m_name, m_size.width, m_size.height);
    const auto bytes = static_cast<std::int64_t>(file.size());
    if (!m_info.arith_code && std::int64_t{m_size.width} * m_size.height / kMostExpansion > bytes) {
        throw Failure(kExitUnreadable, m_name,
                      "damaged or truncated JPEG (too short for its size): get a complete copy");
    }
}

void JpegReader::onProgress(j_common_ptr info) {
    const auto* self = reinterpret_cast<j_decompress_ptr>(info);
    if (self->input_scan_number > kMostScans) {
        ERREXIT1(info, JERR_BAD_SCAN_SCRIPT, self->input_scan_number);
    }
}

JpegPicture JpegReader::read() {
    if (m_info.saw_JFIF_marker) {
        m_picture.density = JpegDensity{m_info.density_unit, m_info.X_density, m_info.Y_density};
    }
    YuvPicture& planes = m_picture.planes;
    if (m_info.jpeg_color_space == JCS_RGB) {
        readRgb();
    } else {
        readComponents();
        planes.y = takeComponent(0, 1);
        for (Plane* chroma : {&planes.u, &planes.v}) {
            if (m_info.num_components == 3) {
                *chroma = takeComponent(chroma == &planes.u ? 1 : 2, 2);
            } else {
                *chroma = Plane((m_size.width + 1) / 2, (m_size.height + 1) / 2);
                std::fill(chroma->bytes.begin(), chroma->bytes.end(), kNeutralChroma);
            }
        }
    }
    return std::move(m_picture);
}

// Reads the coded planes as they are.
void JpegReader::readComponents() {
    guard([this] {
        m_info.raw_data_out = TRUE;
        m_info.out_color_space = m_info.jpeg_color_space;
        jpeg_start_decompress(&m_info);
    });
    const int blockColumns = RoundUp(m_size.width, m_info.max_h_samp_factor * DCTSIZE) /
                             (m_info.max_h_samp_factor * DCTSIZE);
    const int blockRows = static_cast<int>(m_info.total_iMCU_rows);
    for (int c = 0; c < m_info.num_components; ++c) {
        const jpeg_component_info& coded = m_info.comp_info[c];
        m_components[static_cast<std::size_t>(c)] =
            Plane(blockColumns * coded.h_samp_factor * DCTSIZE,
                  blockRows * coded.v_samp_factor * DCTSIZE);
    }
    guard([this, blockRows] {
        JSAMPROW rows[3][kMaximumRows];
        JSAMPARRAY planes[3] = {rows[0], rows[1], rows[2]};
        for (int blockRow = 0; blockRow < blockRows; ++blockRow) {
            for (int c = 0; c < m_info.num_components; ++c) {
                const int count = m_info.comp_info[c].v_samp_factor * DCTSIZE;
                for (int i = 0; i < count; ++i) {
                    rows[c][i] =
                        m_components[static_cast<std::size_t>(c)].row(blockRow * count + i);
                }
            }
            const int lines = m_info.max_v_samp_factor * DCTSIZE;
            jpeg_read_raw_data(&m_info, planes, static_cast<JDIMENSION>(lines));
        }
    });
    finish();
}

// A component at full size (divisor 1) or at the size of 4:2:0 chroma (divisor 2), whatever
// sampling it was coded with.
Plane JpegReader::takeComponent(int index, int divisor) {
    const jpeg_component_info& coded = m_info.comp_info[index];
    Plane plane = std::move(m_components[static_cast<std::size_t>(index)]);
    const Size wanted = {(m_size.width + divisor - 1) / divisor,
                         (m_size.height + divisor - 1) / divisor};
    const Ratio horizontal{coded.h_samp_factor * divisor, m_info.max_h_samp_factor};
    const Ratio vertical{coded.v_samp_factor * divisor, m_info.max_v_samp_factor};
    if (horizontal.from != horizontal.to || vertical.from != vertical.to) {
        // Scaled as a picture of whole groups of pixels, so that the samples stay in their places
        // at odd sizes too.
        const Size filled = {static_cast<int>(coded.downsampled_width),
                             static_cast<int>(coded.downsampled_height)};
        plane.width = RoundUp(filled.width, horizontal.from);
        plane.height = RoundUp(filled.height, vertical.from);
        ReplicateEdges(&plane, filled);
        plane = ScalePlane(plane, horizontal, vertical);
    }
    plane.width = wanted.width;
    plane.height = wanted.height;
    return plane;
}

// The one way through RGB: files whose coded planes are red, green and blue.
void JpegReader::readRgb() {
    guard([this] {
        m_info.out_color_space = JCS_RGB;
        jpeg_start_decompress(&m_info);
    });
    const auto rowBytes = static_cast<std::size_t>(m_size.width) * 3;
    std::vector<std::uint8_t> pair(rowBytes * 2);
    YuvPicture& planes = m_picture.planes;
    planes.y = Plane(m_size.width, m_size.height);
    planes.u = planes.v = Plane((m_size.width + 1) / 2, (m_size.height + 1) / 2);
    for (int y = 0; y < m_size.height; y += 2) {
        const int count = std::min(2, m_size.height - y);
        guard([this, &pair, rowBytes, count] {
            for (int i = 0; i < count; ++i) {
                JSAMPROW row = pair.data() + rowBytes * static_cast<std::size_t>(i);
                jpeg_read_scanlines(&m_info, &row, 1);
            }
        });
        libyuv::RAWToJ420(pair.data(), static_cast<int>(rowBytes), planes.y.row(y), planes.y.stride,
                          planes.u.row(y / 2), planes.u.stride, planes.v.row(y / 2),
                          planes.v.stride, m_size.width, count);
    }
    finish();
}

void JpegReader::finish() {
    // The rest of the file may hold further segments, and must be there.
    guard([this] {
        while (jpeg_consume_input(&m_info) != JPEG_REACHED_EOI) {
        }
    });
    keepSegments();
    keepCoding();
}

void JpegReader::keepCoding() {
    JpegCoding coding;
    for (std::size_t c = 0; c < coding.components.size(); ++c) {
        // What has no chroma, or none apart from light, is written with chroma as fine as its luma.
        const bool chroma = m_info.jpeg_color_space == JCS_YCbCr;
        const jpeg_component_info& coded = m_info.comp_info[chroma ? c : 0];
        JpegCoding::Component& component = coding.components[c];
        component.horizontal = chroma ? coded.h_samp_factor : 1;
        component.vertical = chroma ? coded.v_samp_factor : 1;
        const JQUANT_TBL* table = coded.quant_table;
        if (!table) return;
        std::copy(std::begin(table->quantval), std::end(table->quantval), component.steps.begin());
    }
    m_picture.coding = coding;
}

void JpegReader::keepSegments() {
    // A profile of grey values cannot describe the three planes that are written.
    bool dropIcc = false;
    for (const jpeg_marker_struct* marker = m_info.marker_list; marker; marker = marker->next) {
        JpegSegment segment;
        segment.marker = marker->marker;
        segment.bytes.assign(marker->data, marker->data + marker->data_length);
        const bool icc =
            marker->marker == JPEG_APP0 + 2 && segment.startsWith(kIccName, sizeof(kIccName));
        if (icc && segment.bytes.size() >= kIccColorSpace + 4 &&
            std::memcmp(segment.bytes.data() + kIccColorSpace, "GRAY", 4) == 0) {
            dropIcc = true;
        }
        if (icc && dropIcc) {
            m_picture.grayIcc.push_back(std::move(segment));
            continue;
        }
        // Its offsets point at further pictures behind this one, which are not carried along.
        if (marker->marker == JPEG_APP0 + 2 &&
            segment.startsWith(kMultiPictureName, sizeof(kMultiPictureName))) {
            continue;
        }
        m_picture.segments.push_back(std::move(segment));
    }
}

}  // namespace

bool JpegSegment::startsWith(const char* text, std::size_t length) const {
    return bytes.size() >= length && std::memcmp(bytes.data(), text, length) == 0;
}

JpegPicture DecodeJpeg(const std::string& name, const std::vector<std::uint8_t>& file) {
    if (file.size() < 2 || file[0] != 0xFF || file[1] != 0xD8) {
        throw Failure(kExitUnsupported, name, "not a JPEG picture: convert it to JPEG first");
    }
    return JpegReader(name, file).read();
}

}  // namespace posteffect
