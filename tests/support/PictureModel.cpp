#include "tests/support/PictureModel.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace testing_support {

namespace {

// As an 8-bit target stores it.
double Stored(double value) {
    return std::round(std::clamp(value, 0.0, 1.0) * 255.0) / 255.0;
}

uint8_t Byte(double value) {
    return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 1.0) * 255.0));
}

Rgb ToRgb(double y, double v, double u) {
    return {y + 1.402 * (v - 0.5), y - 0.714 * (v - 0.5) - 0.344 * (u - 0.5),
            y + 1.772 * (u - 0.5)};
}

}  // namespace

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

}  // namespace testing_support
