#include "apps/posteffect/Snapshot.h"

#include "apps/common/GstFrameColor.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/JpegPicture.h"
#include "apps/posteffect/OutputFile.h"

namespace posteffect {
namespace {

constexpr int kQuality = 92;

// A mapped frame.
class Mapping {
  public:
    Mapping(const GstVideoInfo& info, GstBuffer* buffer)
        : m_valid(gst_video_frame_map(&m_frame, &info, buffer, GST_MAP_READ) != FALSE) {}
    ~Mapping() {
        if (m_valid) gst_video_frame_unmap(&m_frame);
    }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    bool valid() const { return m_valid; }
    const std::uint8_t* row(guint component, int y) const {
        return static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_COMP_DATA(&m_frame, component)) +
               std::ptrdiff_t{GST_VIDEO_FRAME_COMP_STRIDE(&m_frame, component)} * y;
    }

  private:
    GstVideoFrame m_frame{};
    bool m_valid;
};

}  // namespace

void WriteSnapshot(const std::string& path, GstBuffer* buffer, const GstCaps* caps,
                   bool overwrite) {
    GstVideoInfo info;
    gst_video_info_init(&info);
    if (!gst_video_info_from_caps(&info, caps)) {
        throw Failure(kExitSomeFailed, path, "not written: the frame's kind is unknown");
    }
    const Mapping frame(info, buffer);
    if (!frame.valid()) {
        throw Failure(kExitSomeFailed, path, "not written: the frame cannot be read");
    }
    const ColorConversion conversion(ColorOf(info), {ColorRange::kFull, ColorMatrix::kBt601});
    const int width = GST_VIDEO_INFO_WIDTH(&info);
    const int height = GST_VIDEO_INFO_HEIGHT(&info);
    const int step = GST_VIDEO_INFO_COMP_PSTRIDE(&info, 1);
    JpegPicture picture;
    picture.planes.y = Plane(width, height);
    picture.planes.u = Plane((width + 1) / 2, (height + 1) / 2);
    picture.planes.v = picture.planes.u;
    for (int y = 0; y < height; ++y) {
        conversion.luma(picture.planes.y.row(y), frame.row(0, y), frame.row(1, y / 2),
                        frame.row(2, y / 2), step, width);
    }
    for (int y = 0; y < picture.planes.u.height; ++y) {
        conversion.chroma(picture.planes.u.row(y), picture.planes.v.row(y), 1, frame.row(1, y),
                          frame.row(2, y), step, picture.planes.u.width);
    }
    OutputFile(path, "", overwrite).write(EncodeJpeg(path, picture, kQuality));
}

}  // namespace posteffect
