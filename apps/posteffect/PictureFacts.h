// What a picture's file says of itself, without decoding the picture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "apps/posteffect/Geometry.h"

namespace posteffect {

// Empty texts and zeros: the file does not say.
struct PictureFacts {
    std::string format;
    Size size;            // as stored
    int orientation = 1;  // as EXIF counts it
    std::string coding;   // "baseline, YCbCr 4:2:0"
    std::string profileName;
    std::size_t profileBytes = 0;
    std::string make;
    std::string model;
    std::string date;
    Size thumbnail;
    bool canBeFiltered = false;
    std::string photo;  // what posteffect photo does with it
};

// Throws Failure: unsupported, unreadable. `name` stands for the file in messages.
PictureFacts ReadPictureFacts(const std::string& name, const std::vector<std::uint8_t>& file);

}  // namespace posteffect
