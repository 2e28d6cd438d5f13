// What a JPEG file holds: the pixels and everything that travels with them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/posteffect/YuvPicture.h"

namespace posteffect {

// One marker segment that is carried along: EXIF, XMP, ICC, IPTC, comments and the like.
struct JpegSegment {
    int marker = 0;                   // JPEG_APP0 + n or JPEG_COM
    std::vector<std::uint8_t> bytes;  // at most 65533

    bool startsWith(const char* text, std::size_t length) const;
};

// As the JFIF segment has it.
struct JpegDensity {
    std::uint8_t unit = 0;
    std::uint16_t x = 1;
    std::uint16_t y = 1;
};

struct JpegPicture {
    YuvPicture planes;
    std::vector<JpegSegment> segments;   // in the order of the file
    std::optional<JpegDensity> density;  // absent where the file has no JFIF segment
};

// Decodes a JPEG of any subsampling, coding and colour space but the printer's ones. Chroma is
// scaled to 4:2:0. Segments that describe the coding or data behind the picture are left out.
// Throws Failure: unreadable or unsupported. `name` stands for the file in messages.
JpegPicture DecodeJpeg(const std::string& name, const std::vector<std::uint8_t>& file);

// Encodes as 4:2:0, baseline. `quality` is 1 to 100. Throws Failure when memory runs out.
std::vector<std::uint8_t> EncodeJpeg(const std::string& name, const JpegPicture& picture,
                                     int quality);

}  // namespace posteffect
