// JPEG files for tests, made and read by libjpeg's usual RGB road, independent of the command's.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;
using Rgb = std::array<int, 3>;

inline constexpr int kApp0 = 0xE0;
inline constexpr int kComment = 0xFE;

// A marker segment: kApp0 + n or kComment, and what follows its length.
struct Segment {
    int marker = 0;
    Bytes bytes;

    bool operator==(const Segment& other) const {
        return marker == other.marker && bytes == other.bytes;
    }
};

struct JpegRecipe {
    int width = 48;
    int height = 32;
    // "ycc", "gray", "rgb" or "cmyk".
    std::string colors = "ycc";
    // Horizontal and vertical sampling factors of the components.
    std::array<std::array<int, 2>, 3> sampling = {{{2, 2}, {1, 1}, {1, 1}}};
    bool progressive = false;
    bool arithmetic = false;
    bool jfif = true;
    int quality = 98;
    std::vector<Segment> segments;
};

// `pixel` gives the colour at (x, y).
Bytes MakeJpeg(const JpegRecipe& recipe, const std::function<Rgb(int x, int y)>& pixel);

struct RgbPicture {
    int width = 0;
    int height = 0;
    Bytes bytes;

    Rgb at(int x, int y) const;
};

// Width 0 when the file is no complete JPEG.
RgbPicture DecodeRgb(const Bytes& file);

// The largest difference of a channel between the picture and `pixel`; 256 without a picture.
int LargestDifference(const RgbPicture& picture, const std::function<Rgb(int x, int y)>& pixel);

// The segments before the first scan, APPn and comments only.
std::vector<Segment> ListSegments(const Bytes& file);
