#include "apps/common/FrameFilter.h"

#include <posteffect/TiltShift.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "apps/common/ServiceSession.h"

namespace posteffect {
namespace {

constexpr FrameColor kLibraryColor = {ColorRange::kFull, ColorMatrix::kBt601};
constexpr int kWidthUnit = 32;  // rows of the library's graphics buffers come in this unit

constexpr int RoundUpTo(int value, int unit) {
    return (value + unit - 1) / unit * unit;
}

// A frame among the columns that are added on both sides, so that its middle stays the middle. A
// last row is added to odd heights.
struct Padding {
    Padding() = default;
    Padding(int frameWidth, int frameHeight)
        : width(RoundUpTo(RoundUpTo(frameWidth, 2), kWidthUnit)),
          height(RoundUpTo(frameHeight, 2)),
          left((width - RoundUpTo(frameWidth, 2)) / 4 * 2),
          shownX(static_cast<double>(frameWidth) / width),
          shownY(static_cast<double>(frameHeight) / height),
          startX(static_cast<double>(left) / width) {}

    int width = 0;  // with the padding, pixels
    int height = 0;
    int left = 0;
    double shownX = 1.0;  // the frame's part, fractions
    double shownY = 1.0;
    double startX = 0.0;
};

// Options are fractions of the frame; the library counts in the padded one.
OptionValues Padded(const EffectInfo& effect, OptionValues values, const Padding& padding) {
    for (std::size_t i = 0; i < values.size() && i < effect.options.count; ++i) {
        OptionValue& value = values[i];
        switch (effect.options.first[i].target) {
            case OptionTarget::kCenter:
                value.x = padding.startX + value.x * padding.shownX;
                value.y *= padding.shownY;
                break;
            case OptionTarget::kRadius:
                value.x *= padding.shownX;
                break;
            default:
                break;
        }
    }
    return values;
}

// The pixels of a row from `left` on for `length` pixels, repeated to both ends of it.
void PadRow(std::uint8_t* row, int left, int length, int width, int unit) {
    for (int x = left; x > 0; x -= unit) {
        std::memcpy(row + x - unit, row + left, static_cast<std::size_t>(unit));
    }
    for (int x = left + length; x < width; x += unit) {
        std::memcpy(row + x, row + left + length - unit, static_cast<std::size_t>(unit));
    }
}

// Whether the library can work on the frame where it lies.
bool IsLibraryFrame(const FrameView& frame, const FrameColor& color, const Padding& padding) {
    return color == kLibraryColor && frame.width == padding.width &&
           frame.height == padding.height && frame.lumaStride == frame.width &&
           frame.chromaStep == 2 && frame.chromaStride == frame.width && frame.u == frame.v + 1 &&
           frame.v == frame.luma + std::ptrdiff_t{frame.width} * frame.height;
}

}  // namespace

class FrameFilter::Impl {
  public:
    const EffectInfo* m_effect = nullptr;
    OptionValues m_values;
    RawGroups m_groups;
    FrameCrop m_crop;
    bool m_changed = true;

    int process(const FrameView& frame, const FrameColor& color) {
        if (m_effect == nullptr || m_effect->number == kEffectBypass) return kPostEffectOk;
        if (frame.width < 1 || frame.height < 1) return kPostEffectNoEffect;
        const Padding padding(frame.width, frame.height);
        const int status = prepare(frame, padding);
        if (status != kPostEffectOk) return status;
        if (IsLibraryFrame(frame, color, padding)) return filter(frame.luma);
        const ColorConversion toLibrary(color, kLibraryColor);
        read(frame, toLibrary, padding);
        const int result = filter(m_buffer.data());
        if (result == kPostEffectOk) write(frame, ColorConversion(kLibraryColor, color), padding);
        return result;
    }

  private:
    // Tells the service what has changed since the last frame.
    int prepare(const FrameView& frame, const Padding& padding) {
        const bool resized = frame.width != m_width || frame.height != m_height;
        if (!m_changed && !resized) return kPostEffectOk;
        int status = m_session.run([](IPostEffect& s) { return s.start(); });
        if (status == kPostEffectOk) status = sendParameters(padding);
        if (status == kPostEffectOk && resized) {
            status = m_session.run(
                [&](IPostEffect& s) { return s.startPreview(padding.width, padding.height); });
        }
        // The library forgets the crop with every effect and size.
        if (status == kPostEffectOk) status = sendCrop(padding);
        if (status != kPostEffectOk) return status;
        m_width = frame.width;
        m_height = frame.height;
        m_changed = false;
        return kPostEffectOk;
    }

    int sendParameters(const Padding& padding) {
        ParameterGroups groups = MakeGroups(*m_effect, Padded(*m_effect, m_values, padding));
        const auto replace = [](const std::optional<std::array<int, 4>>& raw,
                                std::array<long, 4>* group) {
            if (raw) std::copy(raw->begin(), raw->end(), group->begin());
        };
        replace(m_groups.group0, &groups.group0);
        replace(m_groups.group1, &groups.group1);
        // The mirror looks at its orientation only when it is chosen.
        if (m_effect->number == kEffectMirror) {
            const int status = send(FlattenGroups(kEffects[kEffectBypass], {}));
            if (status != kPostEffectOk) return status;
        }
        return send(FlattenGroups(*m_effect, groups));
    }

    int send(const std::string& parameters) {
        const android::String8 text(parameters.c_str());
        return m_session.run([&](IPostEffect& s) { return s.setParameters(text); });
    }

    int sendCrop(const Padding& padding) {
        const double left = padding.startX + m_crop.x * padding.shownX;
        const double top = m_crop.y * padding.shownY;
        const auto pixels = [](double fraction, int side) {
            return static_cast<int>(std::lround(fraction * side));
        };
        // All of the frame is all of the padded one: its borders show nothing foreign.
        const bool all = m_crop.width >= 1.0 && m_crop.height >= 1.0;
        const int x = all ? 0 : pixels(left, padding.width);
        const int y = all ? 0 : pixels(top, padding.height);
        const int width =
            all ? padding.width : std::max(1, pixels(m_crop.width * padding.shownX, padding.width));
        const int height =
            all ? padding.height
                : std::max(1, pixels(m_crop.height * padding.shownY, padding.height));
        return m_session.run([=](IPostEffect& s) { return s.setCrop(x, y, width, height); });
    }

    int filter(std::uint8_t* pixels) {
        return m_session.run([=](IPostEffect& s) { return s.handlePreview(-1, pixels, 0); });
    }

    // Into the buffer, padded.
    void read(const FrameView& frame, const ColorConversion& conversion, const Padding& padding) {
        const auto width = static_cast<std::size_t>(padding.width);
        m_buffer.resize(width * static_cast<std::size_t>(padding.height) / 2 * 3);
        std::uint8_t* row = m_buffer.data();
        for (int y = 0; y < padding.height; ++y, row += width) {
            const std::ptrdiff_t from = std::min(y, frame.height - 1);
            const std::ptrdiff_t pair = from / 2 * frame.chromaStride;
            conversion.luma(row + padding.left, frame.luma + from * frame.lumaStride,
                            frame.u + pair, frame.v + pair, frame.chromaStep, frame.width);
            PadRow(row, padding.left, frame.width, padding.width, 1);
        }
        const int pairs = (frame.width + 1) / 2;
        for (int y = 0; y < padding.height / 2; ++y, row += width) {
            const std::ptrdiff_t from = std::ptrdiff_t{y} * frame.chromaStride;
            std::uint8_t* first = row + padding.left;
            conversion.chroma(first + 1, first, 2, frame.u + from, frame.v + from, frame.chromaStep,
                              pairs);
            PadRow(row, padding.left, 2 * pairs, padding.width, 2);
        }
    }

    // Back into the frame, without the padding.
    void write(const FrameView& frame, const ColorConversion& conversion, const Padding& padding) {
        const std::ptrdiff_t width = padding.width;
        const std::uint8_t* luma = m_buffer.data() + padding.left;
        const std::uint8_t* chroma = luma + width * padding.height;
        for (std::ptrdiff_t y = 0; y < frame.height; ++y) {
            const std::uint8_t* pairs = chroma + y / 2 * width;
            conversion.luma(frame.luma + y * frame.lumaStride, luma + y * width, pairs + 1, pairs,
                            2, frame.width);
        }
        for (std::ptrdiff_t y = 0; y < (frame.height + 1) / 2; ++y) {
            const std::ptrdiff_t to = y * frame.chromaStride;
            const std::uint8_t* pairs = chroma + y * width;
            conversion.chroma(frame.u + to, frame.v + to, frame.chromaStep, pairs + 1, pairs, 2,
                              (frame.width + 1) / 2);
        }
    }

    ServiceSession m_session;
    std::vector<std::uint8_t> m_buffer;
    int m_width = 0;  // of the last frame
    int m_height = 0;
};

FrameFilter::FrameFilter() : m_impl(std::make_unique<Impl>()) {}

FrameFilter::~FrameFilter() = default;

void FrameFilter::setEffect(const EffectInfo& effect, const OptionValues& values) {
    m_impl->m_effect = &effect;
    m_impl->m_values = values;
    m_impl->m_changed = true;
    for (std::size_t i = 0; i < values.size() && i < effect.options.count; ++i) {
        if (effect.options.first[i].target == OptionTarget::kBandAngle) {
            setTiltShiftAngle(static_cast<float>(values[i].x));
        }
    }
}

void FrameFilter::setRawGroups(const RawGroups& groups) {
    m_impl->m_groups = groups;
    m_impl->m_changed = true;
}

void FrameFilter::setCrop(const FrameCrop& crop) {
    m_impl->m_crop = crop;
    m_impl->m_changed = true;
}

int FrameFilter::process(const FrameView& frame, const FrameColor& color) {
    return m_impl->process(frame, color);
}

}  // namespace posteffect
