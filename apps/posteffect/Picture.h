// A picture of any format in memory, and the table of the formats.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apps/posteffect/JpegPicture.h"

namespace posteffect {

// Four bytes a pixel: red, green, blue and alpha, not multiplied with each other. Rows are tightly
// packed.
struct RgbaPixels {
    Size size;
    bool opaque = true;  // every alpha is 255
    PixelBytes bytes;

    int stride() const { return size.width * 4; }
    std::uint8_t* row(int y) {
        return bytes.data() + static_cast<std::size_t>(stride()) * static_cast<std::size_t>(y);
    }
    const std::uint8_t* row(int y) const {
        return bytes.data() + static_cast<std::size_t>(stride()) * static_cast<std::size_t>(y);
    }
};

// The pixels are either planes or RGBA: they change their kind only where an effect or a format
// needs it, so that pixels that nothing changes stay exact. The segments are a JPEG file's whatever
// the format; those of other formats may be longer than one in a file.
struct Picture : JpegPicture {
    Size size() const { return rgba.bytes.empty() ? planes.size() : rgba.size; }
    bool hasAlpha() const { return !alpha.bytes.empty() || (!rgba.bytes.empty() && !rgba.opaque); }

    RgbaPixels rgba;        // empty: the pixels are the planes
    Plane alpha;            // of the planes; empty: opaque
    bool lossless = false;  // whether the file that it comes from held every pixel exactly
};

// Both change nothing where the pixels are of that kind already.
void MakePlanes(Picture* picture);
void MakeRgba(Picture* picture);

// Whatever their alpha was.
void MakeOpaque(RgbaPixels* rgba);

// The pixels on white, as a format without alpha shows them.
void Flatten(Picture* picture);

void TurnUpright(Picture* picture, int orientation);

// A small copy: planes without alpha or metadata.
YuvPicture ShrinkPicture(const Picture& picture, Size size);

// Of a picture's sides, in pixels; formats may hold less. Beyond it libpng would need to be told,
// and single precision no longer tells a block's place in the picture to a fifteenth of a pixel.
inline constexpr int kMaximumPictureSide = 1'000'000;

// Throws Failure (unsupported) for what is larger than that, or than the library takes.
void CheckPictureSize(const std::string& name, std::int64_t width, std::int64_t height);

// What travels with the pixels in formats other than JPEG. Each is empty where there is none.
struct Metadata {
    std::vector<std::uint8_t> icc;
    std::vector<std::uint8_t> exif;  // without the name that JPEG puts before it
    std::vector<std::uint8_t> xmp;
};
Metadata ReadMetadata(const std::vector<JpegSegment>& segments);
std::vector<JpegSegment> MakeSegments(const Metadata& metadata);

bool IsIcc(const JpegSegment& segment);

}  // namespace posteffect
