// The kinds of film files that can be written, and what encodes pictures for them.
#pragma once

#include <gst/gst.h>

#include <string>
#include <vector>

namespace posteffect {

inline constexpr int kDefaultVideoQuality = 75;

struct VideoEncoder {
    const char* element;
    const char* parser;  // behind it; null: none
    // Quality 1 to 100.
    void (*configure)(GstElement* encoder, int quality);
};

struct VideoContainer {
    const char* ending;
    const char* muxer;
    bool isWeb;  // takes the free codecs only
};

std::vector<std::string> ContainerEndings();

// By the file's name. Throws Failure: unsupported.
const VideoContainer& FindContainer(const std::string& path);

// The first one that is installed. Throws Failure: plug-in missing.
const VideoEncoder& FindEncoder(const VideoContainer& container);

// Throws Failure: wrong use.
int ParseVideoQuality(const std::string& text);

}  // namespace posteffect
