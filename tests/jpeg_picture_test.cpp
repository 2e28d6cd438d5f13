// Photos in memory: decoding, turning, metadata and encoding, without the library.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <random>
#include <string>
#include <utility>
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

using Factors = std::array<std::array<int, 2>, 3>;

struct Coding {
    const char* name = "";
    Factors sampling = {};
    const char* colors = "ycc";
    bool progressive = false;
    bool arithmetic = false;
};
const Coding kCodings[] = {
    {"4:2:0", {{{2, 2}, {1, 1}, {1, 1}}}},
    {"4:4:4", {{{1, 1}, {1, 1}, {1, 1}}}},
    {"4:4:4 with factors 2", {{{2, 1}, {2, 1}, {2, 1}}}},
    {"4:2:2", {{{2, 1}, {1, 1}, {1, 1}}}},
    {"4:4:0", {{{1, 2}, {1, 1}, {1, 1}}}},
    {"4:1:1", {{{4, 1}, {1, 1}, {1, 1}}}},
    {"4:1:0", {{{4, 2}, {1, 1}, {1, 1}}}},
    {"thirds", {{{3, 1}, {1, 1}, {1, 1}}}},
    {"chroma planes of two sizes", {{{2, 2}, {2, 1}, {1, 2}}}},
    {"luma smaller than chroma", {{{1, 1}, {2, 2}, {2, 2}}}},
    {"progressive", {{{2, 1}, {1, 1}, {1, 1}}}, "ycc", true},
    {"arithmetic", {{{2, 2}, {1, 1}, {1, 1}}}, "ycc", false, true},
    {"gray", {{{1, 1}, {1, 1}, {1, 1}}}, "gray"},
    {"gray with factors 2, progressive", {{{2, 2}, {1, 1}, {1, 1}}}, "gray", true},
    {"rgb", {{{1, 1}, {1, 1}, {1, 1}}}, "rgb"},
};

const posteffect::Size kSizes[] = {{1, 1},   {2, 2},   {3, 1},   {1, 5},    {7, 5},
                                   {16, 16}, {33, 17}, {50, 31}, {100, 75}, {20000, 1}};

TEST(JpegPicture, AnyCodingAndSizeComesBackAsThePictureItWas) {
    for (const Coding& coding : kCodings) {
        for (const posteffect::Size& size : kSizes) {
            SCOPED_TRACE(testing::Message() << coding.name << " " << SizeText(size));
            JpegRecipe recipe = Sized(size.width, size.height, 100);
            recipe.sampling = coding.sampling;
            recipe.colors = coding.colors;
            recipe.progressive = coding.progressive;
            recipe.arithmetic = coding.arithmetic;
            const Bytes file = MakeJpeg(recipe, Ramp);

            const JpegPicture picture = DecodeJpeg("picture", file);
            EXPECT_EQ(picture.planes.size().width, size.width);
            EXPECT_EQ(picture.planes.u.width, (size.width + 1) / 2);
            EXPECT_EQ(picture.planes.v.height, (size.height + 1) / 2);
            const RgbPicture after = DecodeRgb(EncodeJpeg("picture", picture, 100));
            ASSERT_EQ(after.width, size.width);
            ASSERT_EQ(after.height, size.height);
            // Chroma is resampled, which the ramp's kinks show by a few levels.
            EXPECT_LE(LargestDifference(after, DecodeRgb(file)), 12);
        }
    }
}

TEST(JpegPicture, ChromaStaysOverItsPixelsAtOddSizes) {
    // A 4:4:4 chroma edge between columns 3 and 4 lies between 4:2:0 samples 1 and 2, at the even
    // width and at the odd one, whatever is coded beyond the picture.
    JpegRecipe recipe = Sized(8, 5, 100);
    recipe.sampling = {{{1, 1}, {1, 1}, {1, 1}}};
    Bytes file = MakeJpeg(recipe, [](int x, int) {
        return x < 4 || x == 7 ? Rgb{200, 90, 90} : Rgb{90, 90, 200};
    });
    const int red = 128 + 55;
    const int blue = 128 - 9;
    const auto chroma = [&file](int x) {
        return int{DecodeJpeg("picture", file).planes.v.row(1)[x]};
    };
    EXPECT_NEAR(chroma(3), (red + blue) / 2, 4);
    const Bytes frameHeader = {0xFF, 0xC0, 0, 17, 8, 0, 5, 0, 8};
    const auto at = std::search(file.begin(), file.end(), frameHeader.begin(), frameHeader.end());
    ASSERT_NE(at, file.end());
    at[8] = 7;
    for (int x = 0; x < 4; ++x) EXPECT_NEAR(chroma(x), x < 2 ? red : blue, 4) << x;
}

TEST(JpegPicture, WhatIsCodedBeyondTheEdgeDoesNotShineThrough) {
    const auto bright = [](int, int) { return Rgb{230, 200, 220}; };
    const JpegPicture picture = DecodeJpeg("picture", MakeJpeg(Sized(17, 19), bright));
    const RgbPicture flat = DecodeRgb(EncodeJpeg("picture", picture, 20));
    EXPECT_LE(LargestDifference(flat, [&flat](int, int) { return flat(0, 0); }), 1);
}

posteffect::Plane Noise(int width, int height, std::mt19937& random) {
    posteffect::Plane plane(width, height);
    for (std::uint8_t& sample : plane.bytes) sample = static_cast<std::uint8_t>(random());
    return plane;
}

TEST(Orientation, EveryOneOfTheEightMovesEachPixelToItsPlace) {
    // How the stored picture shows the upright one: its rows are columns, it runs from the right,
    // it runs from below.
    const struct {
        bool swapped, fromRight, fromBelow;
    } kTurns[8] = {{false, false, false}, {false, true, false}, {false, true, true},
                   {false, false, true},  {true, false, false}, {true, false, true},
                   {true, true, true},    {true, true, false}};
    std::mt19937 random(5);
    for (const posteffect::Size size : {posteffect::Size{48, 32}, {37, 23}, {36, 23}, {1, 6}}) {
        const int w = size.width;
        const int h = size.height;
        const posteffect::YuvPicture stored = {Noise(w, h, random),
                                               Noise((w + 1) / 2, (h + 1) / 2, random),
                                               Noise((w + 1) / 2, (h + 1) / 2, random)};
        for (int orientation = 1; orientation <= 8; ++orientation) {
            SCOPED_TRACE(testing::Message() << SizeText(size) << ", orientation " << orientation);
            const auto& turn = kTurns[orientation - 1];
            posteffect::YuvPicture picture = stored;
            posteffect::TurnUpright(&picture, orientation);
            const posteffect::Plane& luma = picture.y;
            ASSERT_EQ(luma.width, turn.swapped ? h : w);
            ASSERT_EQ(luma.height, turn.swapped ? w : h);
            // The sample of a stored plane that pixel (x, y) of the upright picture shows.
            const auto source = [&](const posteffect::Plane& plane, int x, int y, int divisor) {
                x = std::min(x, luma.width - 1);
                y = std::min(y, luma.height - 1);
                if (turn.swapped) std::swap(x, y);
                const int column = turn.fromRight ? w - 1 - x : x;
                const int row = turn.fromBelow ? h - 1 - y : y;
                return int{plane.row(row / divisor)[column / divisor]};
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
        Bytes bytes = ToBytes(head);
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
        EXPECT_EQ(segments, expected);
    }
}

// Updates the EXIF of a picture with these segments; the thumbnails are `thumbnail(quality)`.
std::vector<posteffect::JpegSegment> Updated(const Bytes& exif, posteffect::Size size,
                                             const posteffect::Exif::ThumbnailMaker& thumbnail) {
    std::vector<posteffect::JpegSegment> segments = {{kComment, {1, 2}}, {kApp0 + 1, exif}};
    posteffect::Exif(segments).update(size, true, thumbnail, &segments);
    return segments;
}

TEST(Exif, OnlyWhatTheTurnChangesIsChanged) {
    for (const ExifByteOrder order : {EXIF_BYTE_ORDER_INTEL, EXIF_BYTE_ORDER_MOTOROLA}) {
        Bytes renewed = {0xFF, 0xD8, 9, 9, 0xFF, 0xD9};
        const ExifRecipe before = {order, 6, 480, 320, {0xFF, 0xD8, 1, 2, 3, 0xFF, 0xD9}};
        const ExifRecipe expected = {order, 1, 320, 480, renewed};
        const auto segments =
            Updated(MakeExif(before), {320, 480}, [&renewed](int) { return renewed; });
        ASSERT_EQ(segments.size(), 2U);
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
