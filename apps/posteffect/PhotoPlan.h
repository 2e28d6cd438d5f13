// Which photos a command line means, and where each of them goes.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace posteffect {

struct PhotoRequest {
    std::vector<std::string> inputs;    // files, folders, patterns like *.jpg, or "-"
    std::optional<std::string> output;  // a file, a folder, a pattern like {stem}.png, or "-"
    bool recursive = false;             // folders with all that is below them
    std::string effect;                 // what {effect} stands for
};

struct PhotoTask {
    std::string input;
    std::string output;
};

// In the order of the inputs; what is in folders is sorted. Without an output the last of two
// inputs is it, always a file's name. Makes the folders of outputs that are not named one by one.
// Throws Failure: wrong use where two photos would meet in one file, or an input could not be read.
std::vector<PhotoTask> PlanPhotos(const PhotoRequest& request);

}  // namespace posteffect
