#include "apps/posteffect/VideoEncoder.h"

#include <algorithm>
#include <charconv>

#include "apps/posteffect/Failure.h"
#include "apps/posteffect/MediaPipeline.h"
#include "apps/posteffect/NearestName.h"

namespace posteffect {
namespace {

constexpr VideoContainer kContainers[] = {
    {".mp4", "mp4mux", false},      {".m4v", "mp4mux", false},  {".mov", "qtmux", false},
    {".mkv", "matroskamux", false}, {".webm", "webmmux", true},
};

// From 1..100 to a codec's quantiser, of which 0 is the best.
int Quantiser(int quality, int best, int worst) {
    return worst - (quality - 1) * (worst - best) / 99;
}

constexpr VideoEncoder kH264 = {
    "x264enc", "h264parse", [](GstElement* encoder, int quality) {
        gst_util_set_object_arg(G_OBJECT(encoder), "pass", "qual");
        gst_util_set_object_arg(G_OBJECT(encoder), "speed-preset", "veryfast");
        g_object_set(encoder, "quantizer", static_cast<guint>(Quantiser(quality, 12, 42)), nullptr);
    }};

constexpr VideoEncoder kVp8 = {"vp8enc", nullptr, [](GstElement* encoder, int quality) {
                                   constexpr int kUnlimited = 100'000'000;  // bits a second
                                   gst_util_set_object_arg(G_OBJECT(encoder), "end-usage", "cq");
                                   g_object_set(encoder, "cq-level", Quantiser(quality, 4, 50),
                                                "max-quantizer", 56, "deadline", gint64{1},
                                                "cpu-used", 8, "target-bitrate", kUnlimited,
                                                "threads", 4, nullptr);
                               }};

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() > end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

std::vector<std::string> ContainerEndings() {
    std::vector<std::string> endings;
    endings.reserve(std::size(kContainers));
    for (const VideoContainer& row : kContainers) endings.emplace_back(row.ending);
    return endings;
}

const VideoContainer& FindContainer(const std::string& path) {
    for (const VideoContainer& row : kContainers) {
        if (EndsWith(path, row.ending)) return row;
    }
    throw Failure(
        kExitUnsupported, path,
        "no kind of film known by its ending: choose " + JoinNames(ContainerEndings(), "or"));
}

const VideoEncoder& FindEncoder(const VideoContainer& container) {
    if (container.isWeb) return kVp8;
    const bool isMatroska = std::string(container.muxer) == "matroskamux";
    return !HasElement(kH264.element) && isMatroska ? kVp8 : kH264;
}

int ParseVideoQuality(const std::string& text) {
    int quality = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, quality);
    if (result.ec != std::errc() || result.ptr != end || quality < 1 || quality > 100) {
        throw Failure(kExitWrongUse, "--quality " + text, "takes a whole number, 1..100");
    }
    return quality;
}

}  // namespace posteffect
