// The colours of GStreamer's video frames in this project's terms.
#pragma once

#include <gst/video/video.h>

#include "apps/common/FrameColor.h"

namespace posteffect {

inline FrameColor ColorOf(const GstVideoInfo& info) {
    FrameColor color;
    color.range = info.colorimetry.range == GST_VIDEO_COLOR_RANGE_0_255 ? ColorRange::kFull
                                                                        : ColorRange::kLimited;
    switch (info.colorimetry.matrix) {
        case GST_VIDEO_COLOR_MATRIX_BT709:
            color.matrix = ColorMatrix::kBt709;
            break;
        case GST_VIDEO_COLOR_MATRIX_BT2020:
            color.matrix = ColorMatrix::kBt2020;
            break;
        case GST_VIDEO_COLOR_MATRIX_UNKNOWN:
            color.matrix = UsualMatrix(info.height);
            break;
        default:
            color.matrix = ColorMatrix::kBt601;
            break;
    }
    return color;
}

}  // namespace posteffect
