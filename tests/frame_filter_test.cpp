// Frames of moving pictures: their colours there and back, their padding, changes between them.
#include "apps/common/FrameFilter.h"

#include <gtest/gtest.h>
#include <posteffect/PostEffect.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "tests/support/FrameColors.h"
#include "tests/support/GuardedBuffer.h"

namespace {

using posteffect::ColorMatrix;
using posteffect::ColorRange;
using posteffect::FrameColor;
using posteffect::FrameFilter;
using posteffect::FrameView;
using posteffect::kEffects;
using testing_support::Byte;
using testing_support::GuardedBuffer;
using testing_support::kColors;
using testing_support::Name;
using testing_support::Samples;

constexpr uint8_t kPad = 0x5A;

enum Layout { kNv21, kNv12, kI420 };

// A frame whose rows are longer than the picture, in memory that ends with the picture.
class Frame {
  public:
    Frame(int width, int height, Layout layout, int extra)
        : m_width(width),
          m_height(height),
          m_lumaStride(width + extra),
          m_pairs((width + 1) / 2),
          m_rows((height + 1) / 2),
          m_step(layout == kI420 ? 1 : 2),
          m_chromaStride(m_pairs * m_step + extra),
          m_luma(Bytes(m_lumaStride, height, width)),
          m_chroma(Bytes(m_chromaStride, m_rows, m_pairs * m_step)),
          m_chroma2(Bytes(m_chromaStride, m_rows, m_pairs * m_step)) {
        view.width = width;
        view.height = height;
        view.luma = m_luma.data();
        view.lumaStride = m_lumaStride;
        view.u = m_chroma.data() + (layout == kNv21 ? 1 : 0);
        view.v = layout == kI420 ? m_chroma2.data() : m_chroma.data() + (layout == kNv12 ? 1 : 0);
        view.chromaStride = m_chromaStride;
        view.chromaStep = m_step;
        std::fill_n(m_luma.data(), Bytes(m_lumaStride, height, width), kPad);
        std::fill_n(m_chroma.data(), Bytes(m_chromaStride, m_rows, m_pairs * m_step), kPad);
        std::fill_n(m_chroma2.data(), Bytes(m_chromaStride, m_rows, m_pairs * m_step), kPad);
    }

    template <typename Sample>
    void fill(Sample sample) {
        forEach([&](uint8_t* byte, int plane, int x, int y) { *byte = sample(plane, x, y); });
    }
    std::vector<uint8_t> picture() {
        std::vector<uint8_t> bytes;
        forEach([&](const uint8_t* byte, int, int, int) { bytes.push_back(*byte); });
        return bytes;
    }
    // Bytes between the rows.
    bool paddingIsUntouched() {
        for (int y = 0; y + 1 < m_height; ++y) {
            for (int x = m_width; x < m_lumaStride; ++x) {
                if (view.luma[y * m_lumaStride + x] != kPad) return false;
            }
        }
        for (int y = 0; y + 1 < m_rows; ++y) {
            for (int x = m_pairs * m_step; x < m_chromaStride; ++x) {
                if (m_chroma.data()[y * m_chromaStride + x] != kPad) return false;
            }
        }
        return true;
    }

    FrameView view;

  private:
    static std::size_t Bytes(int stride, int rows, int last) {
        return static_cast<std::size_t>(stride * (rows - 1) + last);
    }
    template <typename Work>
    void forEach(Work work) {
        for (int y = 0; y < m_height; ++y) {
            for (int x = 0; x < m_width; ++x) work(view.luma + y * m_lumaStride + x, 0, x, y);
        }
        for (int y = 0; y < m_rows; ++y) {
            for (int x = 0; x < m_pairs; ++x) {
                work(view.u + y * m_chromaStride + x * m_step, 1, x, y);
                work(view.v + y * m_chromaStride + x * m_step, 2, x, y);
            }
        }
    }

    int m_width, m_height, m_lumaStride, m_pairs, m_rows, m_step, m_chromaStride;
    GuardedBuffer m_luma, m_chroma, m_chroma2;
};

uint8_t Scene(int plane, int x, int y) {
    const int wave = plane == 0 ? 90 + (x * 3 + y * 5) % 97 : 110 + (x * 2 + y + plane * 7) % 31;
    return static_cast<uint8_t>(wave);
}

void Set(FrameFilter& filter, const char* nick,
         const std::vector<posteffect::OptionValue>& values = {}) {
    for (const auto& effect : kEffects) {
        if (effect.nick != std::string(nick)) continue;
        filter.setEffect(effect, values.empty() ? posteffect::DefaultValues(effect) : values);
    }
}

std::vector<uint8_t> Filtered(FrameFilter& filter, Frame& frame, const FrameColor& color = {}) {
    frame.fill(Scene);
    EXPECT_EQ(filter.process(frame.view, color), kPostEffectOk);
    EXPECT_TRUE(frame.paddingIsUntouched());
    return frame.picture();
}

TEST(FrameFilter, LayoutAndRowLengthsMakeNoDifference) {
    FrameFilter filter;
    Set(filter, "vignette");
    for (const auto& [width, height] : {std::pair{64, 48}, {33, 35}, {641, 479}, {1, 1}, {2, 3}}) {
        SCOPED_TRACE(width);
        Frame plain(width, height, kNv21, 0);
        const auto expected = Filtered(filter, plain);
        for (const Layout layout : {kNv21, kNv12, kI420}) {
            Frame frame(width, height, layout, 13);
            EXPECT_EQ(Filtered(filter, frame), expected) << layout;
        }
    }
}

// The picture that the library works on where it lies is the one that it works on in a copy.
TEST(FrameFilter, FullRangeFramesOfTheLibrarysShapeNeedNoCopy) {
    std::vector<uint8_t> together(64 * 48 / 2 * 3);
    FrameView view;
    view.width = 64;
    view.height = 48;
    view.luma = together.data();
    view.lumaStride = view.chromaStride = 64;
    view.chromaStep = 2;
    view.v = view.luma + 64 * 48;
    view.u = view.v + 1;
    Frame apart(64, 48, kI420, 5);
    const FrameColor full = {ColorRange::kFull, ColorMatrix::kBt601};
    FrameFilter filter;
    Set(filter, "two-tone-h");
    const auto expected = Filtered(filter, apart, full);
    for (int y = 0; y < 48; ++y) {
        for (int x = 0; x < 64; ++x) view.luma[y * 64 + x] = Scene(0, x, y);
    }
    for (int y = 0; y < 24; ++y) {
        for (int x = 0; x < 32; ++x) {
            view.u[y * 64 + 2 * x] = Scene(1, x, y);
            view.v[y * 64 + 2 * x] = Scene(2, x, y);
        }
    }
    EXPECT_EQ(filter.process(view, full), kPostEffectOk);
    EXPECT_TRUE(std::equal(together.begin(), together.begin() + 64 * 48, expected.begin()));
}

// One colour in, and what a double-precision reference makes of it out, for all kinds of colours:
// with effect none to the bit, with a mirror (which only moves pixels) within two levels.
TEST(FrameFilter, ColoursComeBackAsTheyWere) {
    FrameFilter filter;
    for (const FrameColor& color : kColors) {
        SCOPED_TRACE(Name(color));
        for (int i = 0; i < 27; ++i) {
            const auto samples = Samples({i % 3 / 2.0, i / 3 % 3 / 2.0, i / 9 / 2.0}, color);
            const auto flat = [&](int plane, int, int) {
                return Byte(samples[static_cast<std::size_t>(plane)]);
            };
            Frame frame(48, 16, kNv12, 0);
            frame.fill(flat);
            const auto before = frame.picture();
            Set(filter, "none");
            EXPECT_EQ(filter.process(frame.view, color), kPostEffectOk);
            EXPECT_EQ(frame.picture(), before);
            Set(filter, "mirror");
            EXPECT_EQ(filter.process(frame.view, color), kPostEffectOk);
            const auto after = frame.picture();
            for (std::size_t k = 0; k < after.size(); ++k) {
                ASSERT_NEAR(after[k], before[k], 2) << i << " at " << k;
            }
        }
    }
}

TEST(FrameFilter, FoldsAboutTheFramesMiddleAndTurnsTheFoldWhileItRuns) {
    FrameFilter filter;
    Frame frame(100, 60, kNv12, 0);  // 28 columns short of the next unit
    const auto luma = [&](int x, int y) { return int{frame.view.luma[y * 100 + x]}; };
    Set(filter, "mirror", {{1.0, 0.0}});
    Filtered(filter, frame);
    for (int x = 0; x < 50; ++x) EXPECT_NEAR(luma(99 - x, 11), luma(x, 11), 2) << x;
    Set(filter, "mirror", {{0.0, 0.0}});
    Filtered(filter, frame);
    for (int y = 0; y < 30; ++y) EXPECT_NEAR(luma(7, 59 - y), luma(7, y), 2) << y;
}

TEST(FrameFilter, CropsRawGroupsAndSizesMayChangeWithEveryFrame) {
    FrameFilter filter;
    Frame frame(128, 96, kNv12, 0);
    Set(filter, "vignette");
    const auto whole = Filtered(filter, frame);
    filter.setCrop({0.5, 0.5, 0.5, 0.5});
    const auto part = Filtered(filter, frame);
    EXPECT_NE(part, whole);
    Set(filter, "sketch");
    Set(filter, "vignette");
    EXPECT_EQ(Filtered(filter, frame), part) << "the crop outlives a change of effect";
    Frame other(62, 98, kNv12, 0);
    Filtered(filter, other);
    EXPECT_EQ(Filtered(filter, frame), part) << "and one of size";
    filter.setCrop({});
    EXPECT_EQ(Filtered(filter, frame), whole);
    posteffect::RawGroups raw;
    raw.group1 = {480, 272, 480, 272};
    filter.setRawGroups(raw);
    EXPECT_NE(Filtered(filter, frame), whole);
    filter.setRawGroups({});
    EXPECT_EQ(Filtered(filter, frame), whole);
}

TEST(FrameFilter, LeavesFramesAsTheyWereWhenTheLibraryRefuses) {
    FrameFilter filter;
    Set(filter, "dots");
    setenv("POSTEFFECT_SYSROOT", "/nowhere", 1);
    Frame frame(62, 48, kI420, 3);
    frame.fill(Scene);
    const auto before = frame.picture();
    EXPECT_EQ(filter.process(frame.view, {}), kPostEffectNoEffect);
    EXPECT_EQ(frame.picture(), before);
    unsetenv("POSTEFFECT_SYSROOT");
    EXPECT_EQ(filter.process(frame.view, {}), kPostEffectOk) << "works once the files are there";
    EXPECT_NE(frame.picture(), before);
    FrameView nothing;
    EXPECT_EQ(filter.process(nothing, {}), kPostEffectNoEffect);
}

}  // namespace
