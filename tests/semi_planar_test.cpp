// The conversion routines against a model that moves one byte at a time.
#include <gtest/gtest.h>
#include <hwy/targets.h>
#include <posteffect/SemiPlanar.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <random>
#include <vector>

#include "engine/SemiPlanarRect.h"
#include "tests/support/GuardedBuffer.h"

namespace {

using testing_support::GuardedBuffer;

constexpr uint8_t kUntouched = 0xA5;

// Random planes, the last byte right before memory that cannot be read.
struct Planes {
    Planes(int stride_, int height_, unsigned seed)
        : stride(stride_), height(height_), buffer(size()) {
        std::mt19937 random(seed);
        std::generate_n(buffer.data(), size(), [&] { return static_cast<uint8_t>(random()); });
    }
    std::size_t size() const {
        return static_cast<std::size_t>(stride) * static_cast<std::size_t>(height + height / 2);
    }
    const uint8_t* luma() const { return buffer.data(); }
    const uint8_t* chroma() const { return buffer.data() + stride * height; }

    int stride;
    int height;
    GuardedBuffer buffer;
};

// A destination of exactly so many bytes before memory that cannot be written.
struct Target {
    explicit Target(int bytes) : size(static_cast<std::size_t>(bytes)), buffer(size) {
        std::memset(buffer.data(), kUntouched, size);
    }
    std::vector<uint8_t> bytes() const { return {buffer.data(), buffer.data() + size}; }

    std::size_t size;
    GuardedBuffer buffer;
};

// Byte by byte: `pixels` of each row of `pairs` pairs of rows, with every position explicit.
struct Model {
    std::vector<uint8_t> out;
    int pixelBytes = 4;

    void Put(int at, const uint8_t* luma, const uint8_t* pair) {
        uint8_t* pixel = &out[static_cast<std::size_t>(at)];
        pixel[0] = luma[0];
        pixel[1] = pair[0];
        pixel[2] = pair[1];
        if (pixelBytes == 4) pixel[3] = 255;
    }
    void Row(int at, const uint8_t* luma, const uint8_t* chroma, int pixels) {
        for (int i = 0; i < pixels; ++i) Put(at + i * pixelBytes, luma + i, chroma + i / 2 * 2);
    }
};

// Runs the test body once for each instruction set of this machine.
template <typename Body>
void ForEachTarget(Body body) {
    for (const int64_t target : hwy::SupportedAndGeneratedTargets()) {
        SCOPED_TRACE(hwy::TargetName(target));
        hwy::SetSupportedTargetsForTest(target);
        body();
    }
    hwy::SetSupportedTargetsForTest(0);
}

void ExpectSame(const Target& actual, const std::vector<uint8_t>& expected, const char* form) {
    const std::vector<uint8_t> bytes = actual.bytes();
    const auto difference = std::mismatch(bytes.begin(), bytes.end(), expected.begin());
    EXPECT_EQ(difference.first, bytes.end())
        << form << ": first difference at byte " << difference.first - bytes.begin();
}

// Whole-frame forms: groups of 16; later rows of packed buffers shift by what was left out.
void ExpectWholeFrameForms(int width, int height) {
    const Planes src(width, height, static_cast<unsigned>(width * 100 + height));
    const int converted = width / 16 * 16;
    const int pairs = width >= 16 ? height / 2 : 0;
    for (const int pixelBytes : {3, 4}) {
        Model model{
            std::vector<uint8_t>(static_cast<std::size_t>(width * height * pixelBytes), kUntouched),
            pixelBytes};
        for (int pair = 0; pair < pairs; ++pair) {
            const int start = pair * (width + converted);
            const uint8_t* chroma = src.chroma() + pair * converted;
            model.Row(start * pixelBytes, src.luma() + start, chroma, converted);
            model.Row((start + width) * pixelBytes, src.luma() + start + width, chroma, converted);
        }
        Target target(width * height * pixelBytes);
        if (pixelBytes == 3) {
            sp2yuv(target.buffer.data(), src.luma(), width, height);
        } else {
            sp2yuvx(target.buffer.data(), src.luma(), width, height);
        }
        ExpectSame(target, model.out, pixelBytes == 3 ? "sp2yuv" : "sp2yuvx");
    }

    const int stride = width + 5;
    Model model{std::vector<uint8_t>(static_cast<std::size_t>(stride * height * 4), kUntouched)};
    for (int pair = 0; pair < pairs; ++pair) {
        const int start = pair * (width + converted);
        for (int row = 0; row < 2; ++row) {
            model.Row((2 * pair + row) * stride * 4, src.luma() + start + row * width,
                      src.chroma() + pair * converted, converted);
        }
    }
    Target target(stride * height * 4);
    sp2yuvx(target.buffer.data(), stride, src.luma(), width, height);
    ExpectSame(target, model.out, "sp2yuvx with a stride");
}

// Rectangle forms at (x, y) of a wider picture.
void ExpectRectangleForms(int width, int height) {
    const int x = 6;
    const int y = 4;
    const Planes src(x + std::max(width, 16) + 3, y + height + 3, static_cast<unsigned>(width));
    const uint8_t* luma = src.luma() + src.stride * y + x;
    const uint8_t* chroma = src.chroma() + src.stride * (y / 2) + x;
    const auto fill = [&](Model& model, int dstStride, int pixels, int pairs) {
        for (int row = 0; row < 2 * pairs; ++row) {
            model.Row(row * dstStride * 4, luma + row * src.stride, chroma + row / 2 * src.stride,
                      pixels);
        }
    };
    {
        Model model{std::vector<uint8_t>(static_cast<std::size_t>(width * height * 4), kUntouched)};
        if (width >= 32 && height >= 2) fill(model, width, width / 32 * 32, height / 2);
        Target target(width * height * 4);
        sp2yuvx(target.buffer.data(), src.luma(), src.stride, src.height, x, y, width, height);
        ExpectSame(target, model.out, "sp2yuvx of a rectangle");
    }
    const int groups = std::max(width / 16, 1);
    const int pairs = std::max(height / 2, 1);
    const int dstStride = groups * 16 + 37;
    {
        Model model{
            std::vector<uint8_t>(static_cast<std::size_t>(dstStride * pairs * 2 * 4), kUntouched)};
        fill(model, dstStride, groups * 16, pairs);
        Target target(dstStride * pairs * 2 * 4);
        sp2yuvxs(target.buffer.data(), dstStride, src.luma(), src.stride, src.height, x, y, width,
                 height);
        ExpectSame(target, model.out, "sp2yuvxs");
    }
    for (const int extraRows : {0, 3}) {
        const int dstHeight = pairs * 2 + extraRows;
        Model model{
            std::vector<uint8_t>(static_cast<std::size_t>(dstStride * dstHeight * 4), kUntouched)};
        fill(model, dstStride, groups * 16, pairs);
        for (int row = 0; row < dstHeight; ++row) {
            uint8_t* begin = &model.out[static_cast<std::size_t>(row * dstStride * 4)];
            if (row >= 2 * pairs) {
                std::memcpy(begin, begin - dstStride * 4, static_cast<std::size_t>(dstStride) * 4);
                continue;
            }
            for (int i = groups * 16; i < dstStride / 16 * 16; ++i) {
                std::memcpy(begin + i * 4, begin + (groups * 16 - 1) * 4, 4);
            }
        }
        Target joined(dstStride * dstHeight * 4);
        sp2yuvxs(joined.buffer.data(), dstStride, dstHeight, src.luma(), src.stride, src.height, x,
                 y, width, height);
        ExpectSame(joined, model.out, "sp2yuvxs with padding");
        Target separate(dstStride * dstHeight * 4);
        sp2yuvxs(separate.buffer.data(), dstStride, dstHeight, src.luma(), src.chroma(), src.stride,
                 -7, x, y, width, height);
        ExpectSame(separate, model.out, "sp2yuvxs of two planes");
    }
}

TEST(SemiPlanar, EveryFormMovesTheBytesOfTheModelAtEveryWidth) {
    ForEachTarget([] {
        for (int width = 1; width <= 200; ++width) {
            for (const int height : {1, 2, 5, 6}) {
                SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
                ExpectWholeFrameForms(width, height);
                ExpectRectangleForms(width, height);
                if (testing::Test::HasFailure()) return;
            }
        }
    });
}

TEST(SemiPlanar, PaddingNeverPassesTheDestinationHoweverSmall) {
    const Planes src(64, 16, 1);
    for (int dstStride = 1; dstStride <= 40; ++dstStride) {
        for (int dstHeight = 1; dstHeight <= 5; ++dstHeight) {
            for (const int width : {0, 1, 16, 48}) {
                Target target(dstStride * dstHeight * 4);
                sp2yuvxs(target.buffer.data(), dstStride, dstHeight, src.luma(), 64, 16, 0, 0,
                         width, 7);
                EXPECT_EQ(target.buffer.data()[0], src.luma()[0]);
            }
        }
    }
}

int Clamp(int64_t value, int most) {
    return static_cast<int>(std::clamp<int64_t>(value, 0, most));
}

void ExpectRect(const Planes& src, int dstStride, int dstHeight, int rx, int ry, int rw, int rh) {
    Model model{std::vector<uint8_t>(static_cast<std::size_t>(dstStride * dstHeight * 4))};
    for (int row = 0; row < dstHeight; ++row) {
        for (int column = 0; column < dstStride; ++column) {
            const int i = std::min(column, std::max(rw, 1) - 1);
            const int j = std::min(row, std::max(rh, 1) - 1);
            const int x = Clamp(int64_t{rx} + i, src.stride - 1);
            const int y = Clamp(int64_t{ry} + j, src.height - 1);
            const int chromaRow =
                Clamp(static_cast<int64_t>(ry >> 1) + (j >> 1), src.height / 2 - 1);
            const int pair = std::min(x / 2, src.stride / 2 - 1);
            model.Put((row * dstStride + column) * 4, src.luma() + y * src.stride + x,
                      src.chroma() + chromaRow * src.stride + 2 * pair);
        }
    }
    Target target(dstStride * dstHeight * 4);
    posteffect::ConvertSemiPlanarRect(target.buffer.data(), dstStride, dstHeight, src.luma(),
                                      src.chroma(), src.stride, src.height, rx, ry, rw, rh);
    ExpectSame(target, model.out, "ConvertSemiPlanarRect");
}

TEST(SemiPlanar, AnyRectangleIsFilledFromTheNearestPixelsOfThePicture) {
    std::mt19937 random(11);
    const auto below = [&](int most) {
        return static_cast<int>(random() % static_cast<unsigned>(most));
    };
    for (int round = 0; round < 3000; ++round) {
        const Planes src(2 + below(120), 2 + below(30), static_cast<unsigned>(round));
        const int rx = below(200) - 60;
        const int ry = below(60) - 15;
        const int rw = below(130) - 3;
        const int rh = below(30) - 3;
        const int dstStride = 1 + below(140);
        const int dstHeight = 1 + below(20);
        SCOPED_TRACE(testing::Message()
                     << src.stride << "x" << src.height << " (" << rx << ", " << ry << ", " << rw
                     << ", " << rh << ") to " << dstStride << "x" << dstHeight);
        ExpectRect(src, dstStride, dstHeight, rx, ry, rw, rh);
        if (HasFailure()) return;
    }
    const Planes src(34, 6, 5);
    for (const int far : {INT_MIN, INT_MAX}) {
        ExpectRect(src, 20, 4, far, 0, 10, 4);
        ExpectRect(src, 20, 4, 0, far, 10, 4);
        ExpectRect(src, 20, 4, 0, 0, far, far);
    }
}

}  // namespace
