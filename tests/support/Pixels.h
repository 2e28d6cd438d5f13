// Bytes, decoded pictures, and what tests draw.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;
using Rgb = std::array<int, 3>;
using Rgba = std::array<int, 4>;

inline Bytes ToBytes(const std::string& text) {
    return {text.begin(), text.end()};
}

template <typename Value>
std::vector<Value> Joined(std::vector<Value> first, const std::vector<Value>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// Of 8 bits a channel. It is also a function of the place, as what is drawn is.
template <std::size_t kChannels>
struct PixelPicture {
    int width = 0;
    int height = 0;
    Bytes bytes;

    std::array<int, kChannels> operator()(int x, int y) const {
        const auto first = static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                           static_cast<std::size_t>(x);
        std::array<int, kChannels> pixel{};
        std::copy_n(&bytes[first * kChannels], kChannels, pixel.begin());
        return pixel;
    }
};
using RgbPicture = PixelPicture<3>;
using RgbaPicture = PixelPicture<4>;

// The largest difference of a channel between the picture and `pixel`; 256 without a picture.
template <std::size_t kChannels, typename Pixel>
int LargestDifference(const PixelPicture<kChannels>& picture, const Pixel& pixel) {
    int largest = picture.width == 0 ? 256 : 0;
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            const auto is = picture(x, y);
            const auto wanted = pixel(x, y);
            for (std::size_t c = 0; c < kChannels; ++c) {
                largest = std::max(largest, std::abs(is[c] - wanted[c]));
            }
        }
    }
    return largest;
}

// Slow enough that chroma of any sampling can show it, and different in all directions.
inline Rgb Ramp(int x, int y) {
    return {60 + std::min(x + 2 * y, 300) / 3, 100 + std::min(x, 100) / 2, 200 - std::min(y, 80)};
}

// Alpha tells of colours that were multiplied with it, or moved against it.
inline Rgba Glass(int x, int y) {
    return {40 + 9 * x, 90 + 5 * y, 200 - 7 * x, 255 - 12 * x};
}
