// Picture files that are cut short, damaged, contradict themselves or lie.
#pragma once

#include <string>
#include <vector>

#include "tests/support/Pixels.h"

enum class Fate {
    kRefused,  // no picture can be had from it
    kRead,     // only what goes beside the picture is damaged
    kEither,   // damage that readers may or may not see
};

struct BadPhoto {
    std::string name;  // of a file, which ends as its format's do
    Bytes bytes;
    Fate fate = Fate::kRefused;
};

std::vector<BadPhoto> MakeBadPhotos();
