#include "tests/support/CaptureImage.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace testing_support {

namespace {

std::size_t Bytes(int width, int height) {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3 / 2;
}

}  // namespace

CaptureImage::CaptureImage(int width, int height)
    : m_width(width), m_height(height), m_size(Bytes(width, height)), m_buffer(m_size) {
    FillFlat(128, 128, 128);
}

void CaptureImage::FillFlat(uint8_t luma, uint8_t v, uint8_t u) {
    const std::size_t lumaBytes = static_cast<std::size_t>(chromaOffset());
    std::fill_n(data(), lumaBytes, luma);
    for (std::size_t i = lumaBytes; i < m_size; ++i) data()[i] = (i - lumaBytes) % 2 == 0 ? v : u;
}

void CaptureImage::FillNatural(unsigned seed) {
    std::mt19937 random(seed);
    const auto noise = [&random] { return static_cast<double>(random() % 9) - 4.0; };
    for (int y = 0; y < m_height; ++y) {
        for (int x = 0; x < m_width; ++x) {
            const double wave = std::sin(x * 0.05) + std::cos(y * 0.07);
            data()[y * m_width + x] = static_cast<uint8_t>(140.0 + 25.0 * wave + noise());
        }
    }
    for (int y = 0; y < m_height / 2; ++y) {
        uint8_t* row = data() + chromaOffset() + y * m_width;
        for (int x = 0; x < m_width; ++x) {
            const double slope = x % 2 == 0 ? 12.0 * std::sin(y * 0.03) : 12.0 * std::cos(x * 0.02);
            row[x] = static_cast<uint8_t>(128.0 + slope + noise());
        }
    }
}

void CaptureImage::FillScene(unsigned seed) {
    FillNatural(seed);
    for (int y = 0; y < m_height; ++y) {
        for (int x = 0; x < m_width; ++x) {
            // Turned, so that no row or column is unlike the others.
            const int across = static_cast<int>(0.8 * x + 0.6 * y) / 29;
            const int down = static_cast<int>(100000.0 - 0.6 * x + 0.8 * y) / 23;
            if ((across + down) % 2 != 0) data()[y * m_width + x] -= 60;
        }
    }
}

CaptureImage CaptureImage::Natural(int width, int height, unsigned seed) {
    CaptureImage image(width, height);
    image.FillNatural(seed);
    return image;
}

CaptureImage CaptureImage::Scene(int width, int height, unsigned seed) {
    CaptureImage image(width, height);
    image.FillScene(seed);
    return image;
}

CaptureImage CaptureImage::Flat(int width, int height, uint8_t luma, uint8_t v, uint8_t u) {
    CaptureImage image(width, height);
    image.FillFlat(luma, v, u);
    return image;
}

uint8_t CaptureImage::luma(int x, int y) const {
    return data()[y * m_width + x];
}

uint8_t CaptureImage::chroma(int x, int y, int which) const {
    return data()[chromaOffset() + y / 2 * m_width + x / 2 * 2 + which];
}

}  // namespace testing_support
