#include "apps/common/FrameColor.h"

#include <array>
#include <cmath>
#include <cstring>

namespace posteffect {
namespace {

// What luma takes of red and of blue.
struct Weights {
    double red;
    double blue;
};

Weights WeightsOf(ColorMatrix matrix) {
    switch (matrix) {
        case ColorMatrix::kBt709:
            return {0.2126, 0.0722};
        case ColorMatrix::kBt2020:
            return {0.2627, 0.0593};
        case ColorMatrix::kBt601:
            break;
    }
    return {0.299, 0.114};
}

// A sample s stands for (s - zero) / span: luma 0..1, chroma -0.5..0.5.
struct Scale {
    double zero;
    double span;
};

Scale LumaScale(ColorRange range) {
    return range == ColorRange::kFull ? Scale{0.0, 255.0} : Scale{16.0, 219.0};
}

Scale ChromaScale(ColorRange range) {
    return range == ColorRange::kFull ? Scale{128.0, 255.0} : Scale{128.0, 224.0};
}

// y, u and v of the target, as sums of the source's.
using Matrix = std::array<std::array<double, 3>, 3>;

Matrix Combine(const Weights& from, const Weights& to) {
    const double fromGreen = 1.0 - from.red - from.blue;
    // Red, green and blue of (y, u, v).
    const Matrix rgb = {{{1.0, 0.0, 2.0 * (1.0 - from.red)},
                         {1.0, -2.0 * from.blue * (1.0 - from.blue) / fromGreen,
                          -2.0 * from.red * (1.0 - from.red) / fromGreen},
                         {1.0, 2.0 * (1.0 - from.blue), 0.0}}};
    const double toGreen = 1.0 - to.red - to.blue;
    Matrix result{};
    for (std::size_t i = 0; i < 3; ++i) {
        const double y = to.red * rgb[0][i] + toGreen * rgb[1][i] + to.blue * rgb[2][i];
        result[0][i] = y;
        result[1][i] = (rgb[2][i] - y) / (2.0 * (1.0 - to.blue));
        result[2][i] = (rgb[0][i] - y) / (2.0 * (1.0 - to.red));
    }
    return result;
}

}  // namespace

ColorConversion::ColorConversion(const FrameColor& from, const FrameColor& to)
    : m_identity(from == to) {
    const Matrix matrix = Combine(WeightsOf(from.matrix), WeightsOf(to.matrix));
    const std::array<Scale, 3> in = {LumaScale(from.range), ChromaScale(from.range),
                                     ChromaScale(from.range)};
    const std::array<Scale, 3> out = {LumaScale(to.range), ChromaScale(to.range),
                                      ChromaScale(to.range)};
    ColorSum* const rows[] = {&m_y, &m_u, &m_v};
    for (std::size_t i = 0; i < 3; ++i) {
        std::array<double, 3> factors{};
        double offset = out[i].zero + 0.5;  // the half rounds
        for (std::size_t k = 0; k < 3; ++k) {
            factors[k] = matrix[i][k] * out[i].span / in[k].span;
            offset -= factors[k] * in[k].zero;
        }
        const auto fixed = [](double value) {
            return static_cast<std::int32_t>(std::lround(value * (1 << ColorSum::kFraction)));
        };
        *rows[i] = {fixed(factors[0]), fixed(factors[1]), fixed(factors[2]), fixed(offset)};
    }
}

void ColorConversion::luma(std::uint8_t* to, const std::uint8_t* from, const std::uint8_t* u,
                           const std::uint8_t* v, int step, int width) const {
    const auto count = static_cast<std::size_t>(width);
    if (m_identity) {
        std::memcpy(to, from, count);
    } else {
        ConvertLumaRow(to, from, {u, v, step}, count, m_y);
    }
}

void ColorConversion::chroma(std::uint8_t* toU, std::uint8_t* toV, int toStep,
                             const std::uint8_t* fromU, const std::uint8_t* fromV, int fromStep,
                             int count) const {
    ConvertChromaRow({toU, toV, toStep}, {fromU, fromV, fromStep}, static_cast<std::size_t>(count),
                     m_u, m_v);
}

}  // namespace posteffect
