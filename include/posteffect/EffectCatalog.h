// The one table of the effects: everything that help texts, lists, parameter readers and front ends
// need to know of them. Constant data; nothing here needs the library at run time.
#pragma once

#include <array>
#include <cstddef>

namespace posteffect {

// Group 1 carries points on this grid whatever the picture's size, because the library maps it from
// the display to the frame and this is the display size it assumes.
inline constexpr int kDisplayGridWidth = 960;
inline constexpr int kDisplayGridHeight = 544;

// Where an option's value travels.
enum class OptionTarget {
    kGroup0First,  // first number of "GE-param0", rounded to an integer
    kCenter,       // first point of "GE-param1", fractions of the upright picture
    kRadius,       // second point of "GE-param1": this fraction of the width to the right of centre
    kBandEdge,     // second point of "GE-param1": below the centre, where tilt-shift's band ends
    kCellRows,     // first number of "GE-param0": the size of which so many cells make the height
    kBandAngle,    // setTiltShiftAngle: moving pictures only, stills have level bands
};

struct EffectOption {
    const char* name = "";  // "center" is --center
    OptionTarget target = OptionTarget::kGroup0First;
    double minimum = 0.0;
    double maximum = 0.0;
    double defaultValue = 0.0;  // for a point: of both coordinates
    const char* unit = "";
    const char* help = "";
    // Names for the values 0, 1, 2 ..., joined by '|', which people type instead of numbers.
    const char* choices = nullptr;
};

// Points have two numbers, everything else one.
constexpr bool IsPoint(const EffectOption& option) {
    return option.target == OptionTarget::kCenter;
}

struct EffectOptions {
    const EffectOption* first = nullptr;
    std::size_t count = 0;

    constexpr const EffectOption* begin() const { return first; }
    constexpr const EffectOption* end() const { return first + count; }
};

inline constexpr int kEffectNone = -1;

// In which blocks stills come out best.
enum class StillBlocks {
    kAny,    // whatever the blocks, the picture is the same
    kThird,  // a third of the picture's sides, or little less: blurs reach little over their
             // margins
    kWhole,  // as few as the memory allows: each has its own edges
    kFold,   // whole rows, or whole columns where the effect's option asks for portrait
};

struct EffectInfo {
    int number = kEffectNone;
    char letter = '\0';        // first character of the "GPU-effect" value
    const char* name = "";     // what people read
    const char* nick = "";     // what people type
    const char* logName = "";  // how the parameter reader logs it
    bool cropsStills = false;  // shows only the crop rectangle of captured images, too
    StillBlocks stillBlocks = StillBlocks::kAny;
    EffectOptions options = {};
    const char* summary = "";
};

inline constexpr EffectOption kVignetteOptions[] = {
    {"center", OptionTarget::kCenter, 0.0, 1.0, 0.5, "fraction of width, height",
     "centre of the bright circle, from the top left corner"},
    {"radius", OptionTarget::kRadius, 0.0, 1.0, 0.45, "fraction of width",
     "distance from the centre at which half the light is left"},
    {"strength", OptionTarget::kGroup0First, 0.0, 100.0, 50.0, "percent",
     "hardness of the edge: 0 fades slowly, 100 cuts"},
};

inline constexpr EffectOption kDepthOfFieldOptions[] = {
    {"center", OptionTarget::kCenter, 0.0, 1.0, 0.5, "fraction of width, height",
     "the point in focus, from the top left corner"},
    {"radius", OptionTarget::kRadius, 0.1, 1.0, 0.25, "fraction of width",
     "distance from the point in focus at which half of the blur is there"},
    {"strength", OptionTarget::kGroup0First, 14.0, 100.0, 100.0, "14..100",
     "how far the blur reaches"},
};

inline constexpr EffectOption kFisheyeOptions[] = {
    {"center", OptionTarget::kCenter, 0.0, 1.0, 0.5, "fraction of width, height",
     "middle of the lens, from the top left corner; kept a tenth away from the edges"},
    {"strength", OptionTarget::kGroup0First, 0.0, 100.0, 60.0, "0..100",
     "0 pinches the middle most, 33 changes nothing, 100 bulges it most"},
};

inline constexpr EffectOption kDotsOptions[] = {
    {"cells", OptionTarget::kCellRows, 30.0, 68.0, 40.0, "rows", "rows of dots in the picture"},
};

inline constexpr EffectOption kTiltShiftOptions[] = {
    {"center", OptionTarget::kCenter, 0.0, 1.0, 0.5, "fraction of width, height",
     "a point on the middle line of the sharp band"},
    {"edge", OptionTarget::kBandEdge, 0.02, 0.5, 0.18, "fraction of height",
     "distance from the band's middle line at which half of the blur is there"},
    {"strength", OptionTarget::kGroup0First, 14.0, 100.0, 100.0, "14..100",
     "how far the blur reaches"},
    {"angle", OptionTarget::kBandAngle, -90.0, 90.0, 0.0, "degrees",
     "turns the band anticlockwise; stills take 0 (level) and 90 (upright)"},
};

inline constexpr EffectOption kMirrorOptions[] = {
    {"orientation", OptionTarget::kGroup0First, 0.0, 1.0, 1.0, "name",
     "landscape folds left over right, portrait top over bottom", "portrait|landscape"},
};

inline constexpr EffectOption kVintageOptions[] = {
    {"look", OptionTarget::kGroup0First, 0.0, 3.0, 0.0, "name",
     "the tones; sepia leaves the corners bright", "cross|cold|warm|sepia"},
};

inline constexpr EffectOption kSplitToningOptions[] = {
    {"tone", OptionTarget::kGroup0First, 0.0, 100.0, 50.0, "0..100",
     "the tones, along a ramp: shadows are blue at 0, green at 50, red at 100"},
};

inline constexpr int kEffectBypass = 0;
inline constexpr int kEffectFisheye = 3;
inline constexpr int kEffectVignette = 4;
inline constexpr int kEffectMirror = 8;
inline constexpr std::size_t kEffectCount = 19;

// Indexed by effect number. The letter 'A' belongs to no effect.
// clang-format off
inline constexpr std::array<EffectInfo, kEffectCount> kEffects = {{
    {0, '0', "None", "none", "Bypass", false, StillBlocks::kAny, {},
     "leaves the picture as it is"},
    {1, '1', "Vintage", "vintage", "Vintage", false, StillBlocks::kAny,
     {kVintageOptions, std::size(kVintageOptions)},
     "old-photograph tones and dark corners"},
    {2, '2', "Depth of field", "dof", "DoF", true, StillBlocks::kThird,
     {kDepthOfFieldOptions, std::size(kDepthOfFieldOptions)},
     "sharp around a point, blurred beyond"},
    {3, '3', "Fisheye", "fisheye", "Distortion", true, StillBlocks::kAny,
     {kFisheyeOptions, std::size(kFisheyeOptions)},
     "pinches or bulges the picture about a point"},
    {4, '4', "Vignette", "vignette", "Vignette", true, StillBlocks::kAny,
     {kVignetteOptions, std::size(kVignetteOptions)},
     "darkens everything beyond a circle"},
    {5, '5', "Dots", "dots", "DOTS", true, StillBlocks::kAny,
     {kDotsOptions, std::size(kDotsOptions)},
     "halftone dots"},
    {6, '6', "Contrast", "contrast", "Contrast", false, StillBlocks::kAny, {},
     "hard black and white"},
    {7, '7', "Tilt-shift", "tilt-shift", "TS", false, StillBlocks::kThird,
     {kTiltShiftOptions, std::size(kTiltShiftOptions)},
     "a sharp band, blurred above and below"},
    {8, '8', "Mirror", "mirror", "Mirror", false, StillBlocks::kFold,
     {kMirrorOptions, std::size(kMirrorOptions)},
     "folds one half onto the other"},
    {9, '9', "Bloom", "bloom", "Bloom", false, StillBlocks::kAny, {},
     "glowing highlights"},
    {10, 'B', "Whiteboard", "whiteboard", "Whiteboard", true, StillBlocks::kWhole, {},
     "readable pages and boards"},
    {11, 'C', "Maple", "maple", "Stylized_Maple", false, StillBlocks::kAny, {},
     "a warm colour mood"},
    {12, 'D', "Nash", "nash", "Stylized_Nash", true, StillBlocks::kAny, {},
     "a pastel colour mood"},
    {13, 'E', "Two-tone vertical", "two-tone-v", "TwoToneMask_V", false, StillBlocks::kAny, {},
     "two tones, top to bottom"},
    {14, 'F', "Two-tone horizontal", "two-tone-h", "TwoToneMask_H", false, StillBlocks::kAny, {},
     "two tones, left to right"},
    {15, 'G', "Split toning", "split-toning", "SplitToning_Mono", true, StillBlocks::kAny,
     {kSplitToningOptions, std::size(kSplitToningOptions)},
     "toned black and white"},
    {16, 'H', "Split toning colour", "split-toning-color", "SplitToning_Color", false, StillBlocks::kAny, {},
     "toned shadows and highlights"},
    {17, 'I', "Sketch", "sketch", "Sketch", true, StillBlocks::kThird, {},
     "pencil lines on greys"},
    {18, 'J', "Colour sketch", "color-sketch", "Color Sketch", true, StillBlocks::kThird, {},
     "pencil lines on flat colours"},
}};
// clang-format on

}  // namespace posteffect
