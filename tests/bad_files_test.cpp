// Picture files and streams that are cut, damaged or made up, and what is no file at all: refused
// in one line, at once, and nothing is left behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "apps/posteffect/Exif.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/PictureFacts.h"
#include "apps/posteffect/PictureFormat.h"
#include "apps/posteffect/Y4mStream.h"
#include "tests/support/BadPhotos.h"
#include "tests/support/CommandRunner.h"
#include "tests/support/JpegFile.h"
#include "tests/support/PngFile.h"

namespace {

namespace fs = std::filesystem;

class BadFiles : public CommandTest {};

TEST_F(BadFiles, AFolderFullOfThemLosesNoGoodPhoto) {
    fs::create_directory(m_folder.path("in"));
    std::vector<BadPhoto> photos = MakeBadPhotos();
    ASSERT_GE(photos.size(), 600U);
    for (int i = 0; i < 9; ++i) {
        photos.push_back({"good" + std::to_string(i) + ".png", MakePng({}, Glass), Fate::kRead});
    }
    for (const BadPhoto& photo : photos) m_folder.write("in/" + photo.name, photo.bytes);
    // What is in a folder but no file is nobody's photo.
    fs::create_directory(m_folder.path("in/folder.jpg"));
    ASSERT_EQ(mkfifo(m_folder.path("in/pipe.jpg").c_str(), 0600), 0);

    const Outcome outcome = run(
        {"photo", "in", "-o", "out/", "-e", "none", "--quality=keep", "--keep-going", "--jobs=2"});
    EXPECT_EQ(outcome.exitCode, posteffect::kExitSomeFailed);
    EXPECT_LT(outcome.peakKiB, 1L << 20);
    std::map<std::string, int> told;
    Words lines = Lines(outcome.errors);
    ASSERT_FALSE(lines.empty());
    const std::string last = lines.back();
    lines.pop_back();
    for (const std::string& line : lines) {
        const std::string name = line.substr(0, line.find(": ", 12)).substr(12);
        ExpectPlain(line, name + ": ");
        ++told[name];
    }
    std::size_t written = 0;
    for (const BadPhoto& photo : photos) {
        SCOPED_TRACE(photo.name);
        const Bytes out = m_folder.read("out/" + photo.name);
        EXPECT_EQ(told["in/" + photo.name], out.empty() ? 1 : 0) << outcome.errors;
        if (photo.fate != Fate::kEither) {
            EXPECT_EQ(out.empty(), photo.fate == Fate::kRefused);
        }
        if (out.empty()) continue;
        ++written;
        EXPECT_NO_THROW(posteffect::FormatOfInput(photo.name, out).decode(photo.name, out));
    }
    EXPECT_EQ(last, "posteffect: " + std::to_string(lines.size()) + " of " +
                        std::to_string(photos.size()) + " photos: not done: see the lines above");
    EXPECT_EQ(m_folder.names("out").size(), written) << "nothing else is left";
}

// In this process, so that the sanitizers of a build with them see it.
TEST(BadPictures, WhatTheyHoldIsToldOrRefused) {
    for (const BadPhoto& photo : MakeBadPhotos()) {
        try {
            posteffect::ReadPictureFacts(photo.name, photo.bytes);
            const auto& format = posteffect::FormatOfInput(photo.name, photo.bytes);
            const posteffect::RgbaPixels rgba = format.decode(photo.name, photo.bytes).rgba;
            for (std::size_t i = 3; rgba.opaque && i < rgba.bytes.size(); i += 4) {
                ASSERT_EQ(rgba.bytes[i], 255) << photo.name;
            }
        } catch (const posteffect::Failure& failure) {
            EXPECT_NE(photo.fate, Fate::kRead) << failure.what();
        }
    }
}

TEST_F(BadFiles, WhatIsNoFileIsToldWithinSeconds) {
    fs::create_directory(m_folder.path("folder"));
    ASSERT_EQ(mkfifo(m_folder.path("pipe").c_str(), 0600), 0);
    ASSERT_EQ(mknod(m_folder.path("socket").c_str(), S_IFSOCK | 0600, 0), 0);
    fs::create_symlink("nowhere", m_folder.path("dangling"));
    fs::create_symlink("loop", m_folder.path("loop"));
    m_folder.write("empty", {});
    m_folder.write("locked", {'x'});
    fs::permissions(m_folder.path("locked"), fs::perms::none);
    Words names = {"pipe", "socket", "dangling", "loop", "empty", "none", "/dev/null", "/dev/zero"};
    if (geteuid() != 0) names.emplace_back("locked");
    for (const std::string& name : names) {
        const auto begun = std::chrono::steady_clock::now();
        expectFaults(
            {"photo", "-e", "none"},
            {{posteffect::kExitUnreadable, {"posteffect: " + name + ": "}, {name, "out.png"}}});
        EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5)) << name;
    }
    // One that somebody writes into is a file like any other, however long it takes.
    m_folder.write("good.png", MakePng({}, Glass));
    const Outcome late = RunProgram(
        m_folder, "/bin/sh",
        {"-c", "(exec >pipe; sleep 1.3; cat good.png) & exec \"$0\" photo pipe out.png -e none",
         POSTEFFECT_COMMAND});
    EXPECT_EQ(late.exitCode, 0) << late.errors;
    EXPECT_EQ(DecodePngFile(m_folder.read("out.png")).width, 21);
}

TEST_F(BadFiles, SizesAtTheEdgeAreReadOrRefusedByTheirLimit) {
    const struct {
        int width = 0;
        int height = 0;
        const char* effect = "";
        const char* says = nullptr;  // null: filtered
        const char* output = "out.png";
    } rows[] = {{1, 1, "vignette", nullptr},
                {1, 1, "tilt-shift", nullptr},
                {1, 100000, "mirror", nullptr},
                {100000, 1, "tilt-shift", nullptr},
                {16385, 1, "fisheye", "16384 pixels"},
                {1, 65500, "dots", "16384 pixels"},
                {65501, 1, "none", "65500 pixels", "out.jpg"},
                {16384, 1, "none", "16383 pixels", "out.webp"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.width << "x" << row.height << " " << row.effect);
        const auto flat = [](int, int) { return Rgba{90, 60, 30, 255}; };
        m_folder.write("in.png", MakePng({row.width, row.height, "rgb", 8, false}, flat));
        const Words arguments = {"photo", "in.png", row.output, "--force", "-e", row.effect};
        if (row.says) {
            expectFaults({}, {{posteffect::kExitUnsupported, {row.says}, arguments}});
        } else {
            succeed(arguments);
            EXPECT_EQ(DecodePngFile(m_folder.read("out.png")).height, row.height);
        }
    }
    // A profile of megabytes stays.
    Bytes profile(3U << 20U);
    for (std::size_t i = 0; i < profile.size(); ++i) {
        profile[i] = static_cast<std::uint8_t>(i * i >> 7U);
    }
    std::copy_n("RGB ", 4, profile.begin() + 16);
    JpegRecipe recipe;
    for (const posteffect::JpegSegment& made : posteffect::MakeSegments({profile, {}, {}})) {
        recipe.segments.push_back({made.marker, made.bytes});
    }
    ASSERT_GT(recipe.segments.size(), 40U);
    m_folder.write("in.jpg", MakeJpeg(recipe, Ramp));
    succeed({"photo", "in.jpg", "out.jpg", "-e", "vignette"});
    const posteffect::JpegPicture out = posteffect::DecodeJpeg("out", m_folder.read("out.jpg"));
    EXPECT_EQ(posteffect::ReadMetadata(out.segments).icc, profile);
}

TEST(BadStreams, AreReadToTheEndOrRefused) {
    std::vector<std::pair<std::string, int>> rows = {
        {"YUV4MPEG2 W2 H2\nFRAME\n012345FRAME Ixyz\n543210", 2},
        {"YUV4MPEG2 W1 H1\nFRAME\n012", 1},
        {"YUV4MPEG2 W2 H2\n", 0},
        {"YUV4MPEG2 W2 H2 W4\n", 0},
        {"YUV4MPEG2  W2   H2 \n", 0},
    };
    constexpr int kRefused = -1;
    for (const char* header :
         {"YUV4MPEG2 W2 H2", "YUV4MPEG W2 H2\n", "\n", "YUV4MPEG2\n", "YUV4MPEG2 W2\n",
          "YUV4MPEG2 W0 H2\n", "YUV4MPEG2 W-2 H2\n", "YUV4MPEG2 W2x H2\n", "YUV4MPEG2 W2.0 H2\n",
          "YUV4MPEG2 W H\n", "YUV4MPEG2 W16385 H2\n", "YUV4MPEG2 W2147483648 H2\n",
          "YUV4MPEG2 W99999999999999999999 H2\n", "YUV4MPEG2 W2 H2 C444\n",
          "YUV4MPEG2 W2 H2 C420p10\n", "YUV4MPEG2 W2 H2 C\n"}) {
        rows.push_back({header, kRefused});
    }
    rows.push_back({"YUV4MPEG2 W2 H2 X" + std::string(600, 'x') + "\n", kRefused});
    for (const std::string frame :
         {"FRAM\n012345", "FRAME012345", "FRAME\n01234", "FRAME\n0123456"}) {
        rows.push_back({"YUV4MPEG2 W2 H2\n" + frame, kRefused});
    }
    for (const auto& [text, expected] : rows) {
        SCOPED_TRACE(text);
        std::string bytes = text;
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
            fmemopen(bytes.data(), bytes.size(), "rb"), std::fclose);
        int frames = 0;
        try {
            std::string line;
            ASSERT_TRUE(posteffect::ReadY4mLine("stream", file.get(), &line));
            posteffect::Y4mFrame frame(posteffect::ParseY4mHeader("stream", line));
            while (posteffect::ReadY4mFrame("stream", file.get(), &frame)) ++frames;
        } catch (const posteffect::Failure& failure) {
            EXPECT_EQ(std::string(failure.what()).rfind("stream: ", 0), 0U);
            frames = kRefused;
        }
        EXPECT_EQ(frames, expected);
    }
}

}  // namespace
