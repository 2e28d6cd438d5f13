#include "tests/support/PictureModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>
#include <vector>

#include "tests/support/SystemRoot.h"

namespace testing_support {

namespace {

// As an 8-bit target stores it.
double Stored(double value) {
    return std::round(std::clamp(value, 0.0, 1.0) * 255.0) / 255.0;
}

uint8_t Byte(double value) {
    return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 1.0) * 255.0));
}

}  // namespace

Rgb ToRgb(double y, double v, double u) {
    return {y + 1.402 * (v - 0.5), y - 0.714 * (v - 0.5) - 0.344 * (u - 0.5),
            y + 1.772 * (u - 0.5)};
}

TextureModel::TextureModel(int width, int height, std::vector<Texel> texels)
    : m_width(width), m_height(height), m_texels(std::move(texels)) {
    for (Texel& texel : m_texels) {
        for (double& channel : texel) channel = Stored(channel);
    }
}

TextureModel::TextureModel(const CaptureImage& image)
    : m_width(image.width()), m_height(image.height()) {
    for (int y = 0; y < m_height; ++y) {
        for (int x = 0; x < m_width; ++x) {
            m_texels.push_back({image.luma(x, y) / 255.0, image.chroma(x, y, 0) / 255.0,
                                image.chroma(x, y, 1) / 255.0});
        }
    }
}

TextureModel TextureModel::ChromaPlane(const CaptureImage& image) {
    std::vector<Texel> texels;
    for (int y = 0; y < image.height() / 2; ++y) {
        for (int x = 0; x < image.width() / 2; ++x) {
            texels.push_back({0.0, image.chroma(2 * x, 2 * y, 0) / 255.0,
                              image.chroma(2 * x, 2 * y, 1) / 255.0});
        }
    }
    return {image.width() / 2, image.height() / 2, std::move(texels)};
}

TextureModel TextureModel::LookUpFile(const std::string& path) {
    const Bytes file = ReadFile(path);
    const auto word = [&file](std::size_t at) { return file.at(at) | file.at(at + 1) << 8; };
    const auto pixelBytes = static_cast<std::size_t>(word(28) / 8);
    std::vector<Texel> texels(static_cast<std::size_t>(word(18) * word(22)));
    auto at = static_cast<std::size_t>(word(10));
    for (Texel& texel : texels) {
        if (pixelBytes == 2) {
            const int packed = word(at);
            texel = {(packed >> 11) / 31.0, (packed >> 5 & 63) / 63.0, (packed & 31) / 31.0};
        } else {
            for (std::size_t c = 0; c < 3; ++c) {
                texel[c] = file.at(at + std::min(c, pixelBytes - 1)) / 255.0;
            }
        }
        at += pixelBytes;
    }
    return {word(18), word(22), std::move(texels)};
}

TextureModel::Texel TextureModel::At(double s, double t, Wrap wrap) const {
    const auto index = [wrap](int i, int count) {
        return wrap == kClamp ? std::clamp(i, 0, count - 1) : ((i % count) + count) % count;
    };
    const double x = s * m_width - 0.5;
    const double y = t * m_height - 0.5;
    const int left = static_cast<int>(std::floor(x));
    const int top = static_cast<int>(std::floor(y));
    Texel sum{};
    for (int i = 0; i < 4; ++i) {
        const int column = left + i % 2;
        const int row = top + i / 2;
        const double weight = (1.0 - std::abs(x - column)) * (1.0 - std::abs(y - row));
        const Texel& texel = m_texels[static_cast<std::size_t>(index(row, m_height) * m_width +
                                                               index(column, m_width))];
        for (std::size_t c = 0; c < 3; ++c) sum[c] += weight * texel[c];
    }
    return sum;
}

CaptureImage ApplyModel(const CaptureImage& image, const PixelEffect& effect) {
    const int width = image.width();
    const int height = image.height();
    std::vector<Rgb> drawn(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    const auto at = [&](int x, int y) -> Rgb& {
        return drawn[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                     static_cast<std::size_t>(x)];
    };
    CaptureImage result(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Rgb color = ToRgb(image.luma(x, y) / 255.0, image.chroma(x, y, 0) / 255.0,
                                    image.chroma(x, y, 1) / 255.0);
            Rgb& out = at(x, y) = effect(color, (x + 0.5) / width, (y + 0.5) / height);
            for (double& channel : out) channel = Stored(channel);
            result.data()[y * width + x] = Byte(0.299 * out[0] + 0.587 * out[1] + 0.114 * out[2]);
        }
    }
    for (int y = 0; y < height / 2; ++y) {
        for (int x = 0; x < width / 2; ++x) {
            Rgb mean{};
            for (int i = 0; i < 4; ++i) {
                const Rgb& pixel = at(2 * x + i % 2, 2 * y + i / 2);
                for (std::size_t c = 0; c < 3; ++c) mean[c] += pixel[c] / 4.0;
            }
            uint8_t* pair = result.data() + result.chromaOffset() + y * width + 2 * x;
            pair[0] = Byte(0.5 * mean[0] - 0.4186829 * mean[1] - 0.0813089 * mean[2] + 0.5);
            pair[1] = Byte(-0.168727 * mean[0] - 0.33126147 * mean[1] + 0.5 * mean[2] + 0.5);
        }
    }
    return result;
}

PixelEffect VignetteModel(double centerX, double centerY, double radius, double softness,
                          double aspect) {
    return [=](const Rgb& color, double s, double t) -> Rgb {
        const double distance = std::hypot(s - centerX - 0.5, (t - centerY - 0.5) / aspect);
        const double edge =
            std::clamp((distance - (radius - softness)) / (2.0 * softness), 0.0, 1.0);
        const double light = 1.0 - edge * edge * (3.0 - 2.0 * edge);
        return {color[0] * light, color[1] * light, color[2] * light};
    };
}

double ShareApart(const CaptureImage& actual, const CaptureImage& expected) {
    constexpr int kClose = 3;
    std::size_t outside = 0;
    for (std::size_t i = 0; i < actual.size(); ++i) {
        if (std::abs(actual.data()[i] - expected.data()[i]) > kClose) ++outside;
    }
    return static_cast<double>(outside) / static_cast<double>(actual.size());
}

Difference Compare(const CaptureImage& actual, const CaptureImage& expected) {
    Difference result;
    double sum = 0.0;
    for (int y = 0; y < actual.height(); ++y) {
        for (int x = 0; x < actual.width(); ++x) {
            const int difference = actual.luma(x, y) - expected.luma(x, y);
            sum += difference;
            if (std::abs(difference) <= result.lumaMax) continue;
            result.lumaMax = std::abs(difference);
            result.where = "(" + std::to_string(x) + ", " + std::to_string(y) + ") is " +
                           std::to_string(actual.luma(x, y)) + ", expected " +
                           std::to_string(expected.luma(x, y));
        }
    }
    result.lumaMeanSigned = sum / actual.chromaOffset();
    for (std::size_t i = static_cast<std::size_t>(actual.chromaOffset()); i < actual.size(); ++i) {
        result.chromaMax =
            std::max(result.chromaMax, std::abs(actual.data()[i] - expected.data()[i]));
    }
    return result;
}

void ExpectWithin(int most, const CaptureImage& actual, const CaptureImage& expected) {
    const Difference difference = Compare(actual, expected);
    EXPECT_LE(difference.lumaMax, most) << difference.where;
    EXPECT_LE(difference.chromaMax, most);
}

void ExpectAgrees(const CaptureImage& actual, const CaptureImage& expected) {
    EXPECT_LE(ShareApart(actual, expected), 0.005) << Compare(actual, expected).where;
}

}  // namespace testing_support
