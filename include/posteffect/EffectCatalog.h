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

struct EffectOptions {
    const EffectOption* first = nullptr;
    std::size_t count = 0;

    constexpr const EffectOption* begin() const { return first; }
    constexpr const EffectOption* end() const { return first + count; }
};

inline constexpr int kEffectNone = -1;

struct EffectInfo {
    int number = kEffectNone;
    char letter = '\0';        // first character of the "GPU-effect" value
    const char* name = "";     // what people read
    const char* nick = "";     // what people type
    const char* logName = "";  // how the parameter reader logs it
    bool available = false;    // false while the effect is not part of this release
    bool cropsStills = false;  // shows only the crop rectangle of captured images, too
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

inline constexpr EffectOption kVintageOptions[] = {
    {"look", OptionTarget::kGroup0First, 0.0, 3.0, 0.0, "name",
     "the tones; sepia leaves the corners bright", "cross|cold|warm|sepia"},
};

inline constexpr EffectOption kSplitToningOptions[] = {
    {"tone", OptionTarget::kGroup0First, 0.0, 100.0, 50.0, "0..100",
     "the tones, along a ramp: shadows are blue at 0, green at 50, red at 100"},
};

inline constexpr int kEffectBypass = 0;
inline constexpr int kEffectVignette = 4;
inline constexpr int kEffectMirror = 8;
inline constexpr std::size_t kEffectCount = 19;

// Indexed by effect number. The letter 'A' belongs to no effect.
// clang-format off
inline constexpr std::array<EffectInfo, kEffectCount> kEffects = {{
    {0, '0', "None", "none", "Bypass", true, false, {},
     "leaves the picture as it is"},
    {1, '1', "Vintage", "vintage", "Vintage", true, false,
     {kVintageOptions, std::size(kVintageOptions)},
     "old-photograph tones and dark corners"},
    {2, '2', "Depth of field", "dof", "DoF", false, true, {},
     "sharp around a point, blurred beyond"},
    {3, '3', "Fisheye", "fisheye", "Distortion", false, true, {},
     "barrel or bulge about a point"},
    {4, '4', "Vignette", "vignette", "Vignette", true, true,
     {kVignetteOptions, std::size(kVignetteOptions)},
     "darkens everything beyond a circle"},
    {5, '5', "Dots", "dots", "DOTS", false, true, {},
     "halftone dots"},
    {6, '6', "Contrast", "contrast", "Contrast", true, false, {},
     "hard black and white"},
    {7, '7', "Tilt-shift", "tilt-shift", "TS", false, false, {},
     "a sharp band, blurred above and below"},
    {8, '8', "Mirror", "mirror", "Mirror", false, false, {},
     "folds one half onto the other"},
    {9, '9', "Bloom", "bloom", "Bloom", true, false, {},
     "glowing highlights"},
    {10, 'B', "Whiteboard", "whiteboard", "Whiteboard", true, true, {},
     "readable pages and boards"},
    {11, 'C', "Maple", "maple", "Stylized_Maple", true, false, {},
     "a warm colour mood"},
    {12, 'D', "Nash", "nash", "Stylized_Nash", true, true, {},
     "a pastel colour mood"},
    {13, 'E', "Two-tone vertical", "two-tone-v", "TwoToneMask_V", true, false, {},
     "two tones, top to bottom"},
    {14, 'F', "Two-tone horizontal", "two-tone-h", "TwoToneMask_H", true, false, {},
     "two tones, left to right"},
    {15, 'G', "Split toning", "split-toning", "SplitToning_Mono", true, true,
     {kSplitToningOptions, std::size(kSplitToningOptions)},
     "toned black and white"},
    {16, 'H', "Split toning colour", "split-toning-color", "SplitToning_Color", true, false, {},
     "toned shadows and highlights"},
    {17, 'I', "Sketch", "sketch", "Sketch", false, true, {},
     "pencil lines on paper"},
    {18, 'J', "Colour sketch", "color-sketch", "Color Sketch", false, true, {},
     "pencil lines over colour"},
}};
// clang-format on

}  // namespace posteffect
