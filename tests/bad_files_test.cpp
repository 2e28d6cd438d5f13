// Picture files and streams that are cut, damaged or made up, and what is no file at all: refused
// in one line, at once, and nothing is left behind.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "apps/posteffect/Exif.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/PictureFacts.h"
#include "apps/posteffect/PictureFormat.h"
#include "apps/posteffect/Y4mStream.h"
#include "tests/support/BadPhotos.h"
#include "tests/support/CommandRunner.h"
#include "tests/support/PngFile.h"

namespace {

namespace fs = std::filesystem;

// One line for people: the file's name first, no control characters.
void ExpectPlain(const std::string& line, const std::string& name) {
    EXPECT_EQ(line.rfind("posteffect: " + name + ": ", 0), 0U) << line;
    EXPECT_TRUE(std::all_of(line.begin(), line.end(), [](unsigned char c) { return c >= ' '; }))
        << line;
}

std::vector<std::string> Lines(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

TEST(BadFiles, AFolderFullOfThemLosesNoGoodPhoto) {
    const TestFolder folder;
    fs::create_directory(folder.path("in"));
    std::vector<BadPhoto> photos = MakeBadPhotos();
    ASSERT_GE(photos.size(), 300U);
    for (int i = 0; i < 9; ++i) {
        photos.push_back({"good" + std::to_string(i) + ".png",
                          MakePng({},
                                  [](int x, int y) {
                                      return Rgba{x, y, 9, 255};
                                  }),
                          Fate::kRead});
    }
    for (const BadPhoto& photo : photos) folder.write("in/" + photo.name, photo.bytes);
    // What is in a folder but no file is nobody's photo.
    fs::create_directory(folder.path("in/folder.jpg"));
    ASSERT_EQ(mkfifo(folder.path("in/pipe.jpg").c_str(), 0600), 0);

    const Outcome outcome = RunProgram(
        folder, POSTEFFECT_COMMAND,
        {"photo", "in", "-o", "out/", "-e", "none", "--quality=keep", "--keep-going", "--jobs=2"});
    EXPECT_EQ(outcome.exitCode, posteffect::kExitSomeFailed);
    EXPECT_LT(outcome.peakKiB, 1L << 20);
    std::map<std::string, int> told;
    std::vector<std::string> lines = Lines(outcome.errors);
    ASSERT_FALSE(lines.empty());
    const std::string last = lines.back();
    lines.pop_back();
    for (const std::string& line : lines) {
        const std::string name = line.substr(0, line.find(": ", 12)).substr(12);
        ExpectPlain(line, name);
        ++told[name];
    }
    std::size_t written = 0;
    for (const BadPhoto& photo : photos) {
        const Bytes out = folder.read("out/" + photo.name);
        const int count = told["in/" + photo.name];
        EXPECT_EQ(count, out.empty() ? 1 : 0) << photo.name << "\n" << outcome.errors;
        if (photo.fate != Fate::kEither) {
            EXPECT_EQ(out.empty(), photo.fate == Fate::kRefused) << photo.name;
        }
        if (out.empty()) continue;
        ++written;
        const posteffect::PictureFormat* format = posteffect::FormatOfContent(out);
        ASSERT_NE(format, nullptr) << photo.name;
        EXPECT_NO_THROW(format->decode(photo.name, out)) << photo.name;
    }
    EXPECT_EQ(last, "posteffect: " + std::to_string(lines.size()) + " of " +
                        std::to_string(photos.size()) + " photos: not done: see the lines above");
    // Hidden and temporary files too.
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path("out")), fs::directory_iterator()),
              static_cast<std::ptrdiff_t>(written));
}

// In this process, so that the sanitizers of a build with them see it.
TEST(BadFiles, WhatTheyHoldIsToldOrRefused) {
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

TEST(BadFiles, WhatIsNoFileIsToldWithinSeconds) {
    const TestFolder folder;
    fs::create_directory(folder.path("folder"));
    ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
    ASSERT_EQ(mknod(folder.path("socket").c_str(), S_IFSOCK | 0600, 0), 0);
    fs::create_symlink("nowhere", folder.path("dangling"));
    fs::create_symlink("loop", folder.path("loop"));
    folder.write("empty", {});
    folder.write("locked", {'x'});
    fs::permissions(folder.path("locked"), fs::perms::none);
    std::vector<std::string> names = {"pipe",  "socket", "dangling",  "loop",
                                      "empty", "none",   "/dev/null", "/dev/zero"};
    if (geteuid() != 0) names.emplace_back("locked");
    const std::vector<std::string> before = folder.names();
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        const auto begun = std::chrono::steady_clock::now();
        const Outcome outcome =
            RunProgram(folder, POSTEFFECT_COMMAND, {"photo", name, "out.png", "-e", "none"});
        EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5));
        EXPECT_EQ(outcome.exitCode, posteffect::kExitUnreadable);
        const std::vector<std::string> lines = Lines(outcome.errors);
        ASSERT_EQ(lines.size(), 1U) << outcome.errors;
        ExpectPlain(lines[0], name);
        EXPECT_EQ(folder.names(), before);
    }
    // One that somebody writes into is a file like any other, however long it takes.
    folder.write("good.png", MakePng({}, [](int, int) { return Rgba{1, 2, 3, 255}; }));
    const Outcome late = RunProgram(
        folder, "/bin/sh",
        {"-c", "(exec >pipe; sleep 1.3; cat good.png) & exec \"$0\" photo pipe out.png -e none",
         POSTEFFECT_COMMAND});
    EXPECT_EQ(late.exitCode, 0) << late.errors;
    EXPECT_EQ(DecodePngFile(folder.read("out.png")).width, 21);
}

TEST(BadFiles, SizesAtTheEdgeAreReadOrRefusedByTheirLimit) {
    const TestFolder folder;
    const auto flat = [](int, int) { return Rgba{90, 60, 30, 255}; };
    struct Row {
        int width, height;
        const char* effect;
        const char* says;  // null: filtered
        const char* output = "out.png";
    };
    const Row rows[] = {{1, 1, "vignette", nullptr},
                        {1, 1, "tilt-shift", nullptr},
                        {1, 100000, "mirror", nullptr},
                        {100000, 1, "tilt-shift", nullptr},
                        {16385, 1, "fisheye", "16384 pixels"},
                        {1, 65500, "dots", "16384 pixels"},
                        {65501, 1, "none", "65500 pixels", "out.jpg"},
                        {16384, 1, "none", "16383 pixels", "out.webp"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.width << "x" << row.height << " " << row.effect);
        folder.write("in.png", MakePng({row.width, row.height, "rgb", 8, false}, flat));
        const Outcome outcome =
            RunProgram(folder, POSTEFFECT_COMMAND,
                       {"photo", "in.png", row.output, "--force", "-e", row.effect});
        EXPECT_EQ(outcome.exitCode, row.says ? posteffect::kExitUnsupported : 0) << outcome.errors;
        if (row.says) {
            EXPECT_NE(outcome.errors.find(row.says), std::string::npos) << outcome.errors;
        } else {
            EXPECT_EQ(DecodePngFile(folder.read("out.png")).height, row.height);
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
    folder.write("in.jpg", MakeJpeg(recipe, [](int x, int y) { return Rgb{x, y, 9}; }));
    const Outcome outcome =
        RunProgram(folder, POSTEFFECT_COMMAND, {"photo", "in.jpg", "out.jpg", "-e", "vignette"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    const posteffect::JpegPicture out = posteffect::DecodeJpeg("out", folder.read("out.jpg"));
    EXPECT_EQ(posteffect::ReadMetadata(out.segments).icc, profile);
}

TEST(BadFiles, StreamsAreReadToTheEndOrRefused) {
    struct Row {
        const char* text;
        int frames;  // -1: refused
    };
    const std::string longLine = "YUV4MPEG2 W2 H2 X" + std::string(600, 'x') + "\n";
    const Row rows[] = {
        {"YUV4MPEG2 W2 H2\nFRAME\n012345FRAME Ixyz\n543210", 2},
        {"YUV4MPEG2 W1 H1\nFRAME\n012", 1},
        {"YUV4MPEG2 W2 H2\n", 0},
        {"YUV4MPEG2 W2 H2 W4\n", 0},
        {"YUV4MPEG2  W2   H2 \n", 0},
        {"YUV4MPEG2 W2 H2", -1},
        {"YUV4MPEG W2 H2\n", -1},
        {"\n", -1},
        {"YUV4MPEG2\n", -1},
        {"YUV4MPEG2 W2\n", -1},
        {"YUV4MPEG2 W0 H2\n", -1},
        {"YUV4MPEG2 W-2 H2\n", -1},
        {"YUV4MPEG2 W2x H2\n", -1},
        {"YUV4MPEG2 W2.0 H2\n", -1},
        {"YUV4MPEG2 W H\n", -1},
        {"YUV4MPEG2 W16385 H2\n", -1},
        {"YUV4MPEG2 W2147483648 H2\n", -1},
        {"YUV4MPEG2 W99999999999999999999 H2\n", -1},
        {"YUV4MPEG2 W2 H2 C444\n", -1},
        {"YUV4MPEG2 W2 H2 C420p10\n", -1},
        {"YUV4MPEG2 W2 H2 C\n", -1},
        {"YUV4MPEG2 W2 H2\nFRAM\n012345", -1},
        {"YUV4MPEG2 W2 H2\nFRAME012345", -1},
        {"YUV4MPEG2 W2 H2\nFRAME\n01234", -1},
        {"YUV4MPEG2 W2 H2\nFRAME\n0123456", -1},
        {longLine.c_str(), -1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        std::string bytes = row.text;
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
            frames = -1;
        }
        EXPECT_EQ(frames, row.frames);
    }
}

}  // namespace
