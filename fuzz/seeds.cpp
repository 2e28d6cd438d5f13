// Writes what the fuzz targets begin with: a folder of small files for each, below the given one.
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "apps/posteffect/PictureFormat.h"
#include "effects/Bypass.h"
#include "engine/GEManager.h"
#include "tests/support/ExifFile.h"
#include "tests/support/JpegFile.h"
#include "tests/support/PngFile.h"

namespace {

class Seeds {
  public:
    explicit Seeds(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    std::string path(const std::string& target, const std::string& name) const {
        std::filesystem::create_directories(m_folder / target);
        return m_folder / target / name;
    }
    void write(const std::string& target, const std::string& name, const Bytes& bytes) const {
        std::ofstream file(path(target, name), std::ios::binary);
        for (const std::uint8_t byte : bytes) file.put(static_cast<char>(byte));
    }
    void write(const std::string& target, const std::string& name, const std::string& text) const {
        write(target, name, Bytes(text.begin(), text.end()));
    }

  private:
    std::filesystem::path m_folder;
};

void WriteJpegs(const Seeds& seeds) {
    JpegRecipe recipe;
    recipe.width = 19;
    recipe.height = 13;
    recipe.quality = 60;
    seeds.write("jpeg", "thumbnail", MakeJpeg(recipe, Ramp));
    ExifRecipe exif;
    exif.orientation = 6;
    exif.thumbnail = MakeJpeg(recipe, Ramp);
    for (const char* colors : {"ycc", "gray", "rgb", "cmyk"}) {
        recipe.colors = colors;
        seeds.write("jpeg", colors, MakeJpeg(recipe, Ramp));
    }
    recipe.colors = "ycc";
    recipe.sampling = {{{1, 2}, {1, 1}, {1, 1}}};
    recipe.progressive = true;
    recipe.segments = {{kApp0 + 1, MakeExif(exif)}};
    seeds.write("jpeg", "exif", MakeJpeg(recipe, Ramp));
    recipe.arithmetic = true;
    recipe.progressive = false;
    recipe.segments.clear();
    seeds.write("jpeg", "arithmetic", MakeJpeg(recipe, Ramp));
}

void WritePictures(const Seeds& seeds) {
    for (const char* colors : {"rgb", "rgba", "gray", "gray-alpha", "palette"}) {
        PngRecipe recipe{9, 5, colors, 8, true};
        seeds.write("picture", std::string(colors) + ".png", MakePng(recipe, Glass));
        if (recipe.colors == "palette") continue;
        recipe.depth = 16;
        seeds.write("picture", std::string(colors) + "16.png", MakePng(recipe, Glass));
    }
    for (const posteffect::PictureFormat* format :
         {&posteffect::kWebpFormat, &posteffect::kTiffFormat}) {
        for (const std::optional<int> quality : {std::optional<int>(), std::optional<int>(50)}) {
            posteffect::Picture picture =
                posteffect::kPngFormat.decode("seed", MakePng({9, 5, "rgba", 8, false}, Glass));
            seeds.write("picture", std::to_string(quality.value_or(0)) + format->name,
                        format->encode("seed", &picture, quality));
        }
    }
    // 37000 x 37000, it says, and has the begin of an alpha plane.
    Bytes canvas = {'R', 'I', 'F', 'F', 112, 0,   0,   0,   'W', 'E', 'B', 'P', 'V',
                    'P', '8', 'X', 10,  0,   0,   0,   16,  0,   0,   0,   135, 144,
                    0,   135, 144, 0,   'A', 'L', 'P', 'H', 31,  0,   0,   0};
    canvas.resize(49);
    seeds.write("picture", "canvas.webp", canvas);
}

void WriteBmps(const Seeds& seeds) {
    constexpr std::uint8_t kHeader = 54;
    for (const std::uint8_t depth : std::array<std::uint8_t, 4>{8, 16, 24, 32}) {
        Bytes file(kHeader + 32U * 2U * depth / 8U, 0x55);
        std::fill_n(file.begin(), kHeader, std::uint8_t{0});
        file[0] = 'B';
        file[1] = 'M';
        file[10] = kHeader;
        file[18] = 32;
        file[22] = 2;
        file[28] = depth;
        seeds.write("bmp", std::to_string(depth), file);
    }
}

// As the target reads it: one byte a choice, two where there are more.
void WriteCalls(const Seeds& seeds) {
    const Bytes preview = {2, 0, 68, 0, 52, 0};  // 64 x 48
    const Bytes frame = {2, 3};
    const Bytes capture = {2, 4, 160, 0, 120, 0};  // 160 x 120
    const Bytes end = {2, 5};
    for (std::uint8_t effect = 0; effect < 20; ++effect) {
        Bytes calls = {0};
        const auto add = [&calls](const Bytes& more) {
            calls.insert(calls.end(), more.begin(), more.end());
        };
        add(preview);
        add({2, 1, effect});
        for (std::uint8_t i = 0; i < 8; ++i) add({0, static_cast<std::uint8_t>(60 * i), i});
        add(frame);
        add(capture);
        add(end);
        seeds.write("service", std::to_string(effect), calls);
    }
}

}  // namespace

int main(int, char** arguments) {
    const Seeds seeds(arguments[1]);
    WriteJpegs(seeds);
    WritePictures(seeds);
    WriteBmps(seeds);
    WriteCalls(seeds);
    seeds.write("stream", "two",
                "YUV4MPEG2 W4 H2 F25:1 C420jpeg XCOLORRANGE=FULL\nFRAME\n012345670101FRAME\n");
    seeds.write("parameters", "vignette",
                "GPU-effect=4;GE-param0=50,0,0,0;GE-param1=480,272,912,272");
    seeds.write("block_plan", "zeros", Bytes(64));
    GEManager manager;  // whose context is current from here on
    GLProgBypass program;
    return program.Load() != 0 && program.SaveBinary(seeds.path("program", "bypass").c_str()) ? 0
                                                                                              : 1;
}
