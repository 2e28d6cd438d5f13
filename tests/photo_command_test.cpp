// posteffect photo with every format, many photos and chains of effects.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "apps/posteffect/Failure.h"
#include "apps/posteffect/PictureFormat.h"
#include "tests/support/CommandRunner.h"
#include "tests/support/ExifFile.h"
#include "tests/support/JpegFile.h"
#include "tests/support/PngFile.h"

namespace {

namespace fs = std::filesystem;

const char* const kExtensions[] = {"jpg", "png", "webp", "tif"};

// Alpha tells of colours that were multiplied with it, or moved against it.
Rgba Glass(int x, int y) {
    return {40 + 9 * x, 90 + 5 * y, 200 - 7 * x, 255 - 12 * x};
}
Rgba Solid(int x, int y) {
    Rgba rgba = Glass(x, y);
    rgba[3] = 255;
    return rgba;
}
Rgb Smooth(int x, int y) {
    return {60 + x, 100 + y, 180 - x};
}

// A profile that readers accept; `note` tells one from another.
Bytes MakeProfile(std::uint8_t note) {
    constexpr std::uint8_t kLength = 252;  // a header and a tag
    Bytes profile(kLength);
    const auto put = [&profile](std::size_t at, const std::string& text) {
        std::copy(text.begin(), text.end(), profile.begin() + static_cast<long>(at));
    };
    profile[3] = kLength;
    profile[8] = 4;
    put(12, "mntrRGB XYZ ");
    put(36, "acsp");
    profile[70] = 0xF6;
    profile[71] = 0xD6;
    profile[73] = 1;
    profile[78] = 0xD3;
    profile[79] = 0x2D;
    profile[83] = note;  // of who made it
    profile[131] = 1;
    put(132, "cprt");
    profile[139] = 144;
    profile[143] = kLength - 144;
    put(144, "text");
    // Of text that does not pack well: libpng takes no smaller chunk.
    for (unsigned i = 152; i < kLength; ++i) {
        profile[i] = static_cast<std::uint8_t>('!' + i * i * 37 % 89);
    }
    return profile;
}

Segment IccSegment(const Bytes& profile) {
    Segment segment = {kApp0 + 2, {}};
    for (const char letter : std::string("ICC_PROFILE\0\1\1", 14)) {
        segment.bytes.push_back(static_cast<std::uint8_t>(letter));
    }
    segment.bytes.insert(segment.bytes.end(), profile.begin(), profile.end());
    return segment;
}

bool Contains(const Bytes& file, const Bytes& part) {
    return std::search(file.begin(), file.end(), part.begin(), part.end()) != file.end();
}

class Photo : public testing::Test {
  protected:
    Outcome run(std::vector<std::string> arguments, const RunOptions& options = {}) const {
        arguments.insert(arguments.begin(), "photo");
        return RunProgram(m_folder, POSTEFFECT_COMMAND, arguments, options);
    }
    // Runs what must succeed without a word.
    void succeed(const std::vector<std::string>& arguments) const {
        const Outcome outcome = run(arguments);
        std::string words;
        for (const std::string& word : arguments) words += word + " ";
        EXPECT_EQ(outcome.exitCode, 0) << words;
        EXPECT_EQ(outcome.errors, "") << words;
    }
    RgbaPicture png(const std::string& name) const { return DecodePngFile(m_folder.read(name)); }
    // The files below the folder `name`, with their places in it.
    std::vector<std::string> tree(const std::string& name) const {
        std::vector<std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(m_folder.path(name))) {
            if (!entry.is_regular_file()) continue;
            files.push_back(entry.path().lexically_relative(m_folder.path(name)));
        }
        std::sort(files.begin(), files.end());
        return files;
    }
    Bytes smallPng() const { return MakePng({}, Solid); }

    TestFolder m_folder;
};

TEST_F(Photo, FormatsWithoutLossKeepEveryPixelAndAlpha) {
    for (const auto& pixel : {Glass, Solid}) {
        m_folder.write("in.png", MakePng({}, pixel));
        for (const std::string middle : {"png", "webp", "tif"}) {
            SCOPED_TRACE(middle);
            const std::vector<std::string> none = {"-e", "none", "--quality", "keep", "--force"};
            const auto copy = [&](const std::string& from, const std::string& to) {
                std::vector<std::string> arguments = {from, to};
                arguments.insert(arguments.end(), none.begin(), none.end());
                succeed(arguments);
            };
            copy("in.png", "middle." + middle);
            copy("middle." + middle, "again." + middle);
            copy("again." + middle, "out.png");
            EXPECT_EQ(LargestDifference(png("out.png"), pixel), 0);
        }
    }
}

TEST_F(Photo, EveryFormatBecomesEveryOtherWithItsMetadata) {
    ExifRecipe exif;
    const Bytes profile = MakeProfile(7);
    const Segment xmp = {kApp0 + 1, [] {
                             const std::string text("http://ns.adobe.com/xap/1.0/\0<x/>", 33);
                             return Bytes(text.begin(), text.end());
                         }()};
    JpegRecipe recipe;
    recipe.segments = {{kApp0 + 1, MakeExif(exif)}, xmp, IccSegment(profile)};
    Bytes made = MakeJpeg(recipe, Smooth);
    made[13] = 1;  // of its JFIF segment: dots an inch, across and down
    made[15] = 72;
    made[17] = 96;
    m_folder.write("in.jpg", made);
    const Rgb expected = DecodeRgb(m_folder.read("in.jpg")).at(20, 10);
    for (const std::string first : kExtensions) {
        succeed({"in.jpg", "-o", "first." + first, "-e", "none"});
        // Those that store profiles as they are have ours; the last name is PNG's chunk.
        const Bytes file = m_folder.read("first." + first);
        EXPECT_TRUE(Contains(file, first == "png" ? Bytes{'i', 'C', 'C', 'P'} : profile)) << first;
        for (const std::string second : kExtensions) {
            SCOPED_TRACE(testing::Message() << first << " to " << second);
            succeed({"first." + first, "-o", "second." + second, "-e", "none", "--force"});
            succeed({"second." + second, "-o", "out.jpg", "-e", "none", "--force"});
            const Bytes out = m_folder.read("out.jpg");
            const RgbPicture picture = DecodeRgb(out);
            ASSERT_EQ(picture.width, recipe.width);
            ASSERT_EQ(picture.height, recipe.height);
            for (std::size_t c = 0; c < 3; ++c) EXPECT_NEAR(picture.at(20, 10)[c], expected[c], 8);
            const std::vector<Segment> segments = ListSegments(out);
            const auto has = [&](const Segment& wanted) {
                return std::find(segments.begin(), segments.end(), wanted) != segments.end();
            };
            EXPECT_TRUE(has(IccSegment(profile)));
            EXPECT_TRUE(has(xmp));
            if (first != "webp" && second != "webp") {
                EXPECT_EQ(segments[0].bytes[9], 72);
                EXPECT_EQ(segments[0].bytes[11], 96);
            }
            // Of EXIF a TIFF file keeps which way is up, and that is up here.
            if (first != "tif" && second != "tif") {
                EXPECT_TRUE(has(recipe.segments[0]));
            }
        }
    }
}

TEST_F(Photo, EveryKindOfPngIsRead) {
    const auto grayOf = [](int x, int y) {
        const int level = 12 * x + y % 2;
        return Rgba{level, level, level, 255 - level / 2};
    };
    struct Row {
        PngRecipe recipe;
        bool alpha = false;
    };
    const Row rows[] = {
        {{21, 14, "rgb", 8, true}, false},        {{21, 14, "rgba", 16, false}, true},
        {{20, 14, "rgb", 16, true}, false},       {{1, 1, "gray", 8, false}, false},
        {{21, 14, "gray", 16, false}, false},     {{21, 14, "gray-alpha", 8, true}, true},
        {{21, 14, "gray-alpha", 16, true}, true}, {{21, 14, "palette", 8, true}, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.recipe.colors + std::to_string(row.recipe.depth));
        m_folder.write("in.png", MakePng(row.recipe, grayOf));
        succeed({"in.png", "out.png", "-e", "none", "--force"});
        EXPECT_EQ(png("out.png").width, row.recipe.width);
        EXPECT_EQ(LargestDifference(png("out.png"),
                                    [&](int x, int y) {
                                        Rgba rgba = grayOf(x, y);
                                        if (!row.alpha) rgba[3] = 255;
                                        return rgba;
                                    }),
                  0);
    }
}

TEST_F(Photo, AFourthSampleOfNoKindIsNoAlpha) {
    m_folder.write("in.png", MakePng({}, Glass));
    succeed({"in.png", "in.tif", "-e", "none"});
    Bytes file = m_folder.read("in.tif");
    // The tag that says what the sample is: 2 is alpha, 0 nothing.
    const Bytes tag = {0x52, 0x01, 3, 0, 1, 0, 0, 0, 2};
    const auto at = std::search(file.begin(), file.end(), tag.begin(), tag.end());
    ASSERT_NE(at, file.end());
    at[8] = 0;
    m_folder.write("in.tif", file);
    succeed({"in.tif", "out.png", "-e", "none"});
    EXPECT_EQ(LargestDifference(png("out.png"), Solid), 0);
}

TEST_F(Photo, EffectsKeepAlphaAndJpegShowsItOnWhite) {
    m_folder.write("in.png", MakePng({}, Glass));
    succeed({"in.png", "out.png", "-e", "vignette:radius=1:strength=0"});
    const RgbaPicture picture = png("out.png");
    ASSERT_EQ(picture.width, 21);
    for (int x = 0; x < 21; ++x) EXPECT_EQ(picture.at(x, 5)[3], Glass(x, 5)[3]);

    m_folder.write("clear.png", MakePng({}, [](int, int) { return Rgba{9, 9, 9, 0}; }));
    succeed({"clear.png", "clear.jpg", "-e", "none"});
    EXPECT_GE(DecodeRgb(m_folder.read("clear.jpg")).at(3, 3)[1], 253);
}

TEST_F(Photo, QualityKeepChangesNoSampleWithoutAnEffectAndNoTableWithOne) {
    struct Row {
        const char* colors;
        std::array<std::array<int, 2>, 3> sampling;
        bool progressive;
    };
    const Row rows[] = {
        {"ycc", {{{2, 2}, {1, 1}, {1, 1}}}, false}, {"ycc", {{{1, 1}, {1, 1}, {1, 1}}}, true},
        {"ycc", {{{2, 1}, {1, 1}, {1, 1}}}, false}, {"ycc", {{{1, 2}, {1, 1}, {1, 1}}}, false},
        {"ycc", {{{4, 1}, {1, 1}, {1, 1}}}, false}, {"gray", {{{1, 1}, {1, 1}, {1, 1}}}, false}};
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(&row - rows));
        JpegRecipe recipe;
        recipe.width = 45;
        recipe.height = 31;
        recipe.quality = 61;
        recipe.colors = row.colors;
        recipe.sampling = row.sampling;
        recipe.progressive = row.progressive;
        m_folder.write("in.jpg", MakeJpeg(recipe, Smooth));
        const auto before = posteffect::DecodeJpeg("in", m_folder.read("in.jpg"));
        succeed({"in.jpg", "same.jpg", "-e", "none", "--quality", "keep", "--force"});
        const auto same = posteffect::DecodeJpeg("same", m_folder.read("same.jpg"));
        for (const auto plane :
             {&posteffect::YuvPicture::y, &posteffect::YuvPicture::u, &posteffect::YuvPicture::v}) {
            const posteffect::Plane& old = before.planes.*plane;
            for (int y = 0; y < old.height; ++y) {
                EXPECT_TRUE(
                    std::equal(old.row(y), old.row(y) + old.width, (same.planes.*plane).row(y)))
                    << "row " << y;
            }
        }

        succeed({"in.jpg", "dim.jpg", "-e", "vignette:radius=1:strength=0", "--quality", "keep",
                 "--force"});
        const auto dim = posteffect::DecodeJpeg("dim", m_folder.read("dim.jpg"));
        for (std::size_t c = 0; c < 3; ++c) {
            EXPECT_EQ(dim.coding->components[c].steps, before.coding->components[c].steps);
            if (recipe.colors == "gray") continue;
            EXPECT_EQ(dim.coding->components[c].horizontal, row.sampling[c][0]);
            EXPECT_EQ(dim.coding->components[c].vertical, row.sampling[c][1]);
        }
        const RgbPicture was = DecodeRgb(m_folder.read("in.jpg"));
        const RgbPicture is = DecodeRgb(m_folder.read("dim.jpg"));
        for (const int x : {2, 22, 44}) {
            for (std::size_t c = 0; c < 3; ++c) {
                EXPECT_NEAR(is.at(x, 15)[c], was.at(x, 15)[c], 14);
            }
        }
    }
}

TEST_F(Photo, AChainIsItsEffectsInARow) {
    m_folder.write("in.png", MakePng({64, 48, "rgb", 8, false}, [](int x, int y) {
                       return Rgba{40 + 3 * x, 60 + 2 * y, 128, 255};
                   }));
    succeed({"in.png", "1.png", "-e", "mirror"});
    succeed({"1.png", "2.png", "-e", "vignette", "--strength", "90", "--radius", "0.3"});
    succeed({"in.png", "chain.png", "-e", "mirror", "-e", "vignette:strength=90", "--radius=0.3"});
    // Operands may follow an effect.
    succeed({"-e", "vignette:strength=90:radius=0.3", "in.png", "other.png"});
    const RgbaPicture chain = png("chain.png");
    const auto at = [](const RgbaPicture& picture) {
        return [&picture](int x, int y) { return picture.at(x, y); };
    };
    // The way through a file rounds red, green and blue once more.
    const RgbaPicture row = png("2.png");
    EXPECT_LE(LargestDifference(chain, at(row)), 4);
    const RgbaPicture other = png("other.png");
    EXPECT_GE(LargestDifference(chain, at(other)), 40);
}

TEST_F(Photo, ManyPhotosGoWhereTheOutputSays) {
    for (const char* folder : {"in", "in/sub", "there"})
        fs::create_directory(m_folder.path(folder));
    for (const char* name : {"in/b.png", "in/a.PNG", "in/sub/a.png"}) {
        m_folder.write(name, smallPng());
    }
    m_folder.write("in/notes.txt", {'h'});
    struct Row {
        std::vector<std::string> arguments;
        const char* folder;
        std::vector<std::string> files;
    };
    const Row rows[] = {
        {{"in/b.png", "in/a.PNG", "-o", "there"}, "there", {"a.PNG", "b.png"}},
        {{"in", "-o", "new/"}, "new", {"a.PNG", "b.png"}},
        {{"in", "-r", "-o", "new/deep/"}, "new/deep", {"a.PNG", "b.png", "sub/a.png"}},
        {{"in", "-r", "-o", "tree/{stem}.webp"}, "tree", {"a.webp", "b.webp", "sub/a.webp"}},
        {{"in/*.png", "-o", "glob/{effect}-{name}.tif"}, "glob", {"none-b.png.tif"}},
        {{"in/b.png", "-o", "ext/{stem}.{ext}"}, "ext", {"b.png"}},
        {{"in", "--jobs", "7", "-o", "jobs/"}, "jobs", {"a.PNG", "b.png"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.folder);
        std::vector<std::string> arguments = row.arguments;
        arguments.insert(arguments.end(), {"-e", "none"});
        succeed(arguments);
        EXPECT_EQ(tree(row.folder), row.files);
    }
    const posteffect::PictureFormat* written =
        posteffect::FormatOfContent(m_folder.read("tree/sub/a.webp"));
    ASSERT_NE(written, nullptr);
    EXPECT_STREQ(written->name, "WebP");
}

TEST_F(Photo, ABadPhotoStopsTheRunOrIsToldAndPassed) {
    for (const char* name : {"a.png", "c.png"}) m_folder.write(name, smallPng());
    m_folder.write("b.png", {'n', 'o'});
    const std::vector<std::string> photos = {"a.png", "b.png", "c.png", "-e", "none", "--jobs=1"};
    const auto runTo = [&](const std::string& folder, const std::vector<std::string>& more) {
        std::vector<std::string> arguments = photos;
        arguments.insert(arguments.end(), {"-o", folder + "/"});
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments);
    };
    const Outcome stopped = runTo("stopped", {});
    EXPECT_EQ(stopped.exitCode, 6);
    EXPECT_EQ(std::count(stopped.errors.begin(), stopped.errors.end(), '\n'), 1);
    EXPECT_EQ(tree("stopped"), std::vector<std::string>{"a.png"});

    const Outcome passed = runTo("passed", {"--keep-going"});
    EXPECT_EQ(passed.exitCode, 1);
    EXPECT_EQ(passed.errors.rfind("posteffect: b.png: not a JPEG", 0), 0U) << passed.errors;
    EXPECT_NE(passed.errors.find("posteffect: 1 of 3 photos"), std::string::npos) << passed.errors;
    EXPECT_EQ(std::count(passed.errors.begin(), passed.errors.end(), '\n'), 2);
    EXPECT_EQ(tree("passed"), (std::vector<std::string>{"a.png", "c.png"}));

    // What is there already is an error, left, or replaced.
    m_folder.write("b.png", smallPng());
    m_folder.write("passed/a.png", {1});
    EXPECT_EQ(runTo("passed", {}).exitCode, 5);
    EXPECT_EQ(runTo("passed", {"--skip-existing"}).exitCode, 0);
    EXPECT_EQ(m_folder.read("passed/a.png"), Bytes{1});
    EXPECT_EQ(tree("passed"), (std::vector<std::string>{"a.png", "b.png", "c.png"}));
    EXPECT_EQ(runTo("passed", {"--force"}).exitCode, 0);
    EXPECT_EQ(png("passed/a.png").width, 21);
}

TEST_F(Photo, MetadataAndOrientationGoAsAsked) {
    ExifRecipe exif;
    exif.orientation = 6;
    JpegRecipe recipe;
    recipe.segments = {{kApp0 + 1, MakeExif(exif)}, IccSegment(MakeProfile(1))};
    m_folder.write("in.jpg", MakeJpeg(recipe, Smooth));
    // JFIF's own comes first unless it goes, too.
    const auto segmentsAfter = [&](const std::vector<std::string>& more) {
        std::vector<std::string> arguments = {"in.jpg", "out.jpg", "-e", "vignette", "--force"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        succeed(arguments);
        std::vector<Segment> segments = ListSegments(m_folder.read("out.jpg"));
        segments.erase(std::remove_if(segments.begin(), segments.end(),
                                      [](const Segment& s) { return s.marker == kApp0; }),
                       segments.end());
        return segments;
    };
    EXPECT_EQ(segmentsAfter({}).size(), 2U);
    EXPECT_EQ(DecodeRgb(m_folder.read("out.jpg")).width, recipe.height);
    EXPECT_TRUE(segmentsAfter({"--metadata", "icc"}) == std::vector<Segment>{recipe.segments[1]});
    EXPECT_TRUE(segmentsAfter({"--metadata=strip"}).empty());

    // A profile of greys stays with greys that nothing changes, and with those only.
    JpegRecipe gray;
    gray.colors = "gray";
    Segment grayProfile = IccSegment(MakeProfile(1));
    std::copy_n("GRAY", 4, grayProfile.bytes.begin() + 14 + 16);
    gray.segments = {grayProfile};
    m_folder.write("gray.jpg", MakeJpeg(gray, Smooth));
    succeed({"gray.jpg", "gray2.jpg", "-e", "none", "--quality=keep"});
    EXPECT_TRUE(ListSegments(m_folder.read("gray2.jpg")).back() == grayProfile);
    succeed({"gray.jpg", "gray3.jpg", "-e", "none"});
    EXPECT_EQ(ListSegments(m_folder.read("gray3.jpg")).size(), 1U);

    EXPECT_TRUE(segmentsAfter({"--orient=ignore"}) == recipe.segments);
    EXPECT_EQ(DecodeRgb(m_folder.read("out.jpg")).width, recipe.width);
    // The mark survives a format with a tag of its own for it.
    succeed({"in.jpg", "lying.tif", "-e", "none", "--orient=ignore"});
    succeed({"lying.tif", "up.png", "-e", "none"});
    EXPECT_EQ(png("up.png").width, recipe.height);
    succeed({"in.jpg", "direct.png", "-e", "none"});
    const RgbaPicture direct = png("direct.png");
    EXPECT_LE(LargestDifference(png("up.png"), [&](int x, int y) { return direct.at(x, y); }), 4);
}

TEST_F(Photo, PipesKeepTheFormat) {
    RunOptions options;
    options.input = smallPng();
    const Outcome outcome = run({"-", "-o", "-", "-e", "none"}, options);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(LargestDifference(DecodePngFile(outcome.output), Solid), 0);
}

TEST_F(Photo, FaultsAreOneLineWithTheirExitCode) {
    m_folder.write("a.png", smallPng());
    for (const char* name : {"b.png", "ba.png"}) m_folder.write(name, smallPng());
    m_folder.write("a.jpg", MakeJpeg({}, Smooth));
    JpegRecipe wide;
    wide.width = 16384;
    wide.height = 1;
    m_folder.write("wide.jpg", MakeJpeg(wide, [](int, int) { return Rgb{9, 9, 9}; }));
    Bytes huge = smallPng();
    huge[16] = 0x7F;  // the width's first byte; its checksum no longer fits either
    m_folder.write("huge.png", huge);
    for (const char* folder : {"empty", "other"}) fs::create_directory(m_folder.path(folder));
    m_folder.write("other/a.png", smallPng());
    RunOptions noRoom;
    noRoom.maximumFileSize = 20;
    struct Row {
        int exitCode;
        std::vector<const char*> says;
        std::vector<std::string> arguments;
        RunOptions options = {};
    };
    const Row rows[] = {
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
    const std::vector<std::string> files = tree("");
    for (const Row& row : rows) {
        const Outcome outcome = run(row.arguments, row.options);
        std::string words;
        for (const std::string& word : row.arguments) words += word + " ";
        SCOPED_TRACE(words + "\n" + outcome.errors);
        EXPECT_EQ(outcome.exitCode, row.exitCode);
        EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1);
        for (const char* text : row.says) {
            EXPECT_NE(outcome.errors.find(text), std::string::npos) << text;
        }
        EXPECT_EQ(tree(""), files);
    }
}

// In this process, so that the sanitizers of a build with them see it.
TEST(PictureFormats, DamageIsAFailureOrAPictureNeverACrash) {
    const auto decode = [](const Bytes& file) {
        const posteffect::PictureFormat* format = posteffect::FormatOfContent(file);
        if (!format) return false;
        try {
            const posteffect::Picture picture = format->decode("picture", file);
            EXPECT_GT(picture.size().width, 0);
            return true;
        } catch (const posteffect::Failure&) {
            return false;
        }
    };
    for (const char* extension : {"png", "webp", "tif"}) {
        SCOPED_TRACE(extension);
        const posteffect::PictureFormat* format =
            posteffect::FormatOfExtension(std::string("x.") + extension);
        ASSERT_NE(format, nullptr);
        const posteffect::PictureFormat* png = posteffect::FormatOfExtension("x.png");
        posteffect::Picture picture = png->decode("picture", MakePng({}, Glass));
        picture.segments = posteffect::MakeSegments({MakeProfile(3), {}, {}});
        const Bytes file = format->encode("picture", &picture, std::nullopt);
        ASSERT_TRUE(decode(file));
        // The first half never is a whole picture.
        for (std::size_t length = 0; length < file.size(); ++length) {
            const bool whole =
                decode(Bytes(file.begin(), file.begin() + static_cast<long>(length)));
            if (length < file.size() / 2) {
                EXPECT_FALSE(whole) << length;
            }
        }
        for (std::size_t at = 0; at < file.size(); ++at) {
            for (const std::uint8_t flip : {std::uint8_t{0xFF}, std::uint8_t{0x01}}) {
                Bytes damaged = file;
                damaged[at] ^= flip;
                decode(damaged);
            }
        }
    }
}

}  // namespace
