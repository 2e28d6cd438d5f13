// The posteffect command as people run it: the real program on real files.
#include <gtest/gtest.h>
#include <posteffect/EffectCatalog.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/CommandRunner.h"
#include "tests/support/ExifFile.h"
#include "tests/support/JpegFile.h"
#include "tests/support/PictureModel.h"

namespace {

namespace fs = std::filesystem;

constexpr int kGrayLevel = 200;
Rgb Gray(int, int) {
    return {kGrayLevel, kGrayLevel, kGrayLevel};
}

class Command : public CommandTest {
  protected:
    // What the effect makes of in.jpg.
    RgbPicture filtered(const Words& arguments) const {
        succeed(Joined(Words{"photo", "in.jpg", "out.jpg", "--force"}, arguments));
        return DecodeRgb(m_folder.read("out.jpg"));
    }
    void writeInput(const JpegRecipe& recipe, const std::function<Rgb(int, int)>& pixel) const {
        m_folder.write("in.jpg", MakeJpeg(recipe, pixel));
    }
};

TEST_F(Command, VignetteDarkensAsItsOptionsSayWhateverTheBlocks) {
    const struct {
        int width, height;
        double x, y, radius, strength;
        Words options;
    } rows[] = {
        // The library counts the points in whole pixels of a block; here they all come out whole.
        {320, 240, 0.5, 0.5, 0.45, 50, {}},
        {320, 240, 0.5, 0.5, 0.45, 50, {"--block", "80x48"}},
        {241, 333, 0.25, 0.75, 0.45, 50, {"--center", "0.25,0.75"}},
        {241, 333, 0.5, 0.5, 0.3, 100, {"--radius", "0.3", "--strength=100", "--block", "50x38"}},
        {33, 5, 1, 0, 1, 0, {"--center", "1,0", "--radius", "1", "--strength", "0"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        writeInput(Sized(row.width, row.height, 100), Gray);
        const RgbPicture after =
            filtered(Joined(Words{"-e", "vignette", "--quality", "100"}, row.options));
        ASSERT_EQ(after.width, row.width);
        ASSERT_EQ(after.height, row.height);
        // Odd sides are padded by one, and fractions are of the padded picture.
        const int width = row.width + row.width % 2;
        const int height = row.height + row.height % 2;
        const double softness = (100 - row.strength) * 0.37 / 100 + 0.03;
        const auto model = testing_support::VignetteModel(row.x - 0.5, row.y - 0.5, row.radius,
                                                          softness, double{1} * width / height);
        const auto expected = [&](int x, int y) {
            const double left = model({1, 1, 1}, (x + 0.5) / width, (y + 0.5) / height)[0];
            const int level = static_cast<int>(std::lround(kGrayLevel * left));
            return Rgb{level, level, level};
        };
        // Two levels of the GPU's and some of the JPEG's at its best quality.
        EXPECT_LE(LargestDifference(after, expected), 6);
    }
}

TEST_F(Command, FractionsAndCropMeanTheUprightPicture) {
    ExifRecipe exif;
    exif.orientation = 6;  // stored lying on its left side: 96 x 128 upright
    JpegRecipe recipe = Sized(128, 96, 100);
    recipe.segments = {{kApp0 + 1, MakeExif(exif)}};
    writeInput(recipe, Gray);
    const RgbPicture spot = filtered(
        {"-e", "vignette", "--center", "0.25,0.125", "--radius", "0.2", "--strength", "90"});
    ASSERT_EQ(spot.width, 96);
    ASSERT_EQ(spot.height, 128);
    EXPECT_GE(spot(24, 16)[1], kGrayLevel - 5);
    EXPECT_LE(spot(71, 16)[1], 5);
    EXPECT_LE(spot(24, 111)[1], 5);

    // The stored left edge is the upright picture's top.
    writeInput(recipe, [](int x, int) { return x < 32 ? Rgb{220, 220, 220} : Rgb{40, 40, 40}; });
    for (const auto& [crop, level] :
         {std::pair{"0,0,1,1", 40}, {"0,0,1,0.25", 220}, {"0.1,0.5,0.8,0.5", 40}}) {
        const RgbPicture part = filtered({"-e", "vignette", "--radius", "1", "--crop", crop});
        EXPECT_NEAR(part(48, 64)[1], level, 12) << crop;
    }
}

TEST_F(Command, MetadataFollowsThePicture) {
    ExifRecipe exif;
    exif.width = 64;
    exif.height = 48;
    exif.thumbnail = MakeJpeg(Sized(32, 24, 100), Gray);
    const Segment xmp = {kApp0 + 1, Bytes(300, std::uint8_t{'x'})};
    JpegRecipe recipe = Sized(64, 48, 100);
    const auto exifAfter = [&](const char* effect) {
        recipe.segments = {{kApp0 + 1, MakeExif(exif)}, xmp};
        writeInput(recipe, Gray);
        filtered({"-e", effect});
        const auto segments = ListSegments(m_folder.read("out.jpg"));
        EXPECT_EQ(segments.size(), 3U);
        EXPECT_TRUE(segments.back() == xmp);
        return segments.size() > 1 ? segments[1].bytes : Bytes();
    };
    // Nothing to change: not a byte.
    EXPECT_EQ(exifAfter("none"), MakeExif(exif));

    exif.orientation = 8;
    const std::string after = DescribeExif(exifAfter("vignette"));
    exif.orientation = 1;
    std::swap(exif.width, exif.height);
    const std::string expected = DescribeExif(MakeExif(exif));
    const auto fields = [](const std::string& text) { return text.substr(0, text.find("thumb")); };
    EXPECT_EQ(fields(after), fields(expected));

    const Bytes segment = ListSegments(m_folder.read("out.jpg"))[1].bytes;
    const Bytes start = {0xFF, 0xD8};
    const RgbPicture thumbnail = DecodeRgb(
        {std::search(segment.begin(), segment.end(), start.begin(), start.end()), segment.end()});
    ASSERT_GT(thumbnail.height, thumbnail.width);
    EXPECT_GT(thumbnail(thumbnail.width / 2, thumbnail.height / 2)[1], kGrayLevel - 10);
    EXPECT_LT(thumbnail(0, 0)[1], kGrayLevel / 2);
}

TEST_F(Command, EveryFaultIsOneLineWithItsExitCodeAndNoOutput) {
    JpegRecipe recipe = Sized(48, 32, 100);
    writeInput(recipe, Ramp);
    const Bytes good = m_folder.read("in.jpg");
    m_folder.write("cut.jpg", Bytes(good.begin(), good.end() - 300));
    recipe.progressive = true;
    const Bytes progressive = MakeJpeg(recipe, Ramp);
    m_folder.write("cut2.jpg", Bytes(progressive.begin(), progressive.end() - 100));
    recipe.colors = "cmyk";
    m_folder.write("cmyk.jpg", MakeJpeg(recipe, Ramp));
    m_folder.write("text.jpg", ToBytes("hello"));
    m_folder.write("empty.jpg", {});
    m_folder.write("there.jpg", {1, 2, 3});
    fs::create_directory(m_folder.path("folder"));
    fs::create_symlink("in.jpg", m_folder.path("link.jpg"));
    fs::create_hard_link(m_folder.path("in.jpg"), m_folder.path("hard.jpg"));
    // No driver anywhere.
    const RunOptions noFiles = {{}, {{"POSTEFFECT_SYSROOT", m_folder.path("folder")}}};
    const RunOptions noGpu = {{},
                              {{"__EGL_VENDOR_LIBRARY_DIRS", m_folder.path("folder")},
                               {"__EGL_VENDOR_LIBRARY_FILENAMES", ""}}};
    const RunOptions noRoom = {{}, {}, 100};

    constexpr char kDrivers[] = "libegl1 libegl-mesa0 libgl1-mesa-dri libgles2";
    const std::string vignette = "--effect=vignette";
    const std::string none = "--effect=none";
    expectFaults({}, {{2, {"choose photo, "}, {}}, {2, {"did you mean photo?"}, {"phto", none}}});
    const std::vector<Fault> faults = {
        {2, {"OUT"}, {"in.jpg", none}},
        {2, {"--effect"}, {"in.jpg", "out.jpg"}},
        {2, {"did you mean --effect?"}, {"in.jpg", "out.jpg", "--efect", "none"}},
        {2, {"did you mean vignette?"}, {"in.jpg", "out.jpg", "-e", "vingette"}},
        {2, {"posteffect list"}, {"in.jpg", "out.jpg", "-e", "A"}},
        {2, {"of a still is 0"}, {"in.jpg", "out.jpg", "-e", "tilt-shift", "--angle", "30"}},
        {2, {"more rows of dots"}, {"in.jpg", "out.jpg", "-e", "dots", "--cells", "68"}},
        {2, {"did you mean sepia?"}, {"in.jpg", "out.jpg", "-e", "vintage", "--look=sepa"}},
        {2, {"it takes no options"}, {"in.jpg", "out.jpg", none, "--radius=.2"}},
        {2, {"whole picture"}, {"in.jpg", "out.jpg", none, "--crop=0,0,.5,.5"}},
        {2, {"0..100"}, {"in.jpg", "out.jpg", vignette, "--strength=101"}},
        {2, {"0..1"}, {"in.jpg", "out.jpg", vignette, "--radius", "-0.1"}},
        {2, {"0..1"}, {"in.jpg", "out.jpg", vignette, "--radius=nan"}},
        {2, {"X,Y"}, {"in.jpg", "out.jpg", vignette, "--center=0.5"}},
        {2, {"even"}, {"in.jpg", "out.jpg", vignette, "--block=63x48"}},
        {2, {"2..16384"}, {"in.jpg", "out.jpg", vignette, "--block=0x0"}},
        {2, {"1..100"}, {"in.jpg", "out.jpg", vignette, "--quality=0"}},
        {2, {"inside"}, {"in.jpg", "out.jpg", vignette, "--crop=.8,0,.3,1"}},
        {2, {"inside"}, {"in.jpg", "out.jpg", vignette, "--crop=0,0,0,1"}},
        {2, {"inside"}, {"in.jpg", "out.jpg", vignette, "--crop=nan,0,1,1"}},
        {2, {"too many"}, {"in.jpg", "out.jpg", "more", none}},
        {3, {kDrivers}, {"in.jpg", "out.jpg", vignette}, noGpu},
        {1, {"look-up files"}, {"in.jpg", "out.jpg", "-e", "vintage"}, noFiles},
        {4, {"No such file"}, {"missing.jpg", "out.jpg", none}},
        {4, {"name a file"}, {"folder", "out.jpg", none}},
        {4, {"empty"}, {"empty.jpg", "out.jpg", none}},
        {4, {"truncated"}, {"cut.jpg", "out.jpg", none}},
        {4, {"truncated"}, {"cut2.jpg", "out.jpg", vignette}},
        {5, {"--force"}, {"in.jpg", "there.jpg", none}},
        {5, {"is the input itself"}, {"in.jpg", "in.jpg", none}},
        {5, {"is the input itself"}, {"in.jpg", "link.jpg", none}},
        {5, {"is the input itself"}, {"in.jpg", "hard.jpg", none}},
        {5, {"is a folder"}, {"in.jpg", "folder", none, "--force"}},
        {5, {"folder first"}, {"in.jpg", "nowhere/out.jpg", none}},
        {5, {"cannot be written"}, {"in.jpg", "/proc/out.jpg", none}},
        {5, {"No space left"}, {"in.jpg", "/dev/full", none}},
        {5, {"File too large"}, {"in.jpg", "out.jpg", none}, noRoom},
        {6, {"not a JPEG"}, {"text.jpg", "out.jpg", none}},
        {6, {"CMYK"}, {"cmyk.jpg", "out.jpg", none}},
    };
    expectFaults({"photo"}, faults);
    EXPECT_EQ(m_folder.read("in.jpg"), good);
}

TEST_F(Command, ASignalEndsItWithoutOutput) {
    m_folder.write("in.jpg", MakeJpeg({}, Ramp));
    // More than a pipe holds: once all of it is taken, the program has begun to read.
    const Outcome outcome =
        RunProgram(m_folder, "/bin/bash",
                   {"-c",
                    "mkfifo pipe; \"$0\" photo - out.jpg -e none <pipe & "
                    "{ cat in.jpg; head -c 1048576 /dev/zero; kill -TERM $!; wait $!; } >pipe",
                    POSTEFFECT_COMMAND});
    EXPECT_EQ(outcome.exitCode, 143) << outcome.errors;
    EXPECT_EQ(m_folder.names(), (Words{"in.jpg", "pipe"}));
}

TEST_F(Command, HelpListAndVersionSucceedOnStandardOutput) {
    for (const Words& arguments : std::vector<Words>{
             {"--help"}, {"photo", "--help"}, {"list", "--help"}, {"--version"}, {"list"}}) {
        EXPECT_GT(succeed(arguments).size(), 10U) << arguments[0];
    }
    const nlohmann::json list = nlohmann::json::parse(succeed({"list", "--json"}));
    EXPECT_EQ(list.size(), posteffect::kEffectCount);
    writeInput(Sized(64, 64), Gray);
    for (const auto& effect : list) {
        // What the list names is what photo takes: each option at its default is accepted.
        Words arguments = {"-e", effect["effect"]};
        for (const auto& option : effect["options"]) {
            const auto& value = option["default"];
            arguments.push_back("--" + option["name"].get<std::string>());
            const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
            arguments.push_back(value.is_array() ? value[0].dump() + "," + value[1].dump() : text);
        }
        EXPECT_EQ(filtered(arguments).width, 64);
    }
}

}  // namespace
