// What a JPEG file holds: the pixels and everything that travels with them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/posteffect/YuvPicture.h"

namespace posteffect {

// One marker segment that is carried along: EXIF, XMP, ICC, IPTC, comments and the like.
struct JpegSegment {
    int marker = 0;                   // JPEG_APP0 + n or JPEG_COM
    std::vector<std::uint8_t> bytes;  // a file takes at most 65533

    bool startsWith(const char* text, std::size_t length) const;
};

// As the JFIF segment has it.
struct JpegDensity {
    std::uint8_t unit = 0;
    std::uint16_t x = 1;
    std::uint16_t y = 1;
};

// How finely a file was coded, component by component: luma, then the two of chroma.
struct JpegCoding {
    struct Component {
        int horizontal = 1;  // sampling factors
        int vertical = 1;
        std::array<std::uint16_t, 64> steps{};  // row by row
    };
    std::array<Component, 3> components;

    // Of the picture with its rows for columns.
    void transpose();
};

struct JpegPicture {
    YuvPicture planes;
    std::vector<JpegSegment> segments;   // in the order of the file
    std::optional<JpegDensity> density;  // absent where the file has no JFIF segment
    std::vector<JpegSegment> grayIcc;    // a profile of greys, which only greys can keep
    std::optional<JpegCoding> coding;    // absent where no JPEG file was read
};

constexpr int kDefaultQuality = 92;

// Decodes a JPEG of any subsampling, coding and colour space but the printer's ones. Chroma is
// scaled to 4:2:0. Segments that describe the coding or data behind the picture are left out.
// Throws Failure: unreadable or unsupported. `name` stands for the file in messages.
JpegPicture DecodeJpeg(const std::string& name, const std::vector<std::uint8_t>& file);

// Encodes as 4:2:0, baseline, with a `quality` of 1 to 100; without one as the picture's coding
// says, or with the default quality where it has none. Segments that do not fit into a file are
// left out. Throws Failure when memory runs out.
std::vector<std::uint8_t> EncodeJpeg(const std::string& name, const JpegPicture& picture,
                                     std::optional<int> quality);

// The JPEG `file` with the segments, profile of greys and density of `picture` in place of its own.
// No pixel changes, for nothing is decoded. Throws Failure.
std::vector<std::uint8_t> RewriteJpeg(const std::string& name,
                                      const std::vector<std::uint8_t>& file,
                                      const JpegPicture& picture);

}  // namespace posteffect
