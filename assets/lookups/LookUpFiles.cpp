// Writes the look-up files of the effects: small BMP pictures, each from the formula beside it.
//
//     posteffect_lookups FOLDER        writes all of them into FOLDER
//
// Pixels of 24-bit files are stored blue, green, red; the shaders of the tone curves and ramps
// cross red and blue back, those of the two-tone masks do not, so the masks are written crossed.
// The first row of a file is the bottom of the picture in a viewer and the top of the frame in a
// shader.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace {

using Color = std::array<double, 3>;  // red, green, blue, 0..1

constexpr double kPi = 3.14159265358979323846;

double Clamp(double value) {
    return std::clamp(value, 0.0, 1.0);
}

double Mix(double a, double b, double t) {
    return a + (b - a) * t;
}

Color Mix(const Color& a, const Color& b, double t) {
    return {Mix(a[0], b[0], t), Mix(a[1], b[1], t), Mix(a[2], b[2], t)};
}

double SmoothStep(double low, double high, double x) {
    const double t = Clamp((x - low) / (high - low));
    return t * t * (3.0 - 2.0 * t);
}

// More contrast about the middle: steeper by 2 pi a there.
double SCurve(double v, double a) {
    return v - a * std::sin(2.0 * kPi * v);
}

uint8_t Byte(double value) {
    return static_cast<uint8_t>(std::lround(255.0 * Clamp(value)));
}

// --- Files ---

void Append(std::vector<uint8_t>& bytes, uint32_t value, int size) {
    for (int i = 0; i < size; ++i, value >>= 8U)
        bytes.push_back(static_cast<uint8_t>(value & 0xFFU));
}

// Header up to the pixels, with the table of colours or bit masks that the depth needs.
std::vector<uint8_t> Header(int width, int height, int depth) {
    constexpr uint32_t kPlainHeader = 54;
    constexpr uint32_t kBitFields = 3;
    const uint32_t tableBytes = depth == 8 ? 256 * 4 : depth == 16 ? 12 : 0;
    const uint32_t pixelBytes = static_cast<uint32_t>(width * height * depth / 8);
    const uint32_t offset = kPlainHeader + tableBytes;
    std::vector<uint8_t> bytes = {'B', 'M'};
    Append(bytes, offset + pixelBytes, 4);
    Append(bytes, 0, 4);
    Append(bytes, offset, 4);
    Append(bytes, 40, 4);
    Append(bytes, static_cast<uint32_t>(width), 4);
    Append(bytes, static_cast<uint32_t>(height), 4);
    Append(bytes, 1, 2);
    Append(bytes, static_cast<uint32_t>(depth), 2);
    Append(bytes, depth == 16 ? kBitFields : 0, 4);
    Append(bytes, pixelBytes, 4);
    Append(bytes, 2835, 4);  // 72 dots an inch
    Append(bytes, 2835, 4);
    Append(bytes, depth == 8 ? 256 : 0, 4);
    Append(bytes, 0, 4);
    if (depth == 8) {
        for (uint32_t grey = 0; grey < 256; ++grey) Append(bytes, grey * 0x010101U, 4);
    }
    if (depth == 16) {
        for (const uint32_t mask : {0xF800U, 0x07E0U, 0x001FU}) Append(bytes, mask, 4);
    }
    return bytes;
}

struct Size {
    int width, height;
};

// (x, y) are columns and rows as fractions: 0 the first, 1 the last.
using ColorAt = std::function<Color(double x, double y)>;

std::vector<uint8_t> ColorFile(Size size, const ColorAt& colorAt) {
    std::vector<uint8_t> bytes = Header(size.width, size.height, 24);
    for (int row = 0; row < size.height; ++row) {
        for (int column = 0; column < size.width; ++column) {
            const Color color = colorAt(column / (size.width - 1.0), row / (size.height - 1.0));
            for (const std::size_t channel : {2U, 1U, 0U}) bytes.push_back(Byte(color[channel]));
        }
    }
    return bytes;
}

// --- Tone curves: the same in every row ---

std::vector<uint8_t> CurveFile(const std::function<Color(double)>& curve) {
    return ColorFile({256, 4}, [&](double x, double) { return curve(x); });
}

// Cross processing: red and green steepened, blue flattened: teal shadows, yellow lights.
Color Cross(double v) {
    return {SCurve(v, 0.12), SCurve(v, 0.08), 0.10 + 0.80 * v};
}

Color Cold(double v) {
    return {0.92 * std::pow(v, 1.10), 0.98 * v, 0.06 + 0.94 * std::pow(v, 0.90)};
}

Color Warm(double v) {
    return {0.04 + 0.96 * std::pow(v, 0.85), std::pow(v, 0.97), 0.90 * std::pow(v, 1.12)};
}

// A curve a channel: the scene's own colours stay, toned.
Color Sepia(double v) {
    return {0.12 + 0.88 * std::pow(v, 0.80), 0.07 + 0.83 * v, 0.03 + 0.65 * std::pow(v, 1.25)};
}

// Paper becomes white, ink black. The shader looks up c to the power of 0.7, which is undone first.
Color Whiteboard(double x) {
    const double level = SmoothStep(0.06, 0.80, std::pow(x, 1.0 / 0.7));
    return {level, level, level};
}

// --- Ramps: rows are read at tenths of the height ---

// Ever harder contrast from the fifth tenth on in red, ever lighter middles in green.
Color ContrastRamp(double v, double y) {
    const double band = std::round(10.0 * y);
    const double hardness = std::clamp((band - 4.0) * 0.13, 0.0, 0.8);
    return {Mix(v, SmoothStep(0.0, 1.0, v), hardness), std::pow(v, 1.0 - 0.04 * (band - 5.0)), v};
}

// Maple at the middle, Nash at nine tenths, a blend between them, each in a band of rows of its
// own.
Color ColorRamp(double v, double y) {
    const Color maple = {std::pow(v, 0.80), 0.02 + 0.93 * std::pow(v, 1.05),
                         0.05 + 0.75 * std::pow(v, 1.25)};
    const Color nash = {0.10 + 0.90 * std::pow(v, 0.92), 0.07 + 0.88 * v, 0.14 + 0.70 * v};
    if (std::abs(y - 0.5) < 0.05) return maple;
    if (y > 0.85) return nash;
    return Mix(maple, nash, Clamp((y - 0.5) / 0.4));
}

// --- Masks ---

// Light falls off towards the corners: full within 0.65 of the half sides, a fifth at the corners.
std::vector<uint8_t> VignetteFile(Size size) {
    std::vector<uint8_t> bytes = Header(size.width, size.height, 8);
    for (int row = 0; row < size.height; ++row) {
        for (int column = 0; column < size.width; ++column) {
            const double x = (2.0 * column + 1.0) / size.width - 1.0;
            const double y = (2.0 * row + 1.0) / size.height - 1.0;
            bytes.push_back(Byte(1.0 - 0.80 * SmoothStep(0.65, 1.42, std::hypot(x, y))));
        }
    }
    return bytes;
}

// Two tones that meet softly in the middle; red and blue crossed, since the shader does not.
std::vector<uint8_t> TwoToneFile(const Color& first, const Color& second) {
    return ColorFile({256, 256}, [&](double, double y) {
        const Color tone = Mix(first, second, SmoothStep(0.35, 0.65, y));
        return Color{tone[2], tone[1], tone[0]};
    });
}

// A white disc on black; the edges stay black, so that tiles join.
std::vector<uint8_t> DotFile(double radius) {
    constexpr int kSide = 64;
    std::vector<uint8_t> bytes = Header(kSide, kSide, 16);
    for (int row = 0; row < kSide; ++row) {
        for (int column = 0; column < kSide; ++column) {
            const double distance =
                std::hypot((column + 0.5) / kSide - 0.5, (row + 0.5) / kSide - 0.5);
            const double level = Clamp((radius - distance) * kSide + 0.5);
            const auto five = static_cast<uint32_t>(std::lround(31.0 * level));
            const auto six = static_cast<uint32_t>(std::lround(63.0 * level));
            Append(bytes, five << 11U | six << 5U | five, 2);
        }
    }
    return bytes;
}

bool WriteFile(const std::string& path, const std::vector<uint8_t>& bytes) {
    // Under a passing name until it is whole: an earlier file stays when the disk is full.
    const std::string passing = path + ".tmp";
    std::FILE* file = std::fopen(passing.c_str(), "wb");
    if (file == nullptr) return false;
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    if (std::fclose(file) == 0 && written && std::rename(passing.c_str(), path.c_str()) == 0) {
        return true;
    }
    std::remove(passing.c_str());
    return false;
}

struct LookUpFile {
    const char* name;
    std::vector<uint8_t> bytes;
};

std::vector<LookUpFile> AllFiles() {
    return {
        {"CurveCross.bmp", CurveFile(Cross)},
        {"CurveCold.bmp", CurveFile(Cold)},
        {"CurveWarm.bmp", CurveFile(Warm)},
        {"CurveSepia.bmp", CurveFile(Sepia)},
        {"mask_vignette_wide.bmp", VignetteFile({512, 288})},
        {"mask_vignette_legacy.bmp", VignetteFile({512, 384})},
        {"ContrastCurveSet.bmp",
         ColorFile({256, 16}, [](double x, double) { return Whiteboard(x); })},
        {"stylizeColorRamp.bmp", ColorFile({256, 256}, ColorRamp)},
        {"stylizeContrastRamp.bmp", ColorFile({256, 256}, ContrastRamp)},
        {"twoToneMaskV.bmp", TwoToneFile({0.55, 0.85, 1.0}, {1.0, 0.78, 0.50})},
        {"twoToneMaskH.bmp", TwoToneFile({1.0, 0.62, 0.85}, {0.62, 1.0, 0.82})},
        {"dot_mask_0.bmp", DotFile(0.50)},
        {"dot_mask_1.bmp", DotFile(0.47)},
        {"dot_mask_2.bmp", DotFile(0.42)},
        {"dot_mask_3.bmp", DotFile(0.34)},
    };
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: posteffect_lookups FOLDER\n", stderr);
        return 2;
    }
    for (const LookUpFile& file : AllFiles()) {
        const std::string path = std::string(argv[1]) + "/" + file.name;
        if (!WriteFile(path, file.bytes)) {
            std::fprintf(stderr, "posteffect_lookups: %s: cannot be written\n", path.c_str());
            return 5;
        }
    }
    return 0;
}
