// The conversion routines against a model that moves one byte at a time, with each instruction set
// of this machine, between memory that cannot be touched.
#include <gtest/gtest.h>
#include <hwy/targets.h>
#include <posteffect/SemiPlanar.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <random>
#include <vector>

#include "engine/PackedRows.h"
#include "engine/SemiPlanarRect.h"
#include "tests/support/GuardedBuffer.h"

namespace {

using testing_support::Guard;
using testing_support::GuardedBuffer;
using Bytes = std::vector<uint8_t>;

constexpr uint8_t kUntouched = 0xA5;

// The bytes, between which and one end of their memory nothing may be touched.
GuardedBuffer Fenced(const Bytes& bytes, Guard side) {
    GuardedBuffer buffer(bytes.size(), side);
    std::copy(bytes.begin(), bytes.end(), buffer.data());
    return buffer;
}

// Random planes.
struct Picture {
    Picture(int stride_, int height_)
        : stride(stride_),
          height(height_),
          luma(static_cast<std::size_t>(stride * height)),
          chroma(static_cast<std::size_t>(stride * (height / 2))) {
        std::mt19937 random(static_cast<unsigned>(stride * 1000 + height));
        for (Bytes* plane : {&luma, &chroma}) {
            std::generate(plane->begin(), plane->end(),
                          [&] { return static_cast<uint8_t>(random()); });
        }
    }
    Bytes joined() const {
        Bytes both = luma;
        both.insert(both.end(), chroma.begin(), chroma.end());
        return both;
    }

    int stride;
    int height;
    Bytes luma;
    Bytes chroma;
};

// What a destination holds afterwards. Positions are pixels in the destination, bytes in a plane.
struct Model {
    explicit Model(int pixels, int pixelBytes_ = 4)
        : bytes(static_cast<std::size_t>(pixels * pixelBytes_), kUntouched),
          pixelBytes(pixelBytes_) {}

    void Put(int at, const Picture& picture, int lumaAt, int pairAt) {
        uint8_t* pixel = &bytes[static_cast<std::size_t>(at * pixelBytes)];
        pixel[0] = picture.luma[static_cast<std::size_t>(lumaAt)];
        pixel[1] = picture.chroma[static_cast<std::size_t>(pairAt)];
        pixel[2] = picture.chroma[static_cast<std::size_t>(pairAt + 1)];
        if (pixelBytes == 4) pixel[3] = 255;
    }
    void PutRow(int at, const Picture& picture, int lumaAt, int chromaAt, int pixels) {
        for (int i = 0; i < pixels; ++i) Put(at + i, picture, lumaAt + i, chromaAt + i / 2 * 2);
    }
    Bytes bytes;
    int pixelBytes;
};

// Calls convert(destination, planes in one piece, luma plane, chroma plane).
template <typename Convert>
void ExpectBytes(const char* form, const Picture& picture, const Bytes& expected, Convert convert) {
    for (const Guard side : {Guard::kBehind, Guard::kBefore}) {
        const GuardedBuffer planes = Fenced(picture.joined(), side);
        const GuardedBuffer luma = Fenced(picture.luma, side);
        const GuardedBuffer chroma = Fenced(picture.chroma, side);
        GuardedBuffer dst(expected.size(), side);
        for (const int64_t target : hwy::SupportedAndGeneratedTargets()) {
            hwy::SetSupportedTargetsForTest(target);
            std::memset(dst.data(), kUntouched, expected.size());
            convert(dst.data(), planes.data(), luma.data(), chroma.data());
            const auto difference = std::mismatch(expected.begin(), expected.end(), dst.data());
            EXPECT_EQ(difference.first, expected.end())
                << form << " with " << hwy::TargetName(target) << ": first difference at byte "
                << difference.first - expected.begin();
        }
    }
    hwy::SetSupportedTargetsForTest(0);
}

// Groups of 16; in packed buffers the later rows shift by what was left out.
void ExpectWholeFrameForms(int width, int height) {
    const Picture picture(width, height);
    const int converted = width / 16 * 16;
    const int pairs = width >= 16 ? height / 2 : 0;
    const auto fill = [&](Model model, int rowStep, int pairStep) {
        for (int row = 0; row < 2 * pairs; ++row) {
            model.PutRow(row / 2 * pairStep + row % 2 * rowStep, picture,
                         row / 2 * (width + converted) + row % 2 * width, row / 2 * converted,
                         converted);
        }
        return model.bytes;
    };
    ExpectBytes("sp2yuv", picture, fill(Model(width * height, 3), width, width + converted),
                [&](void* dst, const void* src, auto...) { sp2yuv(dst, src, width, height); });
    ExpectBytes("sp2yuvx", picture, fill(Model(width * height), width, width + converted),
                [&](void* dst, const void* src, auto...) { sp2yuvx(dst, src, width, height); });
    for (const int stride : {width, width + 5}) {
        ExpectBytes(
            "sp2yuvx with a stride", picture, fill(Model(stride * height), stride, 2 * stride),
            [&](void* dst, const void* src, auto...) { sp2yuvx(dst, stride, src, width, height); });
    }
}

constexpr int kX = 6;
constexpr int kY = 4;

// `rows` rows of a rectangle at (kX, kY).
void FillRectangle(Model& model, int dstStride, const Picture& picture, int pixels, int rows) {
    for (int row = 0; row < rows; ++row) {
        model.PutRow(row * dstStride, picture, (kY + row) * picture.stride + kX,
                     (kY + row) / 2 * picture.stride + kX, pixels);
    }
}

// Columns are padded to the groups that fit, rows to the last; nothing passes the destination.
void ExpectPaddingForms(const Picture& picture, int dstStride, int dstHeight, int width,
                        int height) {
    const int pixels = std::min(std::max(width / 16, 1) * 16, dstStride);
    const int rows = std::min(std::max(height / 2, 1) * 2, dstHeight);
    Model model(dstStride * dstHeight);
    for (int row = 0; row < dstHeight; ++row) {
        const int y = kY + std::min(row, rows - 1);
        for (int i = 0; i < std::max(pixels, dstStride / 16 * 16); ++i) {
            const int x = kX + std::min(i, pixels - 1);
            model.Put(row * dstStride + i, picture, y * picture.stride + x,
                      y / 2 * picture.stride + x / 2 * 2);
        }
    }
    ExpectBytes("sp2yuvxs with padding", picture, model.bytes,
                [&](void* dst, const void* src, auto...) {
                    sp2yuvxs(dst, dstStride, dstHeight, src, picture.stride, picture.height, kX, kY,
                             width, height);
                });
    ExpectBytes("sp2yuvxs of two planes", picture, model.bytes,
                [&](void* dst, const void*, const void* luma, const void* chroma) {
                    sp2yuvxs(dst, dstStride, dstHeight, luma, chroma, picture.stride, -7, kX, kY,
                             width, height);
                });
}

void ExpectRectangleForms(int width, int height) {
    const int pixels = std::max(width / 16, 1) * 16;
    const int rows = std::max(height / 2, 1) * 2;
    const Picture picture(kX + std::max(width, 16) + 3, kY + std::max(height, 2));
    Model packed(width * height);
    if (width >= 32) FillRectangle(packed, width, picture, width / 32 * 32, height / 2 * 2);
    ExpectBytes("sp2yuvx of a rectangle", picture, packed.bytes,
                [&](void* dst, const void* src, auto...) {
                    sp2yuvx(dst, src, picture.stride, picture.height, kX, kY, width, height);
                });
    const int dstStride = pixels + 37;
    Model strided(dstStride * rows);
    FillRectangle(strided, dstStride, picture, pixels, rows);
    ExpectBytes("sp2yuvxs", picture, strided.bytes, [&](void* dst, const void* src, auto...) {
        sp2yuvxs(dst, dstStride, src, picture.stride, picture.height, kX, kY, width, height);
    });
    ExpectPaddingForms(picture, dstStride, rows, width, height);
    ExpectPaddingForms(picture, dstStride, rows + 3, width, height);
}

TEST(SemiPlanar, EveryFormMovesTheBytesOfTheModelAtEveryWidth) {
    for (int width = 1; width <= 200 && !HasFailure(); ++width) {
        for (const int height : {1, 2, 5, 6}) {
            SCOPED_TRACE(testing::Message() << width << "x" << height);
            ExpectWholeFrameForms(width, height);
            ExpectRectangleForms(width, height);
        }
    }
}

TEST(SemiPlanar, PaddingNeverPassesTheDestinationHoweverSmall) {
    const Picture picture(kX + 48, kY + 8);
    for (int dstStride = 1; dstStride <= 40 && !HasFailure(); ++dstStride) {
        for (int dstHeight = 1; dstHeight <= 5; ++dstHeight) {
            for (const int width : {-20, 0, 1, 16, 48}) {
                for (const int height : {-3, 0, 1, 7}) {
                    SCOPED_TRACE(testing::Message() << width << "x" << height << " to " << dstStride
                                                    << "x" << dstHeight);
                    ExpectPaddingForms(picture, dstStride, dstHeight, width, height);
                }
            }
        }
    }
}

// One destination column or row for each of the rectangle's, then its last again.
int Place(int origin, int offset, int size, int last) {
    const int64_t place = int64_t{origin} + std::min(offset, std::max(size, 1) - 1);
    return static_cast<int>(std::clamp<int64_t>(place, 0, last));
}

void ExpectRect(const Picture& picture, int dstStride, int dstHeight, int rx, int ry, int rw,
                int rh) {
    SCOPED_TRACE(testing::Message()
                 << picture.stride << "x" << picture.height << " (" << rx << ", " << ry << ", "
                 << rw << ", " << rh << ") to " << dstStride << "x" << dstHeight);
    Model model(dstStride * dstHeight);
    for (int row = 0; row < dstHeight; ++row) {
        for (int column = 0; column < dstStride; ++column) {
            const int x = Place(rx, column, rw, picture.stride - 1);
            const int y = Place(ry, row, rh, picture.height - 1);
            const int pair = std::min(x / 2, picture.stride / 2 - 1);
            const int chromaRow = Place(ry >> 1, std::min(row, std::max(rh, 1) - 1) / 2, INT_MAX,
                                        picture.height / 2 - 1);
            model.Put(row * dstStride + column, picture, y * picture.stride + x,
                      chromaRow * picture.stride + 2 * pair);
        }
    }
    ExpectBytes("ConvertSemiPlanarRect", picture, model.bytes,
                [&](void* dst, const void*, const uint8_t* luma, const uint8_t* chroma) {
                    posteffect::ConvertSemiPlanarRect(dst, dstStride, dstHeight, luma, chroma,
                                                      picture.stride, picture.height, rx, ry, rw,
                                                      rh);
                });
}

TEST(SemiPlanar, AnyRectangleIsFilledFromTheNearestPixelsOfThePicture) {
    std::mt19937 random(11);
    const auto between = [&](int least, int most) {
        return least + static_cast<int>(random() % static_cast<unsigned>(most - least + 1));
    };
    for (int round = 0; round < 2000 && !HasFailure(); ++round) {
        const Picture picture(between(2, 120), between(2, 30));
        ExpectRect(picture, between(1, 140), between(1, 20), between(-60, 140), between(-15, 45),
                   between(-3, 130), between(-3, 30));
    }
    const Picture picture(34, 6);
    for (const int far : {INT_MIN, INT_MAX}) {
        ExpectRect(picture, 20, 4, far, 0, 10, 4);
        ExpectRect(picture, 20, 4, 0, far, 10, 4);
        ExpectRect(picture, 20, 4, 0, 0, far, far);
        ExpectRect(picture, 20, 4, far, far, far, far);
    }
}

TEST(SemiPlanar, NothingIsTouchedWhereThereIsNothingToConvert) {
    const Picture none(0, 0);  // planes without a byte that may be read
    const Bytes untouched(3, kUntouched);
    for (const auto& [width, height] : {std::pair{15, 9}, {-40, 9}, {0, 0}, {64, 1}, {64, -2}}) {
        SCOPED_TRACE(testing::Message() << width << "x" << height);
        const auto convert = [w = width, h = height](auto* dst, auto* src, auto* luma,
                                                     auto* chroma) {
            sp2yuv(dst, src, w, h);
            sp2yuvx(dst, src, w, h);
            sp2yuvx(dst, 100, src, w, h);
            sp2yuvx(dst, src, 100, 100, 0, 0, w, h);
            for (const int side : {-1, 0}) {
                sp2yuvxs(dst, side, 8, src, 64, 8, 0, 0, w, h);
                sp2yuvxs(dst, 64, side, src, 64, 8, 0, 0, w, h);
                posteffect::ConvertSemiPlanarRect(dst, side, 8, luma, chroma, 64, 8, 0, 0, w, h);
                posteffect::ConvertSemiPlanarRect(dst, 64, side, luma, chroma, 64, 8, 0, 0, w, h);
            }
        };
        ExpectBytes("every form", none, untouched, convert);
    }
    for (const auto& [width, height] : {std::pair{1, 6}, {6, 1}, {1, 1}, {0, 0}, {-2, 4}}) {
        SCOPED_TRACE(testing::Message() << "picture of " << width << "x" << height);
        const auto convert = [w = width, h = height](auto* dst, auto*, auto* luma, auto* chroma) {
            posteffect::ConvertSemiPlanarRect(dst, 64, 8, luma, chroma, w, h, 0, 0, 4, 4);
        };
        ExpectBytes("ConvertSemiPlanarRect", none, untouched, convert);
    }
}

// Which bytes these are is effects_gl_test's: it has every colour drawn and packed.
TEST(PackedRows, EveryInstructionSetPacksAlike) {
    for (std::size_t pairs = 1; pairs <= 40 && !HasFailure(); ++pairs) {
        SCOPED_TRACE(pairs);
        const Picture picture(static_cast<int>(8 * pairs), 2);  // two rows, four bytes a pixel
        const auto pack = [pairs](uint8_t* dst, auto, const uint8_t* rgba, auto) {
            posteffect::PackLumaRow(dst, rgba, 4 * pairs);
            posteffect::PackChromaRow(dst + 4 * pairs, rgba, rgba + 8 * pairs, pairs);
        };
        Bytes expected(6 * pairs);
        pack(expected.data(), nullptr, picture.luma.data(), nullptr);
        ExpectBytes("two rows", picture, expected, pack);
    }
}

}  // namespace
