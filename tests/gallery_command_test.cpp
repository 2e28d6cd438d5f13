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

#include "apps/posteffect/GalleryPage.h"
#include "apps/posteffect/IccProfile.h"
#include "tests/support/CommandRunner.h"
#include "tests/support/ExifFile.h"
#include "tests/support/JpegFile.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

class Commands : public CommandTest {
  protected:
    static json parsed(const Bytes& output) {
        json result = json::parse(output, nullptr, false);
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
        return parsed(ToBytes(page.substr(begin, page.find("</script>", begin) - begin)));
    }
    RgbPicture picture(const std::string& uri) const {
        const std::string begin = "data:image/jpeg;base64,";
        EXPECT_EQ(uri.rfind(begin, 0), 0U);
        const Bytes text = ToBytes(uri.substr(begin.size()));
        return DecodeRgb(RunProgram(m_folder, "/usr/bin/base64", {"-d"}, {text}).output);
    }
};

TEST_F(Commands, GalleryHasEveryEffectAndLoadsNothing) {
    m_folder.write("in.jpg", MakeJpeg(Sized(160, 120), Ramp));
    EXPECT_EQ(succeed({"gallery", "in.jpg", "-o", "out", "--no-open"}),
              ToBytes("out/index.html\nout/sheet.jpg\n"));

    const std::string page = text("out/index.html");
    for (const char* load : {"http://", "https://", "src=\"//", "url(", "@import", "fetch("}) {
        EXPECT_EQ(page.find(load), std::string::npos) << load;
    }
    const json data = pageData();
    ASSERT_EQ(data.size(), 1U);
    EXPECT_EQ(picture(data[0]["original"]).width, 160);
    std::set<std::string> effects;
    std::set<std::string> titles;
    for (const json& result : data[0]["results"]) {
        effects.insert(result["effect"]);
        titles.insert(result["title"]);
        EXPECT_EQ(picture(result["image"]).height, 120) << result["title"];
    }
    EXPECT_EQ(effects.size(), posteffect::kEffectCount);
    EXPECT_EQ(titles.size(), data[0]["results"].size());
    EXPECT_THAT(titles,
                testing::IsSupersetOf({"Vintage, sepia", "Mirror, portrait", "Split toning, 75",
                                       "Fisheye, 0", "Tilt-shift, 90"}));
    EXPECT_GT(DecodeRgb(m_folder.read("out/sheet.jpg")).width, 6 * 160);
}

TEST_F(Commands, GalleryCommandsDoWhatThePageShows) {
    const std::string name = "it's <b> $a photo.jpg";
    m_folder.write(name, MakeJpeg(Sized(96, 160), Ramp));
    succeed({"gallery", name, "-o", "out", "--no-open"});
    const json data = pageData();
    EXPECT_EQ(data[0]["name"], name);
    const Words before = m_folder.names();
    const std::string path = fs::path(POSTEFFECT_COMMAND).parent_path().string() + ":$PATH";
    int tried = 0;
    for (const json& result : data[0]["results"]) {
        const std::string effect = result["effect"];
        if (effect != "vintage" && effect != "mirror" && effect != "sketch") continue;
        const std::string command = result["command"];
        SCOPED_TRACE(command);
        const Outcome pasted =
            RunProgram(m_folder, "/bin/sh", {"-c", "PATH=\"" + path + "\"; " + command});
        EXPECT_EQ(pasted.exitCode, 0) << pasted.errors;
        ++tried;
        Words made = m_folder.names();
        for (const std::string& old : before) made.erase(std::find(made.begin(), made.end(), old));
        ASSERT_EQ(made.size(), 1U);
        const RgbPicture shown = picture(result["image"]);
        const RgbPicture again = DecodeRgb(m_folder.read(made[0]));
        ASSERT_EQ(again.width, shown.width);
        // JPEGs of different qualities.
        double sum = 0;
        for (std::size_t i = 0; i < shown.bytes.size(); ++i) {
            sum += std::abs(int{again.bytes[i]} - int{shown.bytes[i]});
        }
        EXPECT_LT(sum / static_cast<double>(shown.bytes.size()), 6);
        fs::remove(m_folder.path(made[0]));
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
    succeed({"gallery", "in.jpg", "small.jpg", "-o", "new/out", "--no-open"});
    fs::rename(m_folder.path("new/out"), m_folder.path("out"));
    const json data = pageData();
    ASSERT_EQ(data.size(), 2U);
    const RgbPicture original = picture(data[0]["original"]);
    EXPECT_EQ(original.width, 640);
    EXPECT_EQ(original.height, 1280);
    EXPECT_EQ(picture(data[0]["results"][3]["image"]).height, 1280);
    EXPECT_EQ(picture(data[1]["original"]).width, 9);
    // More rows of dots than of pixels: left out.
    EXPECT_LT(data[1]["results"].size(), data[0]["results"].size());
}

TEST_F(Commands, GalleryReplacesOnlyWhenForced) {
    m_folder.write("in.jpg", MakeJpeg(Sized(80, 80), Ramp));
    fs::create_directory(m_folder.path("out"));
    m_folder.write("out/sheet.jpg", ToBytes("mine"));
    expectFaults({"gallery", "--no-open"}, {{5, {"--force"}, {"in.jpg", "-o", "out"}},
                                            {2, {"-o"}, {"in.jpg"}},
                                            {4, {"none.jpg"}, {"none.jpg", "-o", "other"}},
                                            {5, {"in.jpg/out"}, {"in.jpg", "-o", "in.jpg/out"}}});
    EXPECT_EQ(text("out/sheet.jpg"), "mine");
    succeed({"gallery", "in.jpg", "-o", "out", "--force", "--no-open"});
    EXPECT_NE(text("out/sheet.jpg"), "mine");
}

TEST(ShellWord, IsReadAsOneWord) {
    Words texts = {"", "a/b-1.jpg", "it's"};
    for (char character = ' '; character <= '~'; ++character) {
        texts.push_back(std::string(1, character) + "a");
    }
    std::string command = "printf '%s\\n'";
    for (const std::string& text : texts) command += " " + posteffect::ShellWord(text);
    EXPECT_EQ(Lines(RunProgram(TestFolder(), "/bin/sh", {"-c", command}).output), texts);
}

TEST_F(Commands, InspectTellsWhatAJpegHolds) {
    ExifRecipe exif;
    exif.orientation = 8;
    exif.thumbnail = MakeJpeg(Sized(32, 24), Ramp);
    JpegRecipe recipe = Sized(64, 48);
    recipe.sampling[0] = {2, 1};
    recipe.progressive = true;
    recipe.segments.push_back({kApp0 + 1, MakeExif(exif)});
    m_folder.write("in.jpg", MakeJpeg(recipe, Ramp));
    const json facts = parsed(succeed({"inspect", "--json", "in.jpg"}))[0];
    const json expected = {{"format", "JPEG"},
                           {"size", {{"width", 64}, {"height", 48}}},
                           {"coding", "progressive, YCbCr 4:2:2"},
                           {"orientation", 8},
                           {"thumbnail", {{"width", 32}, {"height", 24}}},
                           {"can_be_filtered", true},
                           {"photo", "turns it upright and filters it; writes baseline 4:2:0"}};
    for (const auto& [key, value] : expected.items()) EXPECT_EQ(facts[key], value) << key;
}

TEST_F(Commands, InspectKnowsOtherFormatsByTheirHeaders) {
    using namespace std::string_literals;
    // All of 300 x 100.
    const std::pair<const char*, std::string> rows[] = {
        {"PNG", "\x89PNG\r\n\x1A\n\0\0\0\rIHDR\0\0\1\x2C\0\0\0\x64\x08\x06\0\0\0"s},
        {"WebP", "RIFF\0\0\0\0WEBPVP8X\x0A\0\0\0\0\0\0\0\x2B\1\0\x63\0\0"s},
        {"WebP", "RIFF\0\0\0\0WEBPVP8L\x05\0\0\0\x2F\x2B\xC1\x18\0"s},
        {"WebP", "RIFF\0\0\0\0WEBPVP8 \x0A\0\0\0\0\0\0\x9D\1\x2A\x2C\1\x64\0"s},
        {"TIFF", "II*\0\x08\0\0\0\2\0\0\1\3\0\1\0\0\0\x2C\1\0\0\1\1\4\0\1\0\0\0\x64\0\0\0"s},
        {"TIFF", "MM\0*\0\0\0\x08\0\2\1\0\0\3\0\0\0\1\1\x2C\0\0\1\1\0\4\0\0\0\1\0\0\0\x64"s},
    };
    for (const auto& [name, file] : rows) {
        SCOPED_TRACE(file.substr(8));
        m_folder.write("in", ToBytes(file));
        const json facts = parsed(succeed({"inspect", "--json", "in"}))[0];
        EXPECT_EQ(facts["format"], name);
        EXPECT_EQ(facts["size"], json({{"width", 300}, {"height", 100}}));
        EXPECT_EQ(facts["can_be_filtered"], false);
        // A header that ends early tells less, and breaks nothing.
        for (std::size_t length = 12; length < file.size(); length += 3) {
            m_folder.write("in", ToBytes(file.substr(0, length)));
            succeed({"inspect", "in"});
        }
    }
}

TEST_F(Commands, InspectGoesOnAfterABadFile) {
    m_folder.write("in.jpg", MakeJpeg({}, Ramp));
    m_folder.write("text", ToBytes("no picture"));
    expectFaults({"inspect"}, {{6, {"text: "}, {"text"}}, {4, {"none: "}, {"none"}}});
    const Outcome both = run({"inspect", "text", "in.jpg", "--json"});
    EXPECT_EQ(both.exitCode, 1);
    EXPECT_THAT(both.errors, testing::HasSubstr("text: "));
    EXPECT_EQ(parsed(both.output).size(), 1U);
}

TEST(IccProfile, IsNamedByBothKindsOfText) {
    using namespace std::string_literals;
    const std::string begin = std::string(128, '\0') + "\0\0\0\1desc\0\0\0\x90\0\0\0\x40"s;
    const std::pair<std::string, const char*> rows[] = {
        {begin + "desc\0\0\0\0\0\0\0\5Wide\0"s, "Wide"},
        {begin + "mluc\0\0\0\0\0\0\0\1\0\0\0\x0C\x65n\0\0\0\0\0\6\0\0\0\x1C\0B\0\xFC\0c"s,
         u8"B\u00FCc"},
        {begin, ""},
        {"", ""},
    };
    for (const auto& [profile, name] : rows) {
        EXPECT_EQ(posteffect::IccProfileName(ToBytes(profile)), name);
    }
}

TEST_F(Commands, BenchMeasuresEveryEffectAgainstTheVignette) {
    const json results = parsed(succeed({"bench", "--json", "--size", "64x48", "--frames", "1"}));
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

    const json one = parsed(succeed({"bench", "--json", "-e", "bloom", "--size", "64x48"}));
    ASSERT_EQ(one["effects"].size(), 1U);
    EXPECT_EQ(one["effects"][0]["effect"], "bloom");
    expectFaults({"bench"}, {{2, {"63x48"}, {"--size=63x48"}},
                             {2, {"frames"}, {"--frames=0"}},
                             {2, {"bloom"}, {"--effect=blom"}}});
}

TEST_F(Commands, DoctorSaysWhatIsMissing) {
    const Outcome blind = run({"doctor", "--json"}, {{}, {{"POSTEFFECT_EGL", "none of these"}}});
    EXPECT_EQ(blind.exitCode, 3);
    const json findings = parsed(blind.output);
    EXPECT_TRUE(findings["renderer"].is_null());
    EXPECT_THAT(findings["advice"][0].get<std::string>(), testing::HasSubstr("libegl1"));

    const Outcome bare = run({"doctor"}, {{}, {{"POSTEFFECT_SYSROOT", m_folder.path("")}}});
    EXPECT_EQ(bare.exitCode, 1);
    const std::string told(bare.output.begin(), bare.output.end());
    EXPECT_THAT(told, testing::HasSubstr("MISSING"));
    EXPECT_THAT(told, testing::HasSubstr("make install"));
}

TEST_F(Commands, DoctorFindsThePluginInTheFoldersOfGStreamer) {
    m_folder.write("libgstposteffect.so", ToBytes("plug-in"));
    const RunOptions options = {{}, {{"GST_PLUGIN_PATH", "/nowhere:" + m_folder.path("")}}};
    EXPECT_EQ(parsed(succeed({"doctor", "--json"}, options))["gstreamer_plugin"],
              m_folder.path("/libgstposteffect.so"));
}

// Each effect fails without any file that doctor says it needs, and only those do. All but one
// effect take the mask for wide frames in wide frames only.
TEST_F(Commands, DoctorKnowsTheRendererAndWhichEffectsNeedAFile) {
    const json findings = parsed(succeed({"doctor", "--json"}));
    EXPECT_NE(findings["renderer"]["renderer"], "");
    EXPECT_GE(findings["renderer"]["maximum_size"], 2048);
    EXPECT_EQ(findings["renderer"]["shares_buffers"], false);
    EXPECT_EQ(findings["platforms"].size(), 3U);
    EXPECT_EQ(findings["failing_effects"], json::array());
    EXPECT_EQ(findings["files"].size(), 15U);
    const fs::path folder = fs::path(findings["files"][0]["path"].get<std::string>()).parent_path();
    const fs::path copy = m_folder.path("root/system/media/GPU");
    const RunOptions options = {{}, {{"POSTEFFECT_SYSROOT", m_folder.path("root")}}};
    for (const json& file : findings["files"]) {
        const std::string name = file["file"];
        SCOPED_TRACE(name);
        EXPECT_EQ(file["found"], true);
        fs::create_directories(copy);
        fs::copy(folder, copy, fs::copy_options::recursive);
        EXPECT_TRUE(fs::remove(copy / name));
        const Outcome outcome = run({"doctor", "--json"}, options);
        EXPECT_EQ(outcome.exitCode, 1);
        const json without = parsed(outcome.output);
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
