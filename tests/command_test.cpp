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

namespace {

namespace fs = std::filesystem;

Rgb Ramp(int x, int y) {
    return {60 + std::min(x + 2 * y, 300) / 3, 100 + std::min(x, 100) / 2, 200 - std::min(y, 80)};
}

constexpr int kGrayLevel = 200;
Rgb Gray(int, int) {
    return {kGrayLevel, kGrayLevel, kGrayLevel};
}

class Command : public testing::Test {
  protected:
    Outcome run(const std::vector<std::string>& arguments, const RunOptions& options = {}) const {
        return RunProgram(m_folder, POSTEFFECT_COMMAND, arguments, options);
    }

    // Runs what must succeed without a word, and decodes its out.jpg.
    RgbPicture filtered(std::vector<std::string> arguments) const {
        fs::remove(m_folder.path("out.jpg"));
        arguments.insert(arguments.begin(), {"photo", "in.jpg", "out.jpg"});
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.errors, "");
        return DecodeRgb(m_folder.read("out.jpg"));
    }

    void writeInput(const JpegRecipe& recipe, const std::function<Rgb(int, int)>& pixel) const {
        m_folder.write("in.jpg", MakeJpeg(recipe, pixel));
    }

    TestFolder m_folder;
};

JpegRecipe Sized(int width, int height) {
    JpegRecipe recipe;
    recipe.width = width;
    recipe.height = height;
    recipe.quality = 100;
    return recipe;
}

// What the vignette leaves of light in the middle of pixel (x, y). Odd sides are padded by one, and
// fractions are of the padded picture.
double LightLeft(int x, int y, int width, int height, double centerX, double centerY, double radius,
                 double strength) {
    width += width % 2;
    height += height % 2;
    const double softness = (100 - strength) * 0.37 / 100 + 0.03;
    const double dx = (x + 0.5) / width - centerX;
    const double dy = ((y + 0.5) / height - centerY) * height / width;
    const double t =
        std::clamp((std::hypot(dx, dy) - (radius - softness)) / (2 * softness), 0.0, 1.0);
    return 1 - t * t * (3 - 2 * t);
}

TEST_F(Command, EffectNoneCopiesThePictureAtAnySize) {
    for (const auto& [width, height] : {std::pair{1, 1}, {2, 2}, {1, 9}, {35, 17}, {640, 360}}) {
        writeInput(Sized(width, height), Ramp);
        const RgbPicture before = DecodeRgb(m_folder.read("in.jpg"));
        const RgbPicture after = filtered({"--effect", "none", "--quality", "100"});
        ASSERT_EQ(after.width, width);
        ASSERT_EQ(after.height, height);
        EXPECT_LE(LargestDifference(after, [&](int x, int y) { return before.at(x, y); }), 4);
    }
}

TEST_F(Command, VignetteDarkensAsItsOptionsSayWhateverTheBlocks) {
    struct Row {
        int width, height;
        double x, y, radius, strength;
        std::vector<std::string> options;
    };
    // The library counts the points in whole pixels of a block; here they all come out whole.
    const Row rows[] = {
        {320, 240, 0.5, 0.5, 0.45, 50, {}},
        {320, 240, 0.5, 0.5, 0.45, 50, {"--block", "80x48"}},
        {241, 333, 0.25, 0.75, 0.45, 50, {"--center", "0.25,0.75"}},
        {241, 333, 0.5, 0.5, 0.3, 100, {"--radius", "0.3", "--strength=100", "--block", "50x38"}},
        {33, 5, 1, 0, 1, 0, {"--center", "1,0", "--radius", "1", "--strength", "0"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(&row - rows));
        writeInput(Sized(row.width, row.height), Gray);
        std::vector<std::string> arguments = {"-e", "vignette", "--quality", "100"};
        arguments.insert(arguments.end(), row.options.begin(), row.options.end());
        const RgbPicture after = filtered(arguments);
        ASSERT_EQ(after.width, row.width);
        ASSERT_EQ(after.height, row.height);
        // Two levels of the GPU's and some of the JPEG's at its best quality.
        constexpr int kTolerance = 6;
        EXPECT_LE(
            LargestDifference(after,
                              [&](int x, int y) {
                                  const int level = static_cast<int>(std::lround(
                                      kGrayLevel * LightLeft(x, y, row.width, row.height, row.x,
                                                             row.y, row.radius, row.strength)));
                                  return Rgb{level, level, level};
                              }),
            kTolerance);
    }
}

TEST_F(Command, FractionsAndCropMeanTheUprightPicture) {
    ExifRecipe exif;
    exif.orientation = 6;  // stored lying on its left side: 96 x 128 upright
    JpegRecipe recipe = Sized(128, 96);
    recipe.segments = {{kApp0 + 1, MakeExif(exif)}};
    writeInput(recipe, Gray);
    const RgbPicture spot = filtered(
        {"-e", "vignette", "--center", "0.25,0.125", "--radius", "0.2", "--strength", "90"});
    ASSERT_EQ(spot.width, 96);
    ASSERT_EQ(spot.height, 128);
    EXPECT_GE(spot.at(24, 16)[1], kGrayLevel - 5);
    EXPECT_LE(spot.at(71, 16)[1], 5);
    EXPECT_LE(spot.at(24, 111)[1], 5);

    // The stored left edge is the upright picture's top.
    writeInput(recipe, [](int x, int) { return x < 32 ? Rgb{220, 220, 220} : Rgb{40, 40, 40}; });
    const std::vector<std::string> bright = {"-e", "vignette", "--radius", "1"};
    const auto cropped = [&](const char* crop) {
        std::vector<std::string> arguments = bright;
        arguments.insert(arguments.end(), {"--crop", crop});
        return filtered(arguments).at(48, 64)[1];
    };
    EXPECT_NEAR(filtered(bright).at(48, 64)[1], 40, 6);
    EXPECT_NEAR(cropped("0,0,1,0.25"), 220, 12);
    EXPECT_NEAR(cropped("0.1,0.5,0.8,0.5"), 40, 6);
}

TEST_F(Command, MetadataFollowsThePicture) {
    ExifRecipe exif;
    exif.width = 64;
    exif.height = 48;
    exif.thumbnail = MakeJpeg(Sized(32, 24), Gray);
    const Segment xmp = {kApp0 + 1, Bytes(300, std::uint8_t{'x'})};
    JpegRecipe recipe = Sized(64, 48);
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

    const RgbPicture thumbnail =
        DecodeRgb(Thumbnail(ListSegments(m_folder.read("out.jpg"))[1].bytes));
    ASSERT_GT(thumbnail.height, thumbnail.width);
    EXPECT_GT(thumbnail.at(thumbnail.width / 2, thumbnail.height / 2)[1], kGrayLevel - 10);
    EXPECT_LT(thumbnail.at(0, 0)[1], kGrayLevel / 2);
}

TEST_F(Command, PipesAndForceWork) {
    writeInput(Sized(40, 30), Ramp);
    RunOptions options;
    options.input = m_folder.read("in.jpg");
    const Outcome piped = run({"photo", "-", "-", "-e", "none"}, options);
    EXPECT_EQ(piped.exitCode, 0);
    EXPECT_EQ(DecodeRgb(piped.output).width, 40);

    EXPECT_EQ(run({"photo", "in.jpg", "in.jpg", "-e", "none", "--force"}).exitCode, 0);
    EXPECT_EQ(m_folder.read("in.jpg"), piped.output);
    EXPECT_EQ(m_folder.names(), std::vector<std::string>{"in.jpg"});
}

TEST_F(Command, EveryFaultIsOneLineWithItsExitCodeAndNoOutput) {
    JpegRecipe recipe = Sized(48, 32);
    writeInput(recipe, Ramp);
    const Bytes good = m_folder.read("in.jpg");
    m_folder.write("cut.jpg",
                   Bytes(good.begin(), good.begin() + static_cast<long>(good.size() / 2)));
    recipe.progressive = true;
    const Bytes progressive = MakeJpeg(recipe, Ramp);
    m_folder.write("cut2.jpg", Bytes(progressive.begin(), progressive.end() - 100));
    recipe.colors = "cmyk";
    m_folder.write("cmyk.jpg", MakeJpeg(recipe, Ramp));
    m_folder.write("text.jpg", {'h', 'e', 'l', 'l', 'o'});
    m_folder.write("empty.jpg", {});
    m_folder.write("there.jpg", {1, 2, 3});
    fs::create_directory(m_folder.path("folder"));
    fs::create_symlink("in.jpg", m_folder.path("link.jpg"));
    fs::create_hard_link(m_folder.path("in.jpg"), m_folder.path("hard.jpg"));
    // No driver anywhere.
    RunOptions noFiles;
    noFiles.environment = {{"POSTEFFECT_SYSROOT", m_folder.path("folder")}};
    RunOptions noGpu;
    noGpu.environment = {{"__EGL_VENDOR_LIBRARY_DIRS", m_folder.path("folder")},
                         {"__EGL_VENDOR_LIBRARY_FILENAMES", ""}};
    RunOptions noRoom;
    noRoom.maximumFileSize = 100;

    struct Row {
        int exitCode;
        const char* says;
        std::vector<std::string> arguments;
        RunOptions options = {};
    };
    const std::string vignette = "--effect=vignette";
    const std::string none = "--effect=none";
    const Row rows[] = {
        {2, "choose photo, ", {}},
        {2, "did you mean photo?", {"phto", "in.jpg", "out.jpg", none}},
        {2, "OUT", {"photo", "in.jpg", none}},
        {2, "--effect", {"photo", "in.jpg", "out.jpg"}},
        {2, "did you mean --effect?", {"photo", "in.jpg", "out.jpg", "--efect", "none"}},
        {2, "did you mean vignette?", {"photo", "in.jpg", "out.jpg", "-e", "vingette"}},
        {2, "posteffect list", {"photo", "in.jpg", "out.jpg", "-e", "A"}},
        {2, "of a still is 0", {"photo", "in.jpg", "out.jpg", "-e", "tilt-shift", "--angle", "30"}},
        {2, "more rows of dots", {"photo", "in.jpg", "out.jpg", "-e", "dots", "--cells", "68"}},
        {2, "did you mean sepia?", {"photo", "in.jpg", "out.jpg", "-e", "vintage", "--look=sepa"}},
        {2, "it takes no options", {"photo", "in.jpg", "out.jpg", none, "--radius=.2"}},
        {2, "whole picture", {"photo", "in.jpg", "out.jpg", none, "--crop=0,0,.5,.5"}},
        {2, "0..100", {"photo", "in.jpg", "out.jpg", vignette, "--strength=101"}},
        {2, "0..1", {"photo", "in.jpg", "out.jpg", vignette, "--radius", "-0.1"}},
        {2, "0..1", {"photo", "in.jpg", "out.jpg", vignette, "--radius=nan"}},
        {2, "X,Y", {"photo", "in.jpg", "out.jpg", vignette, "--center=0.5"}},
        {2, "even", {"photo", "in.jpg", "out.jpg", vignette, "--block=63x48"}},
        {2, "2..16384", {"photo", "in.jpg", "out.jpg", vignette, "--block=0x0"}},
        {2, "1..100", {"photo", "in.jpg", "out.jpg", vignette, "--quality=0"}},
        {2, "inside", {"photo", "in.jpg", "out.jpg", vignette, "--crop=.8,0,.3,1"}},
        {2, "inside", {"photo", "in.jpg", "out.jpg", vignette, "--crop=0,0,0,1"}},
        {2, "inside", {"photo", "in.jpg", "out.jpg", vignette, "--crop=nan,0,1,1"}},
        {2, "too many", {"photo", "in.jpg", "out.jpg", "more", none}},
        {3,
         "libegl1 libegl-mesa0 libgl1-mesa-dri libgles2",
         {"photo", "in.jpg", "out.jpg", vignette},
         noGpu},
        {1, "look-up files", {"photo", "in.jpg", "out.jpg", "-e", "vintage"}, noFiles},
        {4, "No such file", {"photo", "missing.jpg", "out.jpg", none}},
        {4, "name a file", {"photo", "folder", "out.jpg", none}},
        {4, "empty", {"photo", "empty.jpg", "out.jpg", none}},
        {4, "truncated", {"photo", "cut.jpg", "out.jpg", none}},
        {4, "truncated", {"photo", "cut2.jpg", "out.jpg", vignette}},
        {5, "--force", {"photo", "in.jpg", "there.jpg", none}},
        {5, "is the input itself", {"photo", "in.jpg", "in.jpg", none}},
        {5, "is the input itself", {"photo", "in.jpg", "link.jpg", none}},
        {5, "is the input itself", {"photo", "in.jpg", "hard.jpg", none}},
        {5, "is a folder", {"photo", "in.jpg", "folder", none, "--force"}},
        {5, "folder first", {"photo", "in.jpg", "nowhere/out.jpg", none}},
        {5, "cannot be written", {"photo", "in.jpg", "/proc/out.jpg", none}},
        {5, "No space left", {"photo", "in.jpg", "/dev/full", none}},
        {5, "File too large", {"photo", "in.jpg", "out.jpg", none}, noRoom},
        {6, "not a JPEG", {"photo", "text.jpg", "out.jpg", none}},
        {6, "CMYK", {"photo", "cmyk.jpg", "out.jpg", none}},
    };
    const std::vector<std::string> names = m_folder.names();
    for (const Row& row : rows) {
        const Outcome outcome = run(row.arguments, row.options);
        std::string words;
        for (const std::string& word : row.arguments) words += word + " ";
        SCOPED_TRACE(words + "\n" + outcome.errors);
        EXPECT_EQ(outcome.exitCode, row.exitCode);
        EXPECT_EQ(outcome.errors.rfind("posteffect: ", 0), 0U);
        EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1);
        EXPECT_NE(outcome.errors.find(row.says), std::string::npos) << row.says;
        EXPECT_TRUE(outcome.output.empty());
        EXPECT_EQ(m_folder.names(), names);
    }
    EXPECT_EQ(m_folder.read("in.jpg"), good);
}

TEST_F(Command, AnInterruptEndsItWithoutOutput) {
    RunOptions options;
    options.input = MakeJpeg(JpegRecipe(), Ramp);
    options.interruptWhileReading = true;
    const Outcome outcome = run({"photo", "-", "out.jpg", "-e", "none"}, options);
    EXPECT_EQ(outcome.exitCode, 130);
    EXPECT_EQ(m_folder.names(), std::vector<std::string>{});
}

TEST_F(Command, HelpListAndVersionSucceedOnStandardOutput) {
    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {"--help"}, {"photo", "--help"}, {"list", "--help"}, {"--version"}, {"list"}}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.errors, "");
        EXPECT_GT(outcome.output.size(), 10U);
    }
    const nlohmann::json list = nlohmann::json::parse(run({"list", "--json"}).output);
    EXPECT_EQ(list.size(), posteffect::kEffectCount);
    for (const auto& effect : list) {
        // What the list names is what photo takes: each option at its default is accepted.
        writeInput(Sized(64, 64), Gray);
        std::vector<std::string> arguments = {"-e", effect["effect"]};
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
