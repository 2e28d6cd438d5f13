// The conversion routines against a model that moves one byte at a time, with each instruction set
// of this machine, between memory that cannot be touched.
#include <gtest/gtest.h>
#include <hwy/targets.h>
#include <posteffect/SemiPlanar.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "engine/PackedRows.h"
#include "engine/SemiPlanarRect.h"
#include "tests/support/GuardedBuffer.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint8_t kUntouched = 0xA5;

// A buffer with a page that cannot be touched right behind its last byte or right before its first.
class Fenced {
  public:
    enum Side { kBehind, kBefore };

    Fenced(std::size_t size, Side side)
        : m_buffer(side == kBehind ? size : Page() + (size + Page() - 1) / Page() * Page()),
          m_data(m_buffer.data()) {
        if (side == kBehind) return;
        if (mprotect(m_data, Page(), PROT_NONE) != 0) std::abort();
        m_data += Page();
    }
    Fenced(const Bytes& bytes, Side side) : Fenced(bytes.size(), side) {
        std::copy(bytes.begin(), bytes.end(), m_data);
    }
    uint8_t* data() const { return m_data; }

  private:
    static std::size_t Page() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

    testing_support::GuardedBuffer m_buffer;
    uint8_t* m_data;
};

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
    void Repeat(int at, int from, int pixels) {
        for (int i = 0; i < pixels * 4; ++i) {
            bytes[static_cast<std::size_t>(at * 4 + i)] =
                bytes[static_cast<std::size_t>(from * 4 + i)];
        }
    }

    Bytes bytes;
    int pixelBytes;
};

// Calls convert(destination, planes in one piece, luma plane, chroma plane).
template <typename Convert>
void ExpectBytes(const char* form, const Picture& picture, const Bytes& expected, Convert convert) {
    for (const Fenced::Side side : {Fenced::kBehind, Fenced::kBefore}) {
        const Fenced planes(picture.joined(), side);
        const Fenced luma(picture.luma, side);
        const Fenced chroma(picture.chroma, side);
        const Fenced dst(expected.size(), side);
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
    FillRectangle(model, dstStride, picture, pixels, rows);
    for (int row = 0; row < rows; ++row) {
        for (int i = pixels; i < dstStride / 16 * 16; ++i) {
            model.Repeat(row * dstStride + i, row * dstStride + pixels - 1, 1);
        }
    }
    for (int row = rows; row < dstHeight; ++row) {
        model.Repeat(row * dstStride, (rows - 1) * dstStride, dstStride);
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
    const auto expectNothing = [&](const char* form, auto convert) {
        ExpectBytes(form, none, untouched,
                    [&](void* dst, const void* src, const uint8_t* luma, const uint8_t* chroma) {
                        convert(dst, src, luma, chroma);
                    });
    };
    for (const auto& [width, height] : {std::pair{15, 9}, {-40, 9}, {0, 0}, {64, 1}, {64, -2}}) {
        SCOPED_TRACE(testing::Message() << width << "x" << height);
        const int w = width;
        const int h = height;
        expectNothing("whole frames", [&](void* dst, const void* src, auto...) {
            sp2yuv(dst, src, w, h);
            sp2yuvx(dst, src, w, h);
            sp2yuvx(dst, 100, src, w, h);
            sp2yuvx(dst, src, 100, 100, 0, 0, w, h);
        });
        expectNothing("destinations", [&](void* dst, const void* src, auto* luma, auto* chroma) {
            for (const int stride : {-1, 0}) {
                sp2yuvxs(dst, stride, 8, src, 64, 8, 0, 0, w, h);
                sp2yuvxs(dst, 64, stride, src, 64, 8, 0, 0, w, h);
                posteffect::ConvertSemiPlanarRect(dst, stride, 8, luma, chroma, 64, 8, 0, 0, w, h);
                posteffect::ConvertSemiPlanarRect(dst, 64, stride, luma, chroma, 64, 8, 0, 0, w, h);
            }
        });
    }
    for (const auto& [width, height] : {std::pair{1, 6}, {6, 1}, {1, 1}, {0, 0}, {-2, 4}}) {
        SCOPED_TRACE(testing::Message() << "picture of " << width << "x" << height);
        const int w = width;
        const int h = height;
        expectNothing("picture", [&](void* dst, const void*, auto* luma, auto* chroma) {
            posteffect::ConvertSemiPlanarRect(dst, 64, 8, luma, chroma, w, h, 0, 0, 4, 4);
        });
    }
}

// A level as half a float holds it, what is too small for that cut off.
float Half(unsigned level) {
    int exponent = 0;
    const float part = std::frexp(static_cast<float>(level) * (1.0F / 255.0F), &exponent);
    return std::ldexp(std::floor(std::ldexp(part, 11)), exponent - 11);
}

// Rounded after each step, blue first.
uint8_t Weighted(const std::array<unsigned, 3>& color, const std::array<double, 3>& weights,
                 float sum) {
    for (const std::size_t i : {2U, 1U, 0U}) {
        const double weight = static_cast<double>(static_cast<float>(weights[i]));
        const auto product = static_cast<float>(weight * static_cast<double>(Half(color[i])));
        sum = static_cast<float>(static_cast<double>(sum) + static_cast<double>(product));
    }
    return static_cast<uint8_t>(
        std::clamp(std::nearbyint(static_cast<double>(sum * 255.0F)), 0.0, 255.0));
}

TEST(PackedRows, EveryInstructionSetPacksThePixelsOfTheModel) {
    for (std::size_t pairs = 1; pairs <= 40 && !HasFailure(); ++pairs) {
        SCOPED_TRACE(pairs);
        const Picture picture(static_cast<int>(8 * pairs), 2);  // two rows, four bytes a pixel
        Bytes expected;
        const auto mean = [&](std::size_t pair, std::size_t channel) {
            unsigned rows = 1;
            for (const std::size_t row : {std::size_t{0}, 8 * pairs}) {
                const uint8_t* left = &picture.luma[row + 8 * pair + channel];
                rows += (left[0] + left[4] + 1U) / 2;
            }
            return rows / 2;
        };
        for (std::size_t i = 0; i < 4 * pairs; ++i) {
            const uint8_t* pixel = &picture.luma[4 * i];
            expected.push_back(
                Weighted({pixel[0], pixel[1], pixel[2]}, {0.299, 0.587, 0.114}, 0.0F));
        }
        for (std::size_t i = 0; i < pairs; ++i) {
            const std::array<unsigned, 3> color = {mean(i, 0), mean(i, 1), mean(i, 2)};
            expected.push_back(Weighted(color, {0.5, -0.4186829, -0.0813089}, 0.5F));
            expected.push_back(Weighted(color, {-0.168727, -0.33126147, 0.5}, 0.5F));
        }
        ExpectBytes("two rows", picture, expected,
                    [&](uint8_t* dst, const void*, const uint8_t* rgba, const void*) {
                        posteffect::PackLumaRow(dst, rgba, 4 * pairs);
                        posteffect::PackChromaRow(dst + 4 * pairs, rgba, rgba + 8 * pairs, pairs);
                    });
    }
}

}  // namespace
