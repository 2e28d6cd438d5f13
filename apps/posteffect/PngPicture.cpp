// PNG files.
#include <png.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "apps/posteffect/Failure.h"
#include "apps/posteffect/PictureFormat.h"

namespace posteffect {
namespace {

constexpr char kSignature[] = "\x89PNG\r\n\x1A\n";
constexpr char kXmpKeyword[] = "XML:com.adobe.xmp";

constexpr double kInch = 0.0254;         // metres
constexpr std::uint8_t kDotsAnInch = 1;  // as JPEG counts units; 2 is centimetres

// What deflate makes of one byte at the most, and some more.
constexpr std::uint64_t kMostExpansion = 1100;

// At once, for a chunk beside the rows or for one of them: twice what a JPEG file's profile can
// have, and far less than what a damaged length asks for.
constexpr png_alloc_size_t kMostAtOnce = 32U << 20U;

// Errors of libpng, which end the guarded work with a jump: it must own nothing that needs a
// destructor.
class PngErrors {
  public:
    template <typename Work>
    bool guard(const Work& work) {
        if (setjmp(m_jump) != 0) return false;
        work();
        return true;
    }
    Failure failure(const std::string& name) const {
        return {kExitUnreadable, name,
                std::string("damaged or truncated PNG (") + m_text + "): get a complete copy"};
    }
    static void onError(png_structp png, png_const_charp text) {
        auto* self = static_cast<PngErrors*>(png_get_error_ptr(png));
        std::strncpy(self->m_text, text, sizeof(self->m_text) - 1);
        std::longjmp(self->m_jump, 1);
    }
    static void onWarning(png_structp, png_const_charp) {}

  private:
    std::jmp_buf m_jump{};
    char m_text[128] = {};
};

bool IsPng(const FileBytes& file) {
    return BeginsWith(file, kSignature, sizeof(kSignature) - 1);
}

class PngReader {
  public:
    PngReader(const std::string& name, const FileBytes& file)
        : m_name(name),
          m_file(file),
          m_png(png_create_read_struct_2(PNG_LIBPNG_VER_STRING, &m_errors, PngErrors::onError,
                                         PngErrors::onWarning, nullptr, allocate, nullptr)),
          m_info(m_png ? png_create_info_struct(m_png) : nullptr) {}
    ~PngReader() { png_destroy_read_struct(&m_png, &m_info, nullptr); }
    PngReader(const PngReader&) = delete;
    PngReader& operator=(const PngReader&) = delete;

    Picture read();

  private:
    void readHeader();
    void keepText(Metadata* metadata) const;
    std::optional<JpegDensity> density() const;

    template <typename Work>
    void guard(const Work& work) {
        if (!m_errors.guard(work)) throw m_errors.failure(m_name);
    }
    static png_voidp allocate(png_structp, png_alloc_size_t size) {
        return size <= kMostAtOnce ? std::malloc(size) : nullptr;
    }
    static void onRead(png_structp png, png_bytep bytes, std::size_t count) {
        auto* self = static_cast<PngReader*>(png_get_io_ptr(png));
        if (count > self->m_file.size() - self->m_done) png_error(png, "the file ends too early");
        std::memcpy(bytes, self->m_file.data() + self->m_done, count);
        self->m_done += count;
    }

    const std::string& m_name;
    const FileBytes& m_file;
    std::size_t m_done = 0;
    PngErrors m_errors;
    png_structp m_png;
    png_infop m_info;
    bool m_opaque = true;
};

// Whatever is in the file, rows of RGBA with 8 bits a channel come out.
void PngReader::readHeader() {
    guard([this] {
        png_set_read_fn(m_png, this, onRead);
        png_set_user_limits(m_png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);  // checked by us
        png_read_info(m_png, m_info);
    });
    const std::uint64_t width = png_get_image_width(m_png, m_info);
    const std::uint64_t height = png_get_image_height(m_png, m_info);
    CheckPictureSize(m_name, static_cast<std::int64_t>(width), static_cast<std::int64_t>(height));
    if (png_get_rowbytes(m_png, m_info) * height / kMostExpansion > m_file.size()) {
        throw Failure(kExitUnreadable, m_name,
                      "damaged or truncated PNG (too short for its size): get a complete copy");
    }
    m_opaque = (png_get_color_type(m_png, m_info) & PNG_COLOR_MASK_ALPHA) == 0 &&
               png_get_valid(m_png, m_info, PNG_INFO_tRNS) == 0;
    guard([this] {
        png_set_expand(m_png);
        png_set_scale_16(m_png);
        png_set_gray_to_rgb(m_png);
        png_set_add_alpha(m_png, 255, PNG_FILLER_AFTER);
        png_set_interlace_handling(m_png);
        png_read_update_info(m_png, m_info);
    });
}

Picture PngReader::read() {
    if (!m_info) throw Failure(kExitUnreadable, m_name, "not enough memory: end other programs");
    readHeader();
    Picture picture;
    picture.lossless = true;
    RgbaPixels& rgba = picture.rgba;
    rgba.size = {static_cast<int>(png_get_image_width(m_png, m_info)),
                 static_cast<int>(png_get_image_height(m_png, m_info))};
    rgba.opaque = m_opaque;
    const auto height = static_cast<std::size_t>(rgba.size.height);
    rgba.bytes = PixelBytes(static_cast<std::size_t>(rgba.stride()) * height);
    std::vector<png_bytep> rows(height);
    for (std::size_t y = 0; y < height; ++y) rows[y] = rgba.row(static_cast<int>(y));
    guard([&] {
        png_read_image(m_png, rows.data());
        png_read_end(m_png, m_info);
    });
    Metadata metadata;
    keepText(&metadata);
    picture.segments = MakeSegments(metadata);
    picture.density = density();
    return picture;
}

std::optional<JpegDensity> PngReader::density() const {
    png_uint_32 x = 0;
    png_uint_32 y = 0;
    int unit = PNG_RESOLUTION_UNKNOWN;
    if (png_get_pHYs(m_png, m_info, &x, &y, &unit) == 0 || unit != PNG_RESOLUTION_METER) {
        return std::nullopt;
    }
    const auto dots = [](png_uint_32 aMeter) {
        return static_cast<std::uint16_t>(std::clamp<long>(std::lround(aMeter * kInch), 1, 0xFFFF));
    };
    return JpegDensity{kDotsAnInch, dots(x), dots(y)};
}

void PngReader::keepText(Metadata* metadata) const {
    png_charp name = nullptr;
    int compression = 0;
    png_bytep bytes = nullptr;
    png_uint_32 length = 0;
    if (png_get_iCCP(m_png, m_info, &name, &compression, &bytes, &length) != 0) {
        metadata->icc.assign(bytes, bytes + length);
    }
    if (png_get_eXIf_1(m_png, m_info, &length, &bytes) != 0) {
        metadata->exif.assign(bytes, bytes + length);
    }
    png_textp texts = nullptr;
    const int count = png_get_text(m_png, m_info, &texts, nullptr);
    for (int i = 0; i < count; ++i) {
        if (std::strcmp(texts[i].key, kXmpKeyword) != 0 || !texts[i].text) continue;
        metadata->xmp.assign(texts[i].text, texts[i].text + std::strlen(texts[i].text));
    }
}

class PngWriter {
  public:
    explicit PngWriter(const std::string& name)
        : m_name(name),
          m_png(png_create_write_struct(PNG_LIBPNG_VER_STRING, &m_errors, PngErrors::onError,
                                        PngErrors::onWarning)),
          m_info(m_png ? png_create_info_struct(m_png) : nullptr) {}
    ~PngWriter() { png_destroy_write_struct(&m_png, &m_info); }
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;

    FileBytes write(const Picture& picture);

  private:
    void writeHeader(const Picture& picture, Metadata* metadata);

    static void onWrite(png_structp png, png_bytep bytes, std::size_t count) {
        auto* self = static_cast<PngWriter*>(png_get_io_ptr(png));
        bool enough = true;
        try {
            self->m_file.insert(self->m_file.end(), bytes, bytes + count);
        } catch (...) {
            enough = false;
        }
        if (!enough) png_error(png, "not enough memory");
    }

    const std::string& m_name;
    FileBytes m_file;
    PngErrors m_errors;
    png_structp m_png;
    png_infop m_info;
};

void PngWriter::writeHeader(const Picture& picture, Metadata* metadata) {
    const RgbaPixels& rgba = picture.rgba;
    png_set_write_fn(m_png, this, onWrite, nullptr);
    // Broken profiles of the source are carried along, not judged.
    png_set_benign_errors(m_png, 1);
    png_set_IHDR(m_png, m_info, static_cast<png_uint_32>(rgba.size.width),
                 static_cast<png_uint_32>(rgba.size.height), 8,
                 rgba.opaque ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_RGBA, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (!metadata->icc.empty()) {
        png_set_iCCP(m_png, m_info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, metadata->icc.data(),
                     static_cast<png_uint_32>(metadata->icc.size()));
    }
    if (!metadata->exif.empty()) {
        png_set_eXIf_1(m_png, m_info, static_cast<png_uint_32>(metadata->exif.size()),
                       metadata->exif.data());
    }
    if (!metadata->xmp.empty()) {
        metadata->xmp.push_back(0);
        png_text text = {};
        text.compression = PNG_ITXT_COMPRESSION_NONE;
        char keyword[sizeof(kXmpKeyword)];
        std::memcpy(keyword, kXmpKeyword, sizeof(keyword));
        text.key = keyword;
        text.text = reinterpret_cast<png_charp>(metadata->xmp.data());
        png_set_text(m_png, m_info, &text, 1);
    }
    if (picture.density && picture.density->unit != 0) {
        const double length = picture.density->unit == kDotsAnInch ? kInch : 0.01;
        const auto dots = [length](std::uint16_t count) {
            return static_cast<png_uint_32>(std::lround(count / length));
        };
        png_set_pHYs(m_png, m_info, dots(picture.density->x), dots(picture.density->y),
                     PNG_RESOLUTION_METER);
    }
    png_write_info(m_png, m_info);
    if (rgba.opaque) png_set_filler(m_png, 0, PNG_FILLER_AFTER);
}

FileBytes PngWriter::write(const Picture& picture) {
    Metadata metadata = ReadMetadata(picture.segments);
    if (!m_info || !m_errors.guard([&] {
            writeHeader(picture, &metadata);
            for (int y = 0; y < picture.rgba.size.height; ++y) {
                png_write_row(m_png, picture.rgba.row(y));
            }
            png_write_end(m_png, m_info);
        })) {
        throw Failure(kExitSomeFailed, m_name, "not enough memory: use a smaller picture");
    }
    return std::move(m_file);
}

Picture DecodePng(const std::string& name, const FileBytes& file) {
    return PngReader(name, file).read();
}

FileBytes EncodePng(const std::string& name, Picture* picture, std::optional<int>) {
    MakeRgba(picture);
    return PngWriter(name).write(*picture);
}

}  // namespace

const PictureFormat kPngFormat = {"PNG", "png", kMaximumPictureSide, IsPng, DecodePng, EncodePng};

}  // namespace posteffect
