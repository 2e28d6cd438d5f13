// Photos in memory: decoding, turning, metadata and encoding, without the library.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <libexif/exif-data.h>

#include "apps/posteffect/Exif.h"
#include "apps/posteffect/JpegPicture.h"
#include "apps/posteffect/Orientation.h"
#include "tests/support/ExifFile.h"
#include "tests/support/JpegFile.h"

namespace {

using posteffect::DecodeJpeg;
using posteffect::EncodeJpeg;
using posteffect::JpegPicture;

struct Coding {
    const char* name = "";
    JpegRecipe recipe;
};

JpegRecipe Sampled(int h0, int v0, int h1, int v1, int h2, int v2) {
    JpegRecipe recipe;
    recipe.sampling = {{{h0, v0}, {h1, v1}, {h2, v2}}};
    return recipe;
}

JpegRecipe With(JpegRecipe recipe, const char* colors, bool progressive, bool arithmetic) {
    recipe.colors = colors;
    recipe.progressive = progressive;
    recipe.arithmetic = arithmetic;
    return recipe;
}

const std::vector<Coding>& Codings() {
    static const std::vector<Coding> kCodings = {
        {"4:2:0", Sampled(2, 2, 1, 1, 1, 1)},
        {"4:4:4", Sampled(1, 1, 1, 1, 1, 1)},
        {"4:4:4 with factors 2", Sampled(2, 1, 2, 1, 2, 1)},
        {"4:2:2", Sampled(2, 1, 1, 1, 1, 1)},
        {"4:4:0", Sampled(1, 2, 1, 1, 1, 1)},
        {"4:1:1", Sampled(4, 1, 1, 1, 1, 1)},
        {"4:1:0", Sampled(4, 2, 1, 1, 1, 1)},
        {"thirds", Sampled(3, 1, 1, 1, 1, 1)},
        {"chroma planes of two sizes", Sampled(2, 2, 2, 1, 1, 2)},
        {"luma smaller than chroma", Sampled(1, 1, 2, 2, 2, 2)},
        {"progressive", With(Sampled(2, 1, 1, 1, 1, 1), "ycc", true, false)},
        {"arithmetic", With(Sampled(2, 2, 1, 1, 1, 1), "ycc", false, true)},
        {"gray", With(Sampled(1, 1, 1, 1, 1, 1), "gray", false, false)},
        {"gray with factors 2, progressive", With(Sampled(2, 2, 1, 1, 1, 1), "gray", true, false)},
        {"rgb", With(Sampled(1, 1, 1, 1, 1, 1), "rgb", false, false)},
    };
    return kCodings;
}

const posteffect::Size kSizes[] = {{1, 1},   {2, 2},   {3, 1},   {1, 5},    {7, 5},
                                   {16, 16}, {33, 17}, {50, 31}, {100, 75}, {20000, 1}};

// Slow enough that chroma of any sampling can show it, and different in all directions.
Rgb Ramp(int x, int y) {
    return {60 + std::min(x + 2 * y, 300) / 3, 100 + std::min(x, 100) / 2, 200 - std::min(y, 80)};
}

Rgb GrayRamp(int x, int y) {
    const int level = 40 + std::min(x, 120) + std::min(y, 60);
    return {level, level, level};
}

TEST(JpegPicture, AnyCodingAndSizeComesBackAsThePictureItWas) {
    for (const Coding& coding : Codings()) {
        for (const posteffect::Size& size : kSizes) {
            SCOPED_TRACE(std::string(coding.name) + " " + std::to_string(size.width) + "x" +
                         std::to_string(size.height));
            JpegRecipe recipe = coding.recipe;
            recipe.width = size.width;
            recipe.height = size.height;
            recipe.quality = 100;
            const Bytes file = MakeJpeg(recipe, recipe.colors == "gray" ? GrayRamp : Ramp);
            const RgbPicture before = DecodeRgb(file);

            const JpegPicture picture = DecodeJpeg("picture", file);
            EXPECT_EQ(picture.planes.size().width, size.width);
            EXPECT_EQ(picture.planes.u.width, (size.width + 1) / 2);
            EXPECT_EQ(picture.planes.v.height, (size.height + 1) / 2);
            const RgbPicture after = DecodeRgb(EncodeJpeg("picture", picture, 100));
            ASSERT_EQ(after.width, size.width);
            ASSERT_EQ(after.height, size.height);
            // Chroma is resampled, which the ramp's kinks show by a few levels.
            EXPECT_LE(LargestDifference(after, [&](int x, int y) { return before.at(x, y); }), 12);
        }
    }
}

TEST(JpegPicture, ChromaStaysOverItsPixelsAtOddSizes) {
    // A 4:4:4 chroma edge between columns 3 and 4 lies between 4:2:0 samples 1 and 2, at the even
    // width and at the odd one, whatever is coded beyond the picture.
    JpegRecipe recipe = Sampled(1, 1, 1, 1, 1, 1);
    recipe.width = 8;
    recipe.height = 5;
    recipe.quality = 100;
    Bytes file = MakeJpeg(recipe, [](int x, int) {
        return x < 4 || x == 7 ? Rgb{200, 90, 90} : Rgb{90, 90, 200};
    });
    const int red = 128 + 55;
    const int blue = 128 - 9;
    const auto chroma = [&file](int x) {
        return int{DecodeJpeg("picture", file).planes.v.row(1)[x]};
    };
    const int half = (red + blue) / 2;
    EXPECT_NEAR(chroma(3), half, 4);
    const Bytes frameHeader = {0xFF, 0xC0, 0, 17, 8, 0, 5, 0, 8};
    const auto at = std::search(file.begin(), file.end(), frameHeader.begin(), frameHeader.end());
    ASSERT_NE(at, file.end());
    at[8] = 7;
    EXPECT_NEAR(chroma(0), red, 4);
    EXPECT_NEAR(chroma(1), red, 4);
    EXPECT_NEAR(chroma(2), blue, 4);
    EXPECT_NEAR(chroma(3), blue, 4);
}

TEST(JpegPicture, WhatIsCodedBeyondTheEdgeDoesNotShineThrough) {
    JpegRecipe recipe;
    recipe.width = 17;
    recipe.height = 19;
    const auto bright = [](int, int) { return Rgb{230, 200, 220}; };
    const JpegPicture picture = DecodeJpeg("picture", MakeJpeg(recipe, bright));
    const RgbPicture flat = DecodeRgb(EncodeJpeg("picture", picture, 20));
    EXPECT_LE(LargestDifference(flat, [&flat](int, int) { return flat.at(0, 0); }), 1);
}

posteffect::Plane Noise(int width, int height, std::mt19937& random) {
    posteffect::Plane plane(width, height);
    for (std::uint8_t& sample : plane.bytes) sample = static_cast<std::uint8_t>(random());
    return plane;
}

TEST(Orientation, EveryOneOfTheEightMovesEachPixelToItsPlace) {
    // Where pixel (x, y) of the upright picture lies in the stored one, whose last column and row
    // are r and b.
    using Place = posteffect::Size (*)(int x, int y, int r, int b);
    const Place kPlaces[8] = {
        [](int x, int y, int, int) {
            return posteffect::Size{x, y};
        },
        [](int x, int y, int r, int) {
            return posteffect::Size{r - x, y};
        },
        [](int x, int y, int r, int b) {
            return posteffect::Size{r - x, b - y};
        },
        [](int x, int y, int, int b) {
            return posteffect::Size{x, b - y};
        },
        [](int x, int y, int, int) {
            return posteffect::Size{y, x};
        },
        [](int x, int y, int, int b) {
            return posteffect::Size{y, b - x};
        },
        [](int x, int y, int r, int b) {
            return posteffect::Size{r - y, b - x};
        },
        [](int x, int y, int r, int) {
            return posteffect::Size{r - y, x};
        },
    };
    std::mt19937 random(5);
    for (const posteffect::Size size : {posteffect::Size{48, 32}, {37, 23}, {36, 23}, {1, 6}}) {
        const int w = size.width;
        const int h = size.height;
        const posteffect::YuvPicture stored = {Noise(w, h, random),
                                               Noise((w + 1) / 2, (h + 1) / 2, random),
                                               Noise((w + 1) / 2, (h + 1) / 2, random)};
        for (int orientation = 1; orientation <= 8; ++orientation) {
            SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h) + ", orientation " +
                         std::to_string(orientation));
            posteffect::YuvPicture picture = stored;
            posteffect::TurnUpright(&picture, orientation);
            const posteffect::Plane& luma = picture.y;
            ASSERT_EQ(luma.width, orientation < 5 ? w : h);
            ASSERT_EQ(luma.height, orientation < 5 ? h : w);
            const auto source = [&](const posteffect::Plane& plane, int x, int y, int divisor) {
                const auto at = kPlaces[orientation - 1](
                    std::min(x, luma.width - 1), std::min(y, luma.height - 1), w - 1, h - 1);
                return int{plane.row(at.height / divisor)[at.width / divisor]};
            };
            for (int y = 0; y < luma.height; ++y) {
                for (int x = 0; x < luma.width; ++x) {
                    ASSERT_EQ(luma.row(y)[x], source(stored.y, x, y, 1)) << x << ',' << y;
                    if (x % 2 != 0 || y % 2 != 0) continue;
                    // A chroma sample is the mean of what its four pixels had.
                    const auto mean = [&](const posteffect::Plane& plane) {
                        return (source(plane, x, y, 2) + source(plane, x + 1, y, 2) +
                                source(plane, x, y + 1, 2) + source(plane, x + 1, y + 1, 2) + 2) /
                               4;
                    };
                    ASSERT_EQ(picture.u.row(y / 2)[x / 2], mean(stored.u)) << x << ',' << y;
                    ASSERT_EQ(picture.v.row(y / 2)[x / 2], mean(stored.v)) << x << ',' << y;
                }
            }
        }
    }
}

TEST(Metadata, SegmentsTravelByteForByteAndInOrder) {
    const auto text = [](const std::string& head, std::size_t size) {
        Bytes bytes(head.begin(), head.end());
        bytes.resize(size);
        std::iota(bytes.begin() + static_cast<long>(head.size()), bytes.end(), std::uint8_t{3});
        return bytes;
    };
    const std::string icc("ICC_PROFILE\0", 12);
    JpegRecipe recipe;
    recipe.segments = {
        {kComment, text("before", 20)},
        {kApp0 + 1, text(std::string("http://ns.adobe.com/xap/1.0/\0", 29), 3000)},
        {kApp0 + 2, text(icc + "\1\3", 65533)},
        {kApp0 + 2, text(icc + "\2\3", 65533)},
        {kApp0 + 13, text(std::string("Photoshop 3.0\0", 14), 99)},
        {kApp0 + 2, text(icc + "\3\3", 1000)},
        {kApp0 + 5, {}},
        {kComment, text("after", 6)},
    };
    std::vector<Segment> expected = recipe.segments;
    // Other pictures behind this one are not carried, so neither is what points at them.
    recipe.segments.push_back({kApp0 + 2, text(std::string("MPF\0", 4), 80)});
    for (const bool jfif : {true, false}) {
        recipe.jfif = jfif;
        const JpegPicture picture = DecodeJpeg("picture", MakeJpeg(recipe, Ramp));
        std::vector<Segment> segments = ListSegments(EncodeJpeg("picture", picture, 90));
        if (jfif) {
            ASSERT_FALSE(segments.empty());
            EXPECT_EQ(segments.front(),
                      (Segment{kApp0, {'J', 'F', 'I', 'F', 0, 1, 1, 1, 1, 44, 1, 45, 0, 0}}));
            segments.erase(segments.begin());
        }
        EXPECT_TRUE(segments == expected);
    }
}

TEST(Metadata, AGrayProfileIsNotPutOnAPictureWithColours) {
    Bytes profile(200);
    std::memcpy(profile.data(), "ICC_PROFILE\0\1\1", 14);
    std::memcpy(profile.data() + 14 + 16, "GRAY", 4);
    JpegRecipe recipe;
    recipe.colors = "gray";
    recipe.segments = {{kApp0 + 2, profile}};
    EXPECT_TRUE(DecodeJpeg("picture", MakeJpeg(recipe, GrayRamp)).segments.empty());
    std::memcpy(profile.data() + 14 + 16, "RGB ", 4);
    recipe.segments = {{kApp0 + 2, profile}};
    EXPECT_EQ(DecodeJpeg("picture", MakeJpeg(recipe, GrayRamp)).segments.size(), 1U);
}

// Updates the EXIF of a picture with these segments; the thumbnails are `thumbnail(quality)`.
std::vector<posteffect::JpegSegment> Updated(const Bytes& exif, posteffect::Size size,
                                             const posteffect::Exif::ThumbnailMaker& thumbnail) {
    std::vector<posteffect::JpegSegment> segments = {{kComment, {1, 2}}, {kApp0 + 1, exif}};
    posteffect::Exif(segments).update(size, true, thumbnail, &segments);
    return segments;
}

TEST(Exif, OnlyWhatTheTurnChangesIsChanged) {
    ExifRecipe recipe;
    recipe.orientation = 6;
    recipe.width = 480;
    recipe.height = 320;
    recipe.thumbnail = {0xFF, 0xD8, 1, 2, 3, 0xFF, 0xD9};
    for (const ExifByteOrder order : {EXIF_BYTE_ORDER_INTEL, EXIF_BYTE_ORDER_MOTOROLA}) {
        recipe.order = order;
        Bytes renewed = {0xFF, 0xD8, 9, 9, 0xFF, 0xD9};
        const auto segments =
            Updated(MakeExif(recipe), {320, 480}, [&renewed](int) { return renewed; });
        ASSERT_EQ(segments.size(), 2U);
        ExifRecipe expected = recipe;
        expected.orientation = 1;
        expected.width = 320;
        expected.height = 480;
        expected.thumbnail = renewed;
        EXPECT_EQ(DescribeExif(segments[1].bytes), DescribeExif(MakeExif(expected)));
    }
}

TEST(Exif, AThumbnailThatDoesNotFitIsMadeSmallerAndAtLastLeftOut) {
    ExifRecipe recipe;
    recipe.orientation = 3;
    recipe.thumbnail = {1, 2, 3};
    std::vector<int> asked;
    auto segments = Updated(MakeExif(recipe), {8, 8}, [&](int quality) {
        asked.push_back(quality);
        return Bytes(quality < 50 ? 100 : 70000, std::uint8_t{5});
    });
    EXPECT_TRUE(std::is_sorted(asked.rbegin(), asked.rend()));
    recipe.orientation = 1;
    recipe.thumbnail = Bytes(100, std::uint8_t{5});
    EXPECT_EQ(DescribeExif(segments[1].bytes), DescribeExif(MakeExif(recipe)));

    segments = Updated(MakeExif(recipe), {8, 8}, [](int) { return Bytes(70000); });
    recipe.thumbnail = {};
    EXPECT_EQ(DescribeExif(segments[1].bytes), DescribeExif(MakeExif(recipe)));
}

TEST(Exif, BrokenExifCountsAsUprightAndStaysAsItIs) {
    ExifRecipe recipe;
    recipe.orientation = 6;
    const Bytes sound = MakeExif(recipe);
    ASSERT_EQ(posteffect::Exif({{kApp0 + 1, sound}}).orientation(), 6);
    for (std::size_t length = 6; length < sound.size(); ++length) {
        const Bytes cut(sound.begin(), sound.begin() + static_cast<long>(length));
        const int orientation = posteffect::Exif({{kApp0 + 1, cut}}).orientation();
        const auto segments = Updated(cut, {8, 8}, [](int) { return Bytes(); });
        // Pixels and tag change together or not at all.
        if (orientation == 1) {
            ASSERT_EQ(segments[1].bytes, cut) << length;
        } else {
            ASSERT_EQ(posteffect::Exif(segments).orientation(), 1) << length;
        }
    }
    // Here values lie beyond the end, though the directory is whole.
    const Bytes half(sound.begin(), sound.begin() + static_cast<long>(sound.size() / 2));
    EXPECT_EQ(posteffect::Exif({{kApp0 + 1, half}}).orientation(), 1);
    for (const int nonsense : {0, 9, 65535}) {
        recipe.orientation = nonsense;
        EXPECT_EQ(posteffect::Exif({{kApp0 + 1, MakeExif(recipe)}}).orientation(), 1);
    }
}

}  // namespace
