// posteffect photo with every format, many photos and chains of effects.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "apps/posteffect/PictureFormat.h"
#include "tests/support/CommandRunner.h"
#include "tests/support/ExifFile.h"
#include "tests/support/JpegFile.h"
#include "tests/support/PngFile.h"

namespace {

namespace fs = std::filesystem;

Rgba Solid(int x, int y) {
    Rgba rgba = Glass(x, y);
    rgba[3] = 255;
    return rgba;
}

// A profile of 252 bytes that readers accept: a header and a tag.
Bytes MakeProfile(const std::string& colors = "RGB ") {
    using namespace std::string_literals;
    Bytes profile(252);
    const auto put = [&profile](std::size_t at, const std::string& text) {
        std::copy(text.begin(), text.end(), profile.begin() + static_cast<long>(at));
    };
    put(3, "\xFC");
    put(8, "\4");
    put(12, "mntr" + colors + "XYZ ");
    put(36, "acsp");
    put(70, "\xF6\xD6\0\1\0\0\0\0\xD3\x2D"s);
    put(131, "\1cprt\0\0\0\x90\0\0\0\x6Ctext"s);
    // Of text that does not pack well: libpng takes no smaller chunk.
    for (unsigned i = 152; i < profile.size(); ++i) {
        profile[i] = static_cast<std::uint8_t>('!' + i * i * 37 % 89);
    }
    return profile;
}

Segment IccSegment(const Bytes& profile) {
    return {kApp0 + 2, Joined(ToBytes(std::string("ICC_PROFILE\0\1\1", 14)), profile)};
}

Segment ExifSegment(int orientation = 1, int width = 48, int height = 32) {
    ExifRecipe exif;
    exif.orientation = orientation;
    exif.width = width;
    exif.height = height;
    return {kApp0 + 1, MakeExif(exif)};
}

class Photo : public CommandTest {
  protected:
    // Makes one picture of another without an effect.
    void copy(const std::string& from, const std::string& to, const Words& more = {}) const {
        succeed(Joined(Words{"photo", from, to, "-e", "none", "--force"}, more));
    }
    RgbaPicture png(const std::string& name) const { return DecodePngFile(m_folder.read(name)); }
    RgbPicture jpeg(const std::string& name) const { return DecodeRgb(m_folder.read(name)); }
    Bytes smallPng() const { return MakePng({}, Solid); }
};

TEST_F(Photo, FormatsWithoutLossKeepEveryPixelAndAlpha) {
    const Words keep = {"--quality", "keep"};
    for (const auto& pixel : {Glass, Solid}) {
        m_folder.write("in.png", MakePng({}, pixel));
        for (const std::string middle : {"png", "webp", "tif"}) {
            copy("in.png", "middle." + middle, keep);
            copy("middle." + middle, "again." + middle, keep);
            copy("again." + middle, "out.png", keep);
            EXPECT_EQ(LargestDifference(png("out.png"), pixel), 0) << middle;
        }
    }
}

TEST_F(Photo, EveryFormatBecomesEveryOtherWithItsMetadata) {
    constexpr const char* kExtensions[] = {"jpg", "png", "webp", "tif"};
    const Bytes profile = MakeProfile();
    const Segment xmp = {kApp0 + 1, ToBytes(std::string("http://ns.adobe.com/xap/1.0/\0<x/>", 33))};
    JpegRecipe recipe;
    recipe.segments = {ExifSegment(), xmp, IccSegment(profile)};
    Bytes made = MakeJpeg(recipe, Ramp);
    made[13] = 1;  // of its JFIF segment: dots an inch, across and down
    made[15] = 72;
    made[17] = 96;
    m_folder.write("in.jpg", made);
    const RgbPicture before = jpeg("in.jpg");
    for (const std::string first : kExtensions) {
        copy("in.jpg", "first." + first);
        // Those that store profiles as they are have ours; the last name is PNG's chunk.
        const Bytes part = first == "png" ? ToBytes("iCCP") : profile;
        const Bytes file = m_folder.read("first." + first);
        EXPECT_NE(std::search(file.begin(), file.end(), part.begin(), part.end()), file.end());
        for (const std::string second : kExtensions) {
            SCOPED_TRACE(first + " to " + second);
            copy("first." + first, "second." + second);
            copy("second." + second, "out.jpg");
            const RgbPicture out = jpeg("out.jpg");
            ASSERT_EQ(out.height, before.height);
            EXPECT_LE(LargestDifference(out, before), 12);
            const std::vector<Segment> segments = ListSegments(m_folder.read("out.jpg"));
            EXPECT_THAT(segments, testing::IsSupersetOf({IccSegment(profile), xmp}));
            if (first != "webp" && second != "webp") {
                EXPECT_EQ(segments[0].bytes[9], 72);
                EXPECT_EQ(segments[0].bytes[11], 96);
            }
            // Of EXIF a TIFF file keeps which way is up, and that is up here.
            if (first != "tif" && second != "tif") {
                EXPECT_THAT(segments, testing::Contains(ExifSegment()));
            }
        }
    }
}

TEST_F(Photo, EveryKindOfPngIsRead) {
    const PngRecipe recipes[] = {
        {21, 14, "rgb", 8, true},         {21, 14, "rgba", 16, false},
        {20, 14, "rgb", 16, true},        {1, 1, "gray", 8, false},
        {21, 14, "gray", 16, false},      {21, 14, "gray-alpha", 8, true},
        {21, 14, "gray-alpha", 16, true}, {21, 14, "palette", 8, true},
    };
    for (const PngRecipe& recipe : recipes) {
        SCOPED_TRACE(recipe.colors + std::to_string(recipe.depth));
        const bool alpha = recipe.colors != "rgb" && recipe.colors != "gray";
        const auto gray = [](int x, int y) {
            const int level = 12 * x + y % 2;
            return Rgba{level, level, level, 255 - level / 2};
        };
        m_folder.write("in.png", MakePng(recipe, gray));
        copy("in.png", "out.png");
        EXPECT_EQ(png("out.png").width, recipe.width);
        const auto expected = [&](int x, int y) {
            const int level = gray(x, y)[0];
            return Rgba{level, level, level, alpha ? gray(x, y)[3] : 255};
        };
        EXPECT_EQ(LargestDifference(png("out.png"), expected), 0);
    }
}

TEST_F(Photo, AFourthSampleOfNoKindIsNoAlpha) {
    m_folder.write("in.png", MakePng({}, Glass));
    copy("in.png", "in.tif");
    Bytes file = m_folder.read("in.tif");
    // The tag that says what the sample is: 2 is alpha, 0 nothing.
    const Bytes tag = {0x52, 0x01, 3, 0, 1, 0, 0, 0, 2};
    const auto at = std::search(file.begin(), file.end(), tag.begin(), tag.end());
    ASSERT_NE(at, file.end());
    at[8] = 0;
    m_folder.write("in.tif", file);
    copy("in.tif", "out.png");
    EXPECT_EQ(LargestDifference(png("out.png"), Solid), 0);
}

TEST_F(Photo, EffectsKeepAlphaAndJpegShowsItOnWhite) {
    m_folder.write("in.png", MakePng({}, Glass));
    succeed({"photo", "in.png", "out.png", "-e", "vignette:radius=1:strength=0"});
    const RgbaPicture picture = png("out.png");
    ASSERT_EQ(picture.width, 21);
    for (int x = 0; x < 21; ++x) EXPECT_EQ(picture(x, 5)[3], Glass(x, 5)[3]);

    m_folder.write("clear.png", MakePng({}, [](int, int) { return Rgba{9, 9, 9, 0}; }));
    copy("clear.png", "clear.jpg");
    EXPECT_GE(jpeg("clear.jpg")(3, 3)[1], 253);
}

TEST_F(Photo, QualityKeepChangesNoSampleWithoutAnEffectAndNoTableWithOne) {
    const struct {
        const char* colors;
        int horizontal, vertical;  // factors of the first component
        bool progressive;
    } rows[] = {{"ycc", 2, 2, false}, {"ycc", 1, 1, true},  {"ycc", 2, 1, false},
                {"ycc", 1, 2, false}, {"ycc", 4, 1, false}, {"gray", 1, 1, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        JpegRecipe recipe = Sized(45, 31, 61);
        recipe.colors = row.colors;
        recipe.sampling[0] = {row.horizontal, row.vertical};
        recipe.progressive = row.progressive;
        m_folder.write("in.jpg", MakeJpeg(recipe, Ramp));
        const auto before = posteffect::DecodeJpeg("in", m_folder.read("in.jpg"));
        copy("in.jpg", "same.jpg", {"--quality", "keep"});
        const auto same = posteffect::DecodeJpeg("same", m_folder.read("same.jpg"));
        using posteffect::YuvPicture;
        for (const auto plane : {&YuvPicture::y, &YuvPicture::u, &YuvPicture::v}) {
            const posteffect::Plane& old = before.planes.*plane;
            for (int y = 0; y < old.height; ++y) {
                const auto* now = (same.planes.*plane).row(y);
                EXPECT_TRUE(std::equal(now, now + old.width, old.row(y))) << "row " << y;
            }
        }

        succeed({"photo", "in.jpg", "dim.jpg", "-e", "vignette:radius=1:strength=0",
                 "--quality=keep", "--force"});
        const auto dim = posteffect::DecodeJpeg("dim", m_folder.read("dim.jpg"));
        for (std::size_t c = 0; c < 3; ++c) {
            EXPECT_EQ(dim.coding->components[c].steps, before.coding->components[c].steps);
            if (recipe.colors == "gray") continue;
            EXPECT_EQ(dim.coding->components[c].horizontal, recipe.sampling[c][0]);
            EXPECT_EQ(dim.coding->components[c].vertical, recipe.sampling[c][1]);
        }
        for (const int x : {2, 22, 44}) {
            for (std::size_t c = 0; c < 3; ++c) {
                EXPECT_NEAR(jpeg("dim.jpg")(x, 15)[c], jpeg("in.jpg")(x, 15)[c], 14);
            }
        }
    }
}

TEST_F(Photo, AChainIsItsEffectsInARow) {
    m_folder.write("in.png", MakePng({64, 48, "rgb", 8, false}, [](int x, int y) {
                       return Rgba{40 + 3 * x, 60 + 2 * y, 128, 255};
                   }));
    const Words runs[] = {
        {"in.png", "1.png", "-e", "mirror"},
        {"1.png", "2.png", "-e", "vignette", "--strength", "90", "--radius", "0.3"},
        {"in.png", "chain.png", "-e", "mirror", "-e", "vignette:strength=90", "--radius=0.3"},
        // Operands may follow an effect.
        {"-e", "vignette:strength=90:radius=0.3", "in.png", "other.png"}};
    for (const Words& arguments : runs) succeed(Joined(Words{"photo"}, arguments));
    // The way through a file rounds red, green and blue once more.
    EXPECT_LE(LargestDifference(png("chain.png"), png("2.png")), 4);
    EXPECT_GE(LargestDifference(png("chain.png"), png("other.png")), 40);
}

TEST_F(Photo, ManyPhotosGoWhereTheOutputSays) {
    for (const char* folder : {"in", "in/sub", "there"}) {
        fs::create_directory(m_folder.path(folder));
    }
    for (const char* name : {"in/b.png", "in/a.PNG", "in/sub/a.png"}) {
        m_folder.write(name, smallPng());
    }
    m_folder.write("in/notes.txt", {'h'});
    const struct {
        Words arguments;
        const char* folder;
        Words files;
    } rows[] = {
        {{"in/b.png", "in/a.PNG", "-o", "there"}, "there", {"a.PNG", "b.png"}},
        {{"in", "-o", "new/"}, "new", {"a.PNG", "b.png"}},
        {{"in", "-r", "-o", "new/deep/"}, "new/deep", {"a.PNG", "b.png", "sub", "sub/a.png"}},
        {{"in", "-r", "-o", "tree/{stem}.webp"}, "tree", {"a.webp", "b.webp", "sub", "sub/a.webp"}},
        {{"in/*.png", "-o", "glob/{effect}-{name}.tif"}, "glob", {"none-b.png.tif"}},
        {{"in/b.png", "-o", "ext/{stem}.{ext}"}, "ext", {"b.png"}},
        {{"in", "--jobs", "7", "-o", "jobs/"}, "jobs", {"a.PNG", "b.png"}},
    };
    for (const auto& row : rows) {
        succeed(Joined(Words{"photo", "-e", "none"}, row.arguments));
        EXPECT_EQ(m_folder.names(row.folder), row.files) << row.folder;
    }
    const Bytes file = m_folder.read("tree/sub/a.webp");
    EXPECT_EQ(posteffect::FormatOfContent(file), &posteffect::kWebpFormat);
}

TEST_F(Photo, ABadPhotoStopsTheRunOrIsToldAndPassed) {
    for (const char* name : {"a.png", "c.png"}) m_folder.write(name, smallPng());
    m_folder.write("b.png", ToBytes("no"));
    const auto runTo = [&](const std::string& folder, const Words& more) {
        const Words photos = {"photo", "a.png", "b.png", "c.png", "-e", "none", "--jobs=1", "-o"};
        return run(Joined(Joined(photos, {folder + "/"}), more));
    };
    const Outcome stopped = runTo("stopped", {});
    EXPECT_EQ(stopped.exitCode, 6);
    EXPECT_EQ(Lines(stopped.errors).size(), 1U);
    EXPECT_EQ(m_folder.names("stopped"), Words{"a.png"});

    const Outcome passed = runTo("passed", {"--keep-going"});
    EXPECT_EQ(passed.exitCode, 1);
    EXPECT_THAT(Lines(passed.errors),
                testing::ElementsAre(testing::StartsWith("posteffect: b.png: not a JPEG"),
                                     testing::StartsWith("posteffect: 1 of 3 photos")));
    EXPECT_EQ(m_folder.names("passed"), (Words{"a.png", "c.png"}));

    // What is there already is an error, left, or replaced.
    m_folder.write("b.png", smallPng());
    m_folder.write("passed/a.png", {1});
    EXPECT_EQ(runTo("passed", {}).exitCode, 5);
    EXPECT_EQ(runTo("passed", {"--skip-existing"}).exitCode, 0);
    EXPECT_EQ(m_folder.read("passed/a.png"), Bytes{1});
    EXPECT_EQ(m_folder.names("passed"), (Words{"a.png", "b.png", "c.png"}));
    EXPECT_EQ(runTo("passed", {"--force"}).exitCode, 0);
    EXPECT_EQ(png("passed/a.png").width, 21);
}

TEST_F(Photo, MetadataAndOrientationGoAsAsked) {
    JpegRecipe recipe;
    recipe.segments = {ExifSegment(6), IccSegment(MakeProfile())};
    m_folder.write("in.jpg", MakeJpeg(recipe, Ramp));
    const struct {
        Words arguments;
        int width;
        std::vector<Segment> segments;  // behind JFIF's own
    } rows[] = {
        {{}, recipe.height, {ExifSegment(1, 32, 48), recipe.segments[1]}},
        {{"--metadata", "icc"}, recipe.height, {recipe.segments[1]}},
        {{"--metadata=strip"}, recipe.height, {}},
        {{"--orient=ignore"}, recipe.width, recipe.segments},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        succeed(Joined(Words{"photo", "in.jpg", "out.jpg", "-e", "vignette", "--force"},
                       row.arguments));
        EXPECT_EQ(jpeg("out.jpg").width, row.width);
        std::vector<Segment> segments = ListSegments(m_folder.read("out.jpg"));
        if (!segments.empty() && segments[0].marker == kApp0) segments.erase(segments.begin());
        EXPECT_EQ(segments, row.segments);
    }

    // A profile of greys stays with greys that nothing changes, and with those only; another stays.
    JpegRecipe gray;
    gray.colors = "gray";
    for (const std::string colors : {"GRAY", "RGB "}) {
        gray.segments = {IccSegment(MakeProfile(colors))};
        m_folder.write("gray.jpg", MakeJpeg(gray, Ramp));
        copy("gray.jpg", "kept.jpg", {"--quality=keep"});
        EXPECT_EQ(ListSegments(m_folder.read("kept.jpg")).back(), gray.segments[0]) << colors;
        copy("gray.jpg", "ycc.jpg");
        EXPECT_EQ(ListSegments(m_folder.read("ycc.jpg")).size(), colors == "GRAY" ? 1U : 2U);
    }

    // The mark survives a format with a tag of its own for it.
    copy("in.jpg", "lying.tif", {"--orient=ignore"});
    copy("lying.tif", "up.png");
    EXPECT_EQ(png("up.png").width, recipe.height);
    copy("in.jpg", "direct.png");
    EXPECT_LE(LargestDifference(png("up.png"), png("direct.png")), 4);
}

TEST_F(Photo, PipesAndForceKeepTheFormat) {
    m_folder.write("in.png", smallPng());
    const Bytes piped = succeed({"photo", "-", "-", "-e", "none"}, {smallPng()});
    EXPECT_EQ(LargestDifference(DecodePngFile(piped), Solid), 0);
    copy("in.png", "in.png");
    EXPECT_EQ(m_folder.read("in.png"), piped);
    EXPECT_EQ(m_folder.names(), Words{"in.png"});
}

TEST_F(Photo, FaultsAreOneLineWithTheirExitCode) {
    m_folder.write("a.jpg", MakeJpeg({}, Ramp));
    m_folder.write("wide.jpg", MakeJpeg(Sized(16384, 1), Ramp));
    Bytes huge = smallPng();
    huge[16] = 0x7F;  // the width's first byte; its checksum no longer fits either
    m_folder.write("huge.png", huge);
    for (const char* folder : {"empty", "other"}) fs::create_directory(m_folder.path(folder));
    for (const char* name : {"a.png", "b.png", "ba.png", "other/a.png"}) {
        m_folder.write(name, smallPng());
    }
    const RunOptions noRoom = {{}, {}, 20};
    const std::vector<Fault> faults = {
        {2, {"a.png", "other/a.png", "both"}, {"a.png", "other/a.png", "-o", "new/", "-e", "none"}},
        {2, {"a.png", "a.jpg", "both"}, {"a.png", "a.jpg", "-o", "{stem}.tif", "-e", "none"}},
        {2, {"a.png", "ba.png"}, {"a.png", "ba.png", "-o", "b{stem}.png", "-e", "none"}},
        {2, {"2 pictures", "folder"}, {"a.png", "b.png", "-o", "x.png", "-e", "none"}},
        {2, {"{stem}", "braces"}, {"a.png", "-o", "{what}.png", "-e", "none"}},
        {2, {"no name"}, {"-", "-o", "empty", "-e", "none"}},
        {2, {"more than one"}, {"a.png", "x.png", "-e", "vignette", "-e", "dof", "--radius=.2"}},
        {2, {"neither", "--look"}, {"a.png", "x.png", "-e", "none", "-e", "bloom", "--look=warm"}},
        {2, {"set behind"}, {"a.png", "x.png", "-e", "vignette:radius=.2", "--radius=.3"}},
        {2, {"option=value"}, {"a.png", "x.png", "-e", "vignette:radius"}},
        {2, {"does not take"}, {"a.png", "x.png", "-e", "bloom:radius=.2"}},
        {2, {"keep, icc or strip"}, {"a.png", "x.png", "-e", "none", "--metadata=some"}},
        {2, {"auto or ignore"}, {"a.png", "x.png", "-e", "none", "--orient=up"}},
        {2, {"1..256"}, {"a.png", "x.png", "-e", "none", "--jobs=0"}},
        {2, {"exclude"}, {"a.png", "x.png", "-e", "none", "--force", "--skip-existing"}},
        {4, {"no pictures in it"}, {"empty", "-o", "new/", "-e", "none"}},
        {4, {"no file fits"}, {"*.tif", "-o", "empty/", "-e", "none"}},
        {5, {"input itself"}, {"a.png", "-o", "{stem}.png", "-e", "none"}},
        {5, {"File too large"}, {"a.png", "x.png", "-e", "none"}, noRoom},
        {6, {"jpg", "png", "webp", "tif"}, {"a.png", "x.gif", "-e", "none"}},
        {6, {"jpg", "png", "webp", "tif"}, {"a.png", "x", "-e", "none"}},
        {6, {"16383"}, {"wide.jpg", "x.webp", "-e", "none"}},
        {4, {"damaged or truncated PNG"}, {"huge.png", "x.png", "-e", "none"}},
    };
    expectFaults({"photo"}, faults);
}

}  // namespace
