// posteffect photo: filters one JPEG file into another.
#pragma once

#include <string>

#include "apps/posteffect/PhotoFilter.h"

namespace posteffect {

inline constexpr int kDefaultQuality = 92;

struct PhotoOptions {
    std::string input;   // "-" is standard input
    std::string output;  // "-" is standard output
    PhotoFilter filter;
    int quality = kDefaultQuality;  // 1 to 100
    bool force = false;             // replace what is there
};

// The exit code; throws Failure.
int RunPhoto(const PhotoOptions& options);

}  // namespace posteffect
