// Frames of moving pictures: their colours there and back, their padding, changes between them.
#include "apps/common/FrameFilter.h"

#include <gtest/gtest.h>
#include <posteffect/PostEffect.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <utility>
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

// The library's own is NV21 without a byte between the planes.
enum Layout { kNv21, kNv12, kI420, kLibrarys };

// A frame whose rows are longer than the picture, in memory that ends with the picture.
class Frame {
  public:
    Frame(int width, int height, Layout layout, int extra)
        : m_pairs((width + 1) / 2), m_rows((height + 1) / 2) {
        view.width = width;
        view.height = height;
        view.chromaStep = layout == kI420 ? 1 : 2;
        view.lumaStride = width + extra;
        view.chromaStride = m_pairs * view.chromaStep + extra;
        const auto chroma = [&] {
            return memory(view.chromaStride * (m_rows - 1) + m_pairs * view.chromaStep);
        };
        const int luma = view.lumaStride * (height - 1) + width;
        view.luma = memory(layout == kLibrarys ? luma / 2 * 3 : luma);
        uint8_t* const first = layout == kLibrarys ? view.luma + luma : chroma();
        view.u = layout == kNv21 || layout == kLibrarys ? first + 1 : first;
        view.v = layout == kI420 ? chroma() : layout == kNv12 ? first + 1 : first;
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
    // Whether nothing was written between the rows. The picture is lost.
    bool paddingIsUntouched() {
        fill([](int, int, int) { return kPad; });
        return std::all_of(m_memory.begin(), m_memory.end(), [](const auto& part) {
            return std::count(part.first.data(), part.first.data() + part.second, kPad) ==
                   part.second;
        });
    }

    FrameView view;

  private:
    uint8_t* memory(int size) {
        m_memory.emplace_back(GuardedBuffer(static_cast<std::size_t>(size)), size);
        return std::fill_n(m_memory.back().first.data(), size, kPad) - size;
    }
    template <typename Work>
    void forEach(Work work) {
        for (int y = 0; y < view.height; ++y) {
            for (int x = 0; x < view.width; ++x) work(view.luma + y * view.lumaStride + x, 0, x, y);
        }
        for (int y = 0; y < m_rows; ++y) {
            for (int x = 0; x < m_pairs; ++x) {
                const int at = y * view.chromaStride + x * view.chromaStep;
                work(view.u + at, 1, x, y);
                work(view.v + at, 2, x, y);
            }
        }
    }

    const int m_pairs, m_rows;
    std::vector<std::pair<GuardedBuffer, int>> m_memory;
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

// What the filter makes of the scene in the frame.
std::vector<uint8_t> Filtered(FrameFilter& filter, Frame& frame, const FrameColor& color = {}) {
    frame.fill(Scene);
    EXPECT_EQ(filter.process(frame.view, color), kPostEffectOk);
    std::vector<uint8_t> picture = frame.picture();
    EXPECT_TRUE(frame.paddingIsUntouched());
    return picture;
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
    const FrameColor full = {ColorRange::kFull, ColorMatrix::kBt601};
    FrameFilter filter;
    Set(filter, "two-tone-h");
    Frame together(64, 48, kLibrarys, 0);
    Frame apart(64, 48, kI420, 5);
    EXPECT_EQ(Filtered(filter, together, full), Filtered(filter, apart, full));
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
    Set(filter, "mirror", {{1.0, 0.0}});
    const auto across = Filtered(filter, frame);
    for (std::size_t x = 0; x < 50; ++x) EXPECT_NEAR(across[1199 - x], across[1100 + x], 2) << x;
    Set(filter, "mirror", {{0.0, 0.0}});
    const auto down = Filtered(filter, frame);
    for (std::size_t y = 0; y < 30; ++y) {
        EXPECT_NEAR(down[(59 - y) * 100 + 7], down[y * 100 + 7], 2) << y;
    }
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
