// The gallery as one page that needs nothing but itself.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apps/posteffect/Geometry.h"

namespace posteffect {

struct GalleryResult {
    std::string effect;   // what people type
    std::string title;    // "Vintage, cold"
    std::string summary;  // what the effect does
    std::string command;  // that makes it from the input, as typed in a shell
    std::vector<std::uint8_t> jpeg;
};

struct GalleryPicture {
    std::string name;
    Size size;
    std::vector<std::uint8_t> original;  // JPEG, as all results are
    std::vector<GalleryResult> results;
};

std::string GalleryPage(const std::vector<GalleryPicture>& pictures);

// As one word of a shell.
std::string ShellWord(const std::string& text);

}  // namespace posteffect
