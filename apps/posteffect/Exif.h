// The EXIF segment of a photo: which way is up, and what has to change once the pixels did.
#pragma once

#include <libexif/exif-data.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "apps/posteffect/JpegPicture.h"

namespace posteffect {

// Reads one picture's EXIF. Broken EXIF counts as none: such a segment is never changed.
class Exif {
  public:
    explicit Exif(const std::vector<JpegSegment>& segments);

    // 1 to 8; 1 where EXIF has nothing valid to say.
    int orientation() const { return m_orientation; }
    bool hasThumbnail() const;
    // As it is in the file; empty when there is none.
    std::vector<std::uint8_t> thumbnail() const;
    // A tag of text without the blanks around it; empty when there is none.
    std::string text(ExifIfd directory, ExifTag tag) const;

    // Brings the segment in line with the finished picture: where it was turned `upright`,
    // orientation 1 and its size; and the thumbnail that `makeThumbnail` returns for a quality from
    // 1 to 100. The quality falls until the segment fits; where none fits, and where the old one
    // was no JPEG, the thumbnail goes. Everything else stays.
    using ThumbnailMaker = std::function<std::vector<std::uint8_t>(int quality)>;
    void update(Size size, bool upright, const ThumbnailMaker& makeThumbnail,
                std::vector<JpegSegment>* segments) const;

  private:
    struct Unref {
        void operator()(ExifData* data) const { exif_data_unref(data); }
        void operator()(ExifMem* mem) const { exif_mem_unref(mem); }
        void operator()(ExifLog* log) const { exif_log_unref(log); }
    };

    bool isEmpty() const;
    void setNumber(ExifIfd directory, ExifTag tag, int value) const;
    void setThumbnail(const std::vector<std::uint8_t>& jpeg) const;
    bool save(JpegSegment* segment) const;

    std::unique_ptr<ExifMem, Unref> m_mem;
    std::unique_ptr<ExifData, Unref> m_data;  // null: nothing that could be changed
    std::size_t m_index = 0;                  // of the segment
    int m_orientation = 1;
};

}  // namespace posteffect
