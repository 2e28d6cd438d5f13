// Colours of frames on the way from each kind to every other, for each instruction set.
#include "apps/common/FrameColor.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/FrameColors.h"

namespace {

using posteffect::ColorConversion;
using posteffect::FrameColor;
using testing_support::Byte;
using testing_support::kColors;
using testing_support::Name;
using testing_support::Samples;

constexpr uint8_t kPad = 0x5A;

// Where the first U and V lie, and how far it is to the next.
struct ChromaOrder {
    int step;
    std::size_t u, v;
};
constexpr ChromaOrder kChromaOrders[] = {{1, 0, 256}, {2, 0, 1}, {2, 1, 0}, {3, 0, 2}};

// Rows of all the samples (Y, then U, then V) and of one less, against what each gives alone.
void ExpectRowsGive(const std::vector<uint8_t>& alone, const ColorConversion& conversion,
                    const std::vector<uint8_t>& in, const ChromaOrder& order) {
    const std::size_t count = in.size() / 3;
    std::vector<uint8_t> luma(2 * count);
    std::vector<uint8_t> chroma(1024);
    const auto at = [&order](std::size_t first, std::size_t i) {
        return first + i * static_cast<std::size_t>(order.step);
    };
    for (std::size_t i = 0; i < count; ++i) {
        luma[2 * i] = luma[2 * i + 1] = in[i];
        chroma[at(order.u, i)] = in[count + i];
        chroma[at(order.v, i)] = in[2 * count + i];
    }
    for (const std::size_t pairs : {count, count - 1}) {
        std::vector<uint8_t> outLuma(2 * count, kPad);
        std::vector<uint8_t> outChroma(chroma.size(), kPad);
        conversion.luma(outLuma.data(), luma.data(), &chroma[order.u], &chroma[order.v], order.step,
                        static_cast<int>(2 * pairs - 1));
        conversion.chroma(&outChroma[order.u], &outChroma[order.v], order.step, &chroma[order.u],
                          &chroma[order.v], order.step, static_cast<int>(pairs));
        for (std::size_t i = 0; i < count; ++i) {
            const bool inside = i < pairs;
            ASSERT_EQ(outLuma[2 * i], inside ? alone[i] : kPad) << i;
            ASSERT_EQ(outLuma[2 * i + 1], i + 1 < pairs ? alone[i] : kPad) << i;
            ASSERT_EQ(outChroma[at(order.u, i)], inside ? alone[count + i] : kPad) << i;
            ASSERT_EQ(outChroma[at(order.v, i)], inside ? alone[2 * count + i] : kPad) << i;
        }
    }
}

TEST(FrameColor, EveryKindBecomesEveryOther) {
    for (const FrameColor& from : kColors) {
        for (const FrameColor& to : kColors) {
            SCOPED_TRACE(Name(from) + " to " + Name(to));
            const ColorConversion conversion(from, to);
            EXPECT_EQ(conversion.isIdentity(), from == to);
            constexpr std::size_t kCount = 6 * 6 * 6;
            // One at a time, which no vectors do; then all in rows, for each instruction set.
            std::vector<uint8_t> in(3 * kCount);
            std::vector<uint8_t> alone(3 * kCount);
            for (std::size_t i = 0; i < kCount; ++i) {
                const std::size_t steps[] = {i % 6, i / 6 % 6, i / 36};
                std::array<double, 3> rgb{};
                for (std::size_t c = 0; c < 3; ++c) rgb[c] = static_cast<double>(steps[c]) / 5.0;
                const auto samples = Samples(rgb, from);
                const auto expected = Samples(rgb, to);
                for (std::size_t c = 0; c < 3; ++c) in[c * kCount + i] = Byte(samples[c]);
                const uint8_t* u = &in[kCount + i];
                const uint8_t* v = &in[2 * kCount + i];
                conversion.luma(&alone[i], &in[i], u, v, 1, 1);
                conversion.chroma(&alone[kCount + i], &alone[2 * kCount + i], 1, u, v, 1, 1);
                // The input's own rounding, up to half a level in each of its samples, is in it.
                for (std::size_t c = 0; c < 3; ++c) {
                    EXPECT_NEAR(alone[c * kCount + i], std::clamp(expected[c], 0.0, 255.0), 1.3);
                }
            }
            for (const int64_t target : hwy::SupportedAndGeneratedTargets()) {
                hwy::SetSupportedTargetsForTest(target);
                for (const ChromaOrder& order : kChromaOrders) {
                    SCOPED_TRACE(std::string(hwy::TargetName(target)) + " " +
                                 std::to_string(order.step) + std::to_string(order.v));
                    ExpectRowsGive(alone, conversion, in, order);
                }
            }
            hwy::SetSupportedTargetsForTest(0);
        }
    }
}

}  // namespace
