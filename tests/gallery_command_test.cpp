// gallery, inspect, bench and doctor as people run them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <posteffect/EffectCatalog.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "apps/posteffect/GalleryPage.h"
#include "apps/posteffect/IccProfile.h"
#include "tests/support/CommandRunner.h"
#include "tests/support/ExifFile.h"
#include "tests/support/JpegFile.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

Rgb Ramp(int x, int y) {
    return {std::min(x, 255), std::min(y, 255), 128};
}

Bytes ToBytes(const std::string& text) {
    return {text.begin(), text.end()};
}

JpegRecipe Sized(int width, int height) {
    JpegRecipe recipe;
    recipe.width = width;
    recipe.height = height;
    return recipe;
}

// Empty for what is no base64.
Bytes DecodeBase64(const std::string& text) {
    const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    Bytes bytes;
    unsigned group = 0;
    int bits = 0;
    for (const char character : text) {
        if (character == '=') break;
        const std::size_t digit = digits.find(character);
        if (digit == std::string::npos) return {};
        group = group << 6U | static_cast<unsigned>(digit);
        bits += 6;
        if (bits < 8) continue;
        bits -= 8;
        bytes.push_back(static_cast<std::uint8_t>(group >> static_cast<unsigned>(bits)));
    }
    return bytes;
}

RgbPicture DecodeUri(const std::string& uri) {
    constexpr char kBegin[] = "data:image/jpeg;base64,";
    if (uri.rfind(kBegin, 0) != 0) return {};
    return DecodeRgb(DecodeBase64(uri.substr(sizeof(kBegin) - 1)));
}

class Commands : public testing::Test {
  protected:
    Outcome run(const std::vector<std::string>& arguments, const RunOptions& options = {}) const {
        return RunProgram(m_folder, POSTEFFECT_COMMAND, arguments, options);
    }

    // The output of a run that has to succeed.
    json ran(const std::vector<std::string>& arguments) const {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.errors, "");
        return parsed(outcome);
    }

    static json parsed(const Outcome& outcome) {
        json result = json::parse(outcome.output.begin(), outcome.output.end(), nullptr, false);
        EXPECT_FALSE(result.is_discarded());
        return result;
    }

    std::string text(const std::string& name) const {
        const Bytes bytes = m_folder.read(name);
        return {bytes.begin(), bytes.end()};
    }

    // What the page is made from.
    json pageData() const {
        const std::string page = text("out/index.html");
        const std::string tag = R"(<script type="application/json" id="data">)";
        const std::size_t begin = page.find(tag) + tag.size();
        const std::size_t end = page.find("</script>", begin);
        json data = json::parse(page.substr(begin, end - begin), nullptr, false);
        EXPECT_FALSE(data.is_discarded());
        return data;
    }

    TestFolder m_folder;
};

TEST_F(Commands, GalleryHasEveryEffectAndLoadsNothing) {
    m_folder.write("in.jpg", MakeJpeg(Sized(160, 120), Ramp));
    const Outcome outcome = run({"gallery", "in.jpg", "-o", "out", "--no-open"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, ToBytes("out/index.html\nout/sheet.jpg\n"));

    const std::string page = text("out/index.html");
    for (const char* load : {"http://", "https://", "src=\"//", "url(", "@import", "fetch("}) {
        EXPECT_EQ(page.find(load), std::string::npos) << load;
    }
    const json data = pageData();
    ASSERT_EQ(data.size(), 1U);
    const RgbPicture original = DecodeUri(data[0]["original"]);
    EXPECT_EQ(original.width, 160);
    std::set<std::string> effects;
    std::set<std::string> titles;
    for (const json& result : data[0]["results"]) {
        effects.insert(result["effect"]);
        titles.insert(result["title"]);
        const RgbPicture picture = DecodeUri(result["image"]);
        EXPECT_EQ(picture.width, 160) << result["title"];
        EXPECT_EQ(picture.height, 120) << result["title"];
    }
    EXPECT_EQ(effects.size(), posteffect::kEffectCount);
    EXPECT_EQ(titles.size(), data[0]["results"].size());
    for (const char* title : {"Vintage, sepia", "Mirror, portrait", "Split toning, 75",
                              "Fisheye, 0", "Tilt-shift, 90"}) {
        EXPECT_EQ(titles.count(title), 1U) << title;
    }
    EXPECT_GT(DecodeRgb(m_folder.read("out/sheet.jpg")).width, 6 * 160);
}

TEST_F(Commands, GalleryCommandsDoWhatThePageShows) {
    const std::string name = "it's <b> $a photo.jpg";
    m_folder.write(name, MakeJpeg(Sized(96, 160), Ramp));
    ASSERT_EQ(run({"gallery", name, "-o", "out", "--no-open"}).exitCode, 0);
    const json data = pageData();
    EXPECT_EQ(data[0]["name"], name);
    const std::string folder = fs::path(POSTEFFECT_COMMAND).parent_path();
    int tried = 0;
    for (const json& result : data[0]["results"]) {
        const std::string effect = result["effect"];
        if (effect != "vintage" && effect != "mirror" && effect != "sketch") continue;
        SCOPED_TRACE(result["command"]);
        const Outcome pasted = RunProgram(
            m_folder, "/bin/sh",
            {"-c", "PATH=\"" + folder + ":$PATH\"; " + result["command"].get<std::string>()});
        EXPECT_EQ(pasted.exitCode, 0) << pasted.errors;
        ++tried;
        // The file that the command names last but its options.
        std::string made;
        for (const std::string& file : m_folder.names()) {
            if (file != name && file != "out") made = file;
        }
        const RgbPicture shown = DecodeUri(result["image"]);
        const RgbPicture again = DecodeRgb(m_folder.read(made));
        ASSERT_EQ(again.width, shown.width);
        // JPEGs of different qualities.
        double sum = 0;
        for (std::size_t i = 0; i < shown.bytes.size(); ++i) {
            sum += std::abs(int{again.bytes[i]} - int{shown.bytes[i]});
        }
        EXPECT_LT(sum / static_cast<double>(shown.bytes.size()), 6);
        fs::remove(m_folder.path(made));
    }
    EXPECT_EQ(tried, 7);
}

TEST_F(Commands, GalleryPicturesAreUprightAndAtMost1280) {
    JpegRecipe recipe = Sized(1600, 800);
    ExifRecipe exif;
    exif.orientation = 6;
    recipe.segments.push_back({kApp0 + 1, MakeExif(exif)});
    m_folder.write("in.jpg", MakeJpeg(recipe, Ramp));
    m_folder.write("small.jpg", MakeJpeg(Sized(9, 5), Ramp));
    ASSERT_EQ(run({"gallery", "in.jpg", "small.jpg", "-o", "new/out", "--no-open"}).exitCode, 0);
    fs::rename(m_folder.path("new/out"), m_folder.path("out"));
    const json data = pageData();
    ASSERT_EQ(data.size(), 2U);
    const RgbPicture original = DecodeUri(data[0]["original"]);
    EXPECT_EQ(original.width, 640);
    EXPECT_EQ(original.height, 1280);
    EXPECT_EQ(DecodeUri(data[0]["results"][3]["image"]).height, 1280);
    EXPECT_EQ(DecodeUri(data[1]["original"]).width, 9);
    // More rows of dots than of pixels: left out.
    EXPECT_LT(data[1]["results"].size(), data[0]["results"].size());
}

TEST_F(Commands, GalleryReplacesOnlyWhenForced) {
    m_folder.write("in.jpg", MakeJpeg(Sized(80, 80), Ramp));
    fs::create_directory(m_folder.path("out"));
    m_folder.write("out/sheet.jpg", ToBytes("mine"));
    const Outcome refused = run({"gallery", "in.jpg", "-o", "out", "--no-open"});
    EXPECT_EQ(refused.exitCode, 5);
    EXPECT_THAT(refused.errors, testing::HasSubstr("--force"));
    EXPECT_EQ(text("out/sheet.jpg"), "mine");
    EXPECT_FALSE(fs::exists(m_folder.path("out/index.html")));
    EXPECT_EQ(run({"gallery", "in.jpg", "-o", "out", "--force", "--no-open"}).exitCode, 0);
    EXPECT_NE(text("out/sheet.jpg"), "mine");

    EXPECT_EQ(run({"gallery", "in.jpg"}).exitCode, 2);
    EXPECT_EQ(run({"gallery", "none.jpg", "-o", "other", "--no-open"}).exitCode, 4);
    EXPECT_FALSE(std::filesystem::exists(m_folder.path("other")));
    EXPECT_EQ(run({"gallery", "in.jpg", "-o", "in.jpg/out", "--no-open"}).exitCode, 5);
}

TEST(ShellWord, IsReadAsOneWord) {
    EXPECT_EQ(posteffect::ShellWord("a/b-1.jpg"), "a/b-1.jpg");
    EXPECT_EQ(posteffect::ShellWord("a b"), "'a b'");
    EXPECT_EQ(posteffect::ShellWord("it's"), R"('it'\''s')");
    EXPECT_EQ(posteffect::ShellWord(""), "''");
}

TEST_F(Commands, InspectTellsWhatAJpegHolds) {
    const Bytes thumbnail = MakeJpeg(Sized(32, 24), Ramp);
    ExifRecipe exif;
    exif.orientation = 8;
    exif.thumbnail = thumbnail;
    JpegRecipe recipe = Sized(64, 48);
    recipe.sampling = {{{2, 1}, {1, 1}, {1, 1}}};
    recipe.progressive = true;
    recipe.segments.push_back({kApp0 + 1, MakeExif(exif)});
    m_folder.write("in.jpg", MakeJpeg(recipe, Ramp));
    const json facts = ran({"inspect", "--json", "in.jpg"})[0];
    EXPECT_EQ(facts["format"], "JPEG");
    EXPECT_EQ(facts["size"], json({{"width", 64}, {"height", 48}}));
    EXPECT_EQ(facts["coding"], "progressive, YCbCr 4:2:2");
    EXPECT_EQ(facts["orientation"], 8);
    EXPECT_EQ(facts["thumbnail"], json({{"width", 32}, {"height", 24}}));
    EXPECT_EQ(facts["can_be_filtered"], true);
    EXPECT_EQ(facts["photo"], "turns it upright and filters it; writes baseline 4:2:0");
}

TEST_F(Commands, InspectKnowsOtherFormatsByTheirHeaders) {
    struct Row {
        const char* name;
        std::string file;
        int width, height;
    };
    using namespace std::string_literals;
    const Row rows[] = {
        {"PNG", "\x89PNG\r\n\x1A\n\0\0\0\rIHDR\0\0\1\x2C\0\0\0\x64\x08\x06\0\0\0"s, 300, 100},
        {"WebP", "RIFF\0\0\0\0WEBPVP8X\x0A\0\0\0\0\0\0\0\x2B\1\0\x63\0\0"s, 300, 100},
        {"WebP", "RIFF\0\0\0\0WEBPVP8L\x05\0\0\0\x2F\x2B\xC1\x18\0"s, 300, 100},
        {"WebP", "RIFF\0\0\0\0WEBPVP8 \x0A\0\0\0\0\0\0\x9D\1\x2A\x2C\1\x64\0"s, 300, 100},
        {"TIFF", "II*\0\x08\0\0\0\2\0\0\1\3\0\1\0\0\0\x2C\1\0\0\1\1\4\0\1\0\0\0\x64\0\0\0"s, 300,
         100},
        {"TIFF", "MM\0*\0\0\0\x08\0\2\1\0\0\3\0\0\0\1\1\x2C\0\0\1\1\0\4\0\0\0\1\0\0\0\x64"s, 300,
         100},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(&row - rows);
        m_folder.write("in", ToBytes(row.file));
        const json facts = ran({"inspect", "--json", "in"})[0];
        EXPECT_EQ(facts["format"], row.name);
        EXPECT_EQ(facts["size"], json({{"width", row.width}, {"height", row.height}}));
        EXPECT_EQ(facts["can_be_filtered"], false);
        // A header that ends early tells less, and breaks nothing.
        for (std::size_t length = 12; length < row.file.size(); length += 3) {
            m_folder.write("in", ToBytes(row.file.substr(0, length)));
            EXPECT_EQ(run({"inspect", "in"}).exitCode, 0);
        }
    }
}

TEST_F(Commands, InspectGoesOnAfterABadFile) {
    m_folder.write("in.jpg", MakeJpeg({}, Ramp));
    m_folder.write("text", ToBytes("no picture"));
    EXPECT_EQ(run({"inspect", "text"}).exitCode, 6);
    EXPECT_EQ(run({"inspect", "none"}).exitCode, 4);
    const Outcome both = run({"inspect", "text", "in.jpg", "--json"});
    EXPECT_EQ(both.exitCode, 1);
    EXPECT_THAT(both.errors, testing::HasSubstr("text: "));
    EXPECT_EQ(parsed(both).size(), 1U);
}

TEST(IccProfile, IsNamedByBothKindsOfText) {
    using namespace std::string_literals;
    const std::string head(128, '\0');
    const std::string tag = "\0\0\0\1desc\0\0\0\x90\0\0\0\x40"s;
    EXPECT_EQ(posteffect::IccProfileName(ToBytes(head + tag + "desc\0\0\0\0\0\0\0\5Wide\0"s)),
              "Wide");
    EXPECT_EQ(
        posteffect::IccProfileName(ToBytes(
            head + tag + "mluc\0\0\0\0\0\0\0\1\0\0\0\x0C\x65n\0\0\0\0\0\6\0\0\0\x1C\0B\0\xFC\0c"s)),
        "B\xC3\xBC"
        "c");
    EXPECT_EQ(posteffect::IccProfileName(ToBytes(head + tag)), "");
    EXPECT_EQ(posteffect::IccProfileName({}), "");
}

TEST_F(Commands, BenchMeasuresEveryEffectAgainstTheVignette) {
    const json results = ran({"bench", "--json", "--size", "64x48", "--frames", "1"});
    EXPECT_NE(results["renderer"]["renderer"], "");
    EXPECT_EQ(results["preview_size"], json({64, 48}));
    ASSERT_EQ(results["effects"].size(), posteffect::kEffectCount);
    for (std::size_t i = 0; i < posteffect::kEffectCount; ++i) {
        const json& row = results["effects"][i];
        EXPECT_EQ(row["effect"], posteffect::kEffects[i].nick);
        EXPECT_GE(row["preview_ms"], 0.0);
        EXPECT_GE(row["still_ms"], 0.0);
    }
    EXPECT_EQ(results["effects"][posteffect::kEffectVignette]["still_ratio"], 1.0);

    const json one = ran({"bench", "--json", "-e", "bloom", "--size", "64x48"});
    ASSERT_EQ(one["effects"].size(), 1U);
    EXPECT_EQ(one["effects"][0]["effect"], "bloom");
    for (const char* wrong : {"--size=63x48", "--frames=0", "--effect=blom"}) {
        EXPECT_EQ(run({"bench", wrong}).exitCode, 2) << wrong;
    }
}

TEST_F(Commands, DoctorNamesTheRendererAndTheFiles) {
    const json findings = ran({"doctor", "--json"});
    EXPECT_NE(findings["renderer"]["renderer"], "");
    EXPECT_GE(findings["renderer"]["maximum_size"], 2048);
    EXPECT_EQ(findings["renderer"]["shares_buffers"], false);
    EXPECT_EQ(findings["platforms"].size(), 3U);
    EXPECT_EQ(findings["failing_effects"], json::array());
    EXPECT_EQ(findings["files"].size(), 15U);
    for (const json& file : findings["files"]) {
        EXPECT_EQ(file["found"], true) << file["file"];
        EXPECT_TRUE(fs::exists(file["path"].get<std::string>())) << file["path"];
    }
}

TEST_F(Commands, DoctorSaysWhatIsMissing) {
    RunOptions noDisplay;
    noDisplay.environment = {{"POSTEFFECT_EGL", "none of these"}};
    const Outcome blind = run({"doctor", "--json"}, noDisplay);
    EXPECT_EQ(blind.exitCode, 3);
    const json findings = parsed(blind);
    EXPECT_TRUE(findings["renderer"].is_null());
    EXPECT_THAT(findings["advice"][0].get<std::string>(), testing::HasSubstr("libegl1"));

    RunOptions noFiles;
    noFiles.environment = {{"POSTEFFECT_SYSROOT", m_folder.path("")}};
    const Outcome bare = run({"doctor"}, noFiles);
    EXPECT_EQ(bare.exitCode, 1);
    const std::string told(bare.output.begin(), bare.output.end());
    EXPECT_THAT(told, testing::HasSubstr("MISSING"));
    EXPECT_THAT(told, testing::HasSubstr("make install"));
}

TEST_F(Commands, DoctorFindsThePluginInTheFoldersOfGStreamer) {
    fs::create_directory(m_folder.path("plugins"));
    m_folder.write("plugins/libgstposteffect.so", ToBytes("plug-in"));
    RunOptions options;
    options.environment = {{"GST_PLUGIN_PATH", "/nowhere:" + m_folder.path("plugins")}};
    EXPECT_EQ(parsed(run({"doctor", "--json"}, options))["gstreamer_plugin"],
              m_folder.path("plugins/libgstposteffect.so"));
}

// Each effect fails without any file that doctor says it needs, and only those do. All but one
// effect take the mask for wide frames in wide frames only.
TEST_F(Commands, DoctorKnowsWhichEffectsNeedAFile) {
    const json findings = ran({"doctor", "--json"});
    const fs::path folder = fs::path(findings["files"][0]["path"].get<std::string>()).parent_path();
    const fs::path copy = m_folder.path("root/system/media/GPU");
    for (const json& file : findings["files"]) {
        const std::string name = file["file"];
        SCOPED_TRACE(name);
        fs::create_directories(copy);
        fs::copy(folder, copy, fs::copy_options::recursive);
        fs::remove(copy / name);
        RunOptions options;
        options.environment = {{"POSTEFFECT_SYSROOT", m_folder.path("root")}};
        const Outcome outcome = run({"doctor", "--json"}, options);
        EXPECT_EQ(outcome.exitCode, 1);
        const json without = parsed(outcome);
        EXPECT_EQ(without["failing_effects"], name == "mask_vignette_wide.bmp"
                                                  ? json({"split-toning-color"})
                                                  : file["effects"]);
        for (const json& other : without["files"]) {
            EXPECT_EQ(other["found"].get<bool>(), other["file"] != name);
        }
        fs::remove_all(m_folder.path("root"));
    }
}

}  // namespace
