#include "apps/posteffect/Exif.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <jpeglib.h>

#include "apps/posteffect/Orientation.h"

namespace posteffect {
namespace {

constexpr char kExifName[] = "Exif\0";  // with its final NUL
constexpr std::size_t kMaximumSegment = 65533;

bool IsExif(const JpegSegment& segment) {
    return segment.marker == JPEG_APP0 + 1 && segment.startsWith(kExifName, sizeof(kExifName));
}

// Notes damage of the directories. Makers' private notes are often odd and always carried along.
void NoteDamage(ExifLog*, ExifLogCode code, const char* domain, const char*, va_list,
                void* broken) {
    if (code == EXIF_LOG_CODE_CORRUPT_DATA && std::strcmp(domain, "ExifData") == 0) {
        *static_cast<bool*>(broken) = true;
    }
}

int ReadNumber(ExifData* data, ExifIfd directory, ExifTag tag) {
    const ExifEntry* entry = exif_content_get_entry(data->ifd[directory], tag);
    if (!entry || entry->format != EXIF_FORMAT_SHORT || entry->size < 2) return 0;
    return exif_get_short(entry->data, exif_data_get_byte_order(data));
}

}  // namespace

Exif::Exif(const std::vector<JpegSegment>& segments) : m_mem(exif_mem_new_default()) {
    while (m_index < segments.size() && !IsExif(segments[m_index])) ++m_index;
    if (m_index == segments.size()) return;

    bool broken = false;
    const std::unique_ptr<ExifLog, Unref> log(exif_log_new_mem(m_mem.get()));
    exif_log_set_func(log.get(), NoteDamage, &broken);
    m_data.reset(exif_data_new_mem(m_mem.get()));
    // Unknown and misplaced tags are somebody's too.
    exif_data_unset_option(m_data.get(), EXIF_DATA_OPTION_IGNORE_UNKNOWN_TAGS);
    exif_data_unset_option(m_data.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
    exif_data_log(m_data.get(), log.get());
    const std::vector<std::uint8_t>& bytes = segments[m_index].bytes;
    exif_data_load_data(m_data.get(), bytes.data(), static_cast<unsigned>(bytes.size()));
    exif_data_log(m_data.get(), nullptr);
    if (broken || isEmpty()) {
        m_data.reset();
        return;
    }
    const int orientation = ReadNumber(m_data.get(), EXIF_IFD_0, EXIF_TAG_ORIENTATION);
    if (orientation >= 1 && orientation <= 8) m_orientation = orientation;
}

void Exif::update(Size size, bool upright, const ThumbnailMaker& makeThumbnail,
                  std::vector<JpegSegment>* segments) const {
    if (!m_data) return;
    if (upright) {
        setNumber(EXIF_IFD_0, EXIF_TAG_ORIENTATION, 1);
        setNumber(EXIF_IFD_1, EXIF_TAG_ORIENTATION, 1);
    }
    if (upright && SwapsSides(m_orientation)) {
        setNumber(EXIF_IFD_0, EXIF_TAG_IMAGE_WIDTH, size.width);
        setNumber(EXIF_IFD_0, EXIF_TAG_IMAGE_LENGTH, size.height);
        setNumber(EXIF_IFD_EXIF, EXIF_TAG_PIXEL_X_DIMENSION, size.width);
        setNumber(EXIF_IFD_EXIF, EXIF_TAG_PIXEL_Y_DIMENSION, size.height);
    }
    JpegSegment& segment = (*segments)[m_index];
    if (m_data->data) {
        for (const int quality : {85, 60, 30}) {
            setThumbnail(makeThumbnail(quality));
            if (save(&segment)) return;
        }
    }
    setThumbnail({});
    // Better no EXIF than one that turns an upright picture.
    if (!save(&segment)) segments->erase(segments->begin() + static_cast<long>(m_index));
}

bool Exif::hasThumbnail() const {
    return m_data && (m_data->data || m_data->ifd[EXIF_IFD_1]->count > 0);
}

std::vector<std::uint8_t> Exif::thumbnail() const {
    if (!m_data || !m_data->data) return {};
    return {m_data->data, m_data->data + m_data->size};
}

std::string Exif::text(ExifIfd directory, ExifTag tag) const {
    const ExifEntry* entry = m_data ? exif_content_get_entry(m_data->ifd[directory], tag) : nullptr;
    if (!entry || entry->format != EXIF_FORMAT_ASCII) return "";
    std::string text(entry->data, entry->data + entry->size);
    text.resize(std::min(text.find('\0'), text.size()));
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

bool Exif::isEmpty() const {
    for (const ExifContent* directory : m_data->ifd) {
        if (directory->count > 0) return false;
    }
    return true;
}

// Changes a tag that is there; never adds one.
void Exif::setNumber(ExifIfd directory, ExifTag tag, int value) const {
    ExifEntry* entry = exif_content_get_entry(m_data->ifd[directory], tag);
    if (!entry) return;
    const ExifByteOrder order = exif_data_get_byte_order(m_data.get());
    if (entry->format == EXIF_FORMAT_SHORT && entry->size >= 2) {
        exif_set_short(entry->data, order, static_cast<ExifShort>(value));
    } else if (entry->format == EXIF_FORMAT_LONG && entry->size >= 4) {
        exif_set_long(entry->data, order, static_cast<ExifLong>(value));
    }
}

// An empty one takes away the directory that describes it, too.
void Exif::setThumbnail(const std::vector<std::uint8_t>& jpeg) const {
    exif_mem_free(m_mem.get(), m_data->data);
    m_data->data = nullptr;
    m_data->size = 0;
    if (jpeg.empty()) {
        ExifContent* directory = m_data->ifd[EXIF_IFD_1];
        while (directory->count > 0) exif_content_remove_entry(directory, directory->entries[0]);
        return;
    }
    const auto size = static_cast<unsigned>(jpeg.size());
    m_data->data = static_cast<unsigned char*>(exif_mem_alloc(m_mem.get(), size));
    if (!m_data->data) return;
    std::memcpy(m_data->data, jpeg.data(), jpeg.size());
    m_data->size = size;
}

// False when the EXIF does not fit into a segment; the segment is as before then.
bool Exif::save(JpegSegment* segment) const {
    unsigned char* bytes = nullptr;
    unsigned size = 0;
    exif_data_save_data(m_data.get(), &bytes, &size);
    const bool fits = bytes && size > 0 && size <= kMaximumSegment;
    if (fits) segment->bytes.assign(bytes, bytes + size);
    exif_mem_free(m_mem.get(), bytes);
    return fits;
}

}  // namespace posteffect
