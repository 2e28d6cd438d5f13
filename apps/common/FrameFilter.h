// Moving pictures through the library: frames of any size and colorimetry, in place.
#pragma once

#include <posteffect/EffectCatalog.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

#include "apps/common/EffectParameters.h"
#include "apps/common/FrameColor.h"

namespace posteffect {

// A 4:2:0 picture in somebody's memory. Chroma planes have half the size, rounded up.
struct FrameView {
    int width = 0;  // pixels, any
    int height = 0;
    std::uint8_t* luma = nullptr;
    int lumaStride = 0;  // bytes from row to row
    std::uint8_t* u = nullptr;
    std::uint8_t* v = nullptr;
    int chromaStride = 0;  // bytes from row to row
    int chromaStep = 1;    // bytes from sample to sample: 1 planar, 2 interleaved (NV12, NV21)
};

// The part of the frames that is shown, enlarged to the whole frame; fractions.
struct FrameCrop {
    double x = 0.0;
    double y = 0.0;
    double width = 1.0;
    double height = 1.0;
};

// The numbers of the parameter groups; each that is there stands instead of what the options make.
struct RawGroups {
    std::optional<std::array<int, 4>> group0;
    std::optional<std::array<int, 4>> group1;
};

// One service and the frames that go through it. Settings may change at any time, the size and the
// colours with every frame. Frames are padded to the sizes that the library likes, and converted to
// its colours and back; nothing outside the picture is written.
// Thread: one at a time; the GPU work runs on the service's own.
class FrameFilter {
  public:
    FrameFilter();
    ~FrameFilter();
    FrameFilter(const FrameFilter&) = delete;
    FrameFilter& operator=(const FrameFilter&) = delete;

    // All in force from the next frame on. Without an effect, or with effect none, frames stay as
    // they are. The angle of tilt-shift's band is the whole process's.
    void setEffect(const EffectInfo& effect, const OptionValues& values);
    void setRawGroups(const RawGroups& groups);
    void setCrop(const FrameCrop& crop);

    // Filters in place. A status of the library (kPostEffectOk ...); the frame is as it was unless
    // the status is kPostEffectOk.
    int process(const FrameView& frame, const FrameColor& color);

  private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace posteffect
