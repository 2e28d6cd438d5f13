// posteffect pipe, video and camera as people run them: real streams, beside FFmpeg.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/CommandRunner.h"

namespace {

std::vector<std::string> Lines(const Bytes& bytes) {
    std::istringstream text(std::string(bytes.begin(), bytes.end()));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
}

class MovingPictures : public testing::Test {
  protected:
    Outcome run(const std::vector<std::string>& arguments, const RunOptions& options = {}) const {
        return RunProgram(m_folder, POSTEFFECT_COMMAND, arguments, options);
    }
    // What must succeed; standard output.
    Bytes shell(const std::string& command) const {
        const Outcome outcome =
            RunProgram(m_folder, "/bin/bash", {"-o", "pipefail", "-c", command});
        EXPECT_EQ(outcome.exitCode, 0) << command << "\n" << outcome.errors;
        return outcome.output;
    }
    // A film of so many frames, 25 a second, with a tone.
    void makeFilm(const std::string& name, const std::string& size, int frames,
                  const std::string& coding = "-c:v libx264 -g 10 -c:a aac") const {
        std::ostringstream command;
        command << "ffmpeg -v error -f lavfi -i testsrc2=size=" << size
                << ":rate=25 -f lavfi -i sine=frequency=440 -t " << frames / 25.0
                << " -pix_fmt yuv420p " << coding << ' ' << name;
        shell(command.str());
    }
    // The presentation times of a stream's packets, in order.
    std::vector<double> times(const std::string& name, const std::string& stream) const {
        std::vector<double> seconds;
        for (const std::string& line :
             Lines(shell("ffprobe -v error -select_streams " + stream +
                         " -show_entries packet=pts_time -of csv=p=0 " + name))) {
            seconds.push_back(std::atof(line.c_str()));
        }
        std::sort(seconds.begin(), seconds.end());
        return seconds;
    }
    // The data of a stream's packets, as hashes in order.
    std::vector<std::string> packets(const std::string& name, const std::string& stream) const {
        auto hashes = Lines(shell("ffprobe -v error -select_streams " + stream +
                                  " -show_data_hash md5 -show_entries packet=data_hash -of "
                                  "csv=p=0:nk=1 " +
                                  name));
        hashes.erase(std::remove(hashes.begin(), hashes.end(), ""), hashes.end());
        // Packets with notes of their own come with a comma.
        for (std::string& hash : hashes) hash = hash.substr(hash.find_first_not_of(','));
        return hashes;
    }
    Bytes probe(const std::string& name, const std::string& entries) const {
        return shell("ffprobe -v error -select_streams v -show_entries stream=" + entries +
                     " -of csv=p=0 " + name);
    }

    TestFolder m_folder;
};

Bytes Y4m(const std::string& marks, int width, int height, int frames) {
    const std::string header = "YUV4MPEG2 W" + std::to_string(width) + " H" +
                               std::to_string(height) + " F25:1 Ip A1:1 " + marks + "\n";
    Bytes bytes(header.begin(), header.end());
    const int chroma = (width + 1) / 2 * ((height + 1) / 2);
    for (int i = 0; i < frames; ++i) {
        const std::string line = "FRAME\n";
        bytes.insert(bytes.end(), line.begin(), line.end());
        for (int k = 0; k < width * height; ++k) {
            bytes.push_back(static_cast<std::uint8_t>(60 + (k * 7 + i) % 120));
        }
        bytes.insert(bytes.end(), static_cast<std::size_t>(2 * chroma), 128);
    }
    return bytes;
}

TEST_F(MovingPictures, PipePassesStreamsOnFrameByFrame) {
    RunOptions options;
    options.input = Y4m("C420jpeg XCOLORRANGE=FULL", 33, 35, 3);
    const Outcome same = run({"pipe", "-e", "none"}, options);
    EXPECT_EQ(same.exitCode, 0) << same.errors;
    EXPECT_EQ(same.output, options.input);
    const Outcome full = run({"pipe", "-e", "vignette"}, options);
    EXPECT_EQ(full.output.size(), options.input.size());
    EXPECT_NE(full.output, options.input);
    // The mark counts: the same samples mean other colours in limited range.
    const Outcome limited = run({"pipe", "-e", "vignette", "--range", "limited"}, options);
    EXPECT_NE(limited.output, full.output);
    options.input = Y4m("C420jpeg", 33, 35, 3);
    const std::size_t marks = std::string(" XCOLORRANGE=FULL").size();
    const Outcome unmarked = run({"pipe", "-e", "vignette"}, options);
    EXPECT_TRUE(std::equal(unmarked.output.begin() + 60, unmarked.output.end(),
                           limited.output.begin() + 60 + static_cast<long>(marks)));
}

TEST_F(MovingPictures, PipeWorksBesideFFmpeg) {
    shell(
        "ffmpeg -v error -f lavfi -i testsrc2=size=98x50:rate=25 -frames:v 12 -pix_fmt yuv420p -f "
        "yuv4mpegpipe - | " POSTEFFECT_COMMAND
        " pipe -e mirror | ffmpeg -v error -i - -c:v ffv1 out.mkv");
    EXPECT_EQ(times("out.mkv", "v").size(), 12U);
    EXPECT_EQ(Lines(probe("out.mkv", "width,height")).front(), "98,50");
}

TEST_F(MovingPictures, PipeTellsWhatItCannotTake) {
    const struct {
        int exitCode;
        const char* error;
        Bytes input;
    } rows[] = {
        {4, "is empty", {}},
        {4, "no YUV4MPEG2 stream", {'h', 'e', 'l', 'l', 'o', '\n'}},
        {4, "no YUV4MPEG2 stream", Bytes(100000, 'x')},
        {6, "8-bit 4:2:0 is needed", Y4m("C422", 8, 8, 1)},
        {6, "at most 16384", Y4m("C420", 20000, 2, 0)},
        {4, "no frame size", Y4m("C420", 0, 8, 0)},
        {4, "cut short",
         [] {
             Bytes bytes = Y4m("C420", 32, 32, 2);
             bytes.resize(bytes.size() - 5);
             return bytes;
         }()},
    };
    for (const auto& row : rows) {
        RunOptions options;
        options.input = row.input;
        const Outcome outcome = run({"pipe", "-e", "bloom"}, options);
        EXPECT_EQ(outcome.exitCode, row.exitCode) << row.error;
        EXPECT_NE(outcome.errors.find(row.error), std::string::npos) << outcome.errors;
    }
}

// --- Colours: patches of known RGB through every way in and out ---

using RgbColor = std::array<double, 3>;
constexpr int kPatch = 32;  // pixels a side
const std::vector<RgbColor> kPatches = {
    {0.0, 0.0, 0.0}, {0.5, 0.5, 0.5}, {1.0, 1.0, 1.0}, {0.7, 0.3, 0.3},
    {0.3, 0.6, 0.3}, {0.3, 0.3, 0.7}, {0.6, 0.5, 0.2}, {0.2, 0.4, 0.5},
};

struct Colors {
    const char* range;  // as --range, --matrix and FFmpeg take them
    const char* matrix;
    const char* ffmpeg;
    double red, blue;
};
constexpr Colors kColors[] = {
    {"full", "601", "smpte170m", 0.299, 0.114},
    {"limited", "601", "smpte170m", 0.299, 0.114},
    {"full", "709", "bt709", 0.2126, 0.0722},
    {"limited", "709", "bt709", 0.2126, 0.0722},
};

std::array<double, 3> ToYuv(const RgbColor& rgb, const Colors& colors) {
    const double y =
        colors.red * rgb[0] + (1.0 - colors.red - colors.blue) * rgb[1] + colors.blue * rgb[2];
    const double u = (rgb[2] - y) / (2.0 * (1.0 - colors.blue));
    const double v = (rgb[0] - y) / (2.0 * (1.0 - colors.red));
    if (std::string(colors.range) == "full") return {255 * y, 128 + 255 * u, 128 + 255 * v};
    return {16 + 219 * y, 128 + 224 * u, 128 + 224 * v};
}

RgbColor Bloomed(const RgbColor& rgb) {
    const double gain = 3.5 * (0.3 * rgb[0] + 0.59 * rgb[1] + 0.11 * rgb[2]);
    return {std::min(1.0, rgb[0] * gain), std::min(1.0, rgb[1] * gain),
            std::min(1.0, rgb[2] * gain)};
}

const int kChartWidth = kPatch * static_cast<int>(kPatches.size());

Bytes Chart(const Colors& colors, int frames) {
    Bytes bytes = Y4m(std::string("C420jpeg XCOLORRANGE=") +
                          (std::string(colors.range) == "full" ? "FULL" : "LIMITED"),
                      kChartWidth, kPatch, 0);
    for (int i = 0; i < frames; ++i) {
        const std::string line = "FRAME\n";
        bytes.insert(bytes.end(), line.begin(), line.end());
        for (int plane = 0; plane < 3; ++plane) {
            const int side = plane == 0 ? kPatch : kPatch / 2;
            for (int y = 0; y < side; ++y) {
                for (const RgbColor& patch : kPatches) {
                    const double sample = ToYuv(patch, colors)[static_cast<std::size_t>(plane)];
                    bytes.insert(bytes.end(), static_cast<std::size_t>(side),
                                 static_cast<std::uint8_t>(std::lround(sample)));
                }
            }
        }
    }
    return bytes;
}

// The middles of the patches of the first frame.
void ExpectPatches(const Bytes& stream, const Colors& colors, bool bloomed, double most) {
    const auto header = std::find(stream.begin(), stream.end(), '\n');
    const auto frame = std::find(header + 1, stream.end(), '\n') + 1;
    const long luma = kChartWidth * kPatch;
    ASSERT_GE(stream.end() - frame, luma * 3 / 2);
    for (std::size_t i = 0; i < kPatches.size(); ++i) {
        const auto expected = ToYuv(bloomed ? Bloomed(kPatches[i]) : kPatches[i], colors);
        const long x = static_cast<long>(i) * kPatch + kPatch / 2;
        const long chroma = kPatch / 4 * (kChartWidth / 2) + x / 2;
        EXPECT_NEAR(frame[kPatch / 2 * kChartWidth + x], expected[0], most) << "Y of patch " << i;
        EXPECT_NEAR(frame[luma + chroma], expected[1], most) << "U of patch " << i;
        EXPECT_NEAR(frame[luma + luma / 4 + chroma], expected[2], most) << "V of patch " << i;
    }
}

TEST_F(MovingPictures, ColoursThroughThePipeAreThoseOfTheReference) {
    for (const Colors& colors : kColors) {
        SCOPED_TRACE(std::string(colors.range) + " " + colors.matrix);
        RunOptions options;
        options.input = Chart(colors, 1);
        for (const bool bloomed : {false, true}) {
            const Outcome outcome = run({"pipe", "-e", bloomed ? "bloom" : "none", "--matrix",
                                         colors.matrix, "--range", colors.range},
                                        options);
            ExpectPatches(outcome.output, colors, bloomed, bloomed ? 3.0 : 0.51);
        }
    }
}

TEST_F(MovingPictures, ColoursThroughPhotosAreThoseOfTheReference) {
    const Colors& colors = kColors[0];  // JPEG's own
    m_folder.write("in.y4m", Chart(colors, 1));
    shell("ffmpeg -v error -color_range pc -i in.y4m -pix_fmt yuvj420p -q:v 1 in.jpg");
    for (const bool bloomed : {false, true}) {
        const Outcome outcome = run({"photo", "in.jpg", "-o", "out.jpg", "--force", "-e",
                                     bloomed ? "bloom" : "none", "--quality", "100"});
        ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
        ExpectPatches(shell("ffmpeg -v error -i out.jpg -pix_fmt yuvj420p -f yuv4mpegpipe -strict "
                            "-1 -"),
                      colors, bloomed, bloomed ? 4.0 : 1.01);
    }
}

#ifdef POSTEFFECT_HAS_GSTREAMER

TEST_F(MovingPictures, ColoursThroughFilmsAreThoseOfTheReference) {
    for (const char* codec : {"-c:v libx264 -crf 1 in.mkv", "-c:v libvpx-vp9 -lossless 1 in.mkv"}) {
        for (const Colors& colors : kColors) {
            SCOPED_TRACE(std::string(codec) + " " + colors.range + " " + colors.matrix);
            m_folder.write("in.y4m", Chart(colors, 3));
            const std::string range = std::string(colors.range) == "full" ? "pc" : "tv";
            const std::string marks = std::string(" -color_range ") + range + " -colorspace " +
                                      colors.ffmpeg + " -color_primaries " + colors.ffmpeg +
                                      " -color_trc " + colors.ffmpeg + " ";
            shell("ffmpeg -v error -y -color_range " + range + " -i in.y4m" + marks + codec);
            for (const bool bloomed : {false, true}) {
                const Outcome outcome = run({"video", "in.mkv", "-o", "out.mkv", "--force", "-e",
                                             bloomed ? "bloom" : "none", "--quality", "100"});
                ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
                // Nothing is converted on the way out: only what the file holds counts.
                ExpectPatches(shell("ffmpeg -v error -i out.mkv -f yuv4mpegpipe -strict -1 "
                                    "-frames:v 1 -"),
                              colors, bloomed, bloomed ? 5.0 : 3.0);
            }
        }
    }
}

TEST_F(MovingPictures, VideoKeepsEveryFrameItsTimeAndTheSound) {
    makeFilm("in.mp4", "320x180", 75);
    const auto pictures = times("in.mp4", "v");
    const auto sound = packets("in.mp4", "a");
    for (const std::string out : {"out.mp4", "out.mkv", "out.mov"}) {
        SCOPED_TRACE(out);
        const Outcome outcome = run({"video", "in.mp4", "-o", out, "-e", "vignette"});
        ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
        const auto after = times(out, "v");
        ASSERT_EQ(after.size(), pictures.size());
        for (std::size_t i = 0; i < after.size(); ++i) {
            EXPECT_NEAR(after[i] - after[0], pictures[i] - pictures[0], 0.0015) << i;
        }
        // The same packets, but for those that no player lets be heard: before the pictures' begin
        // and after their end.
        const auto kept = packets(out, "a");
        ASSERT_GE(kept.size() + 3, sound.size());
        EXPECT_NE(std::search(sound.begin(), sound.end(), kept.begin(), kept.end()), sound.end());
        // Each at its time.
        const auto before = times("in.mp4", "a");
        const double start = times(out, "a").front() - after.front();
        EXPECT_TRUE(std::any_of(before.begin(), before.end(), [&](double time) {
            return std::abs(time - pictures.front() - start) < 0.005;
        })) << start;
    }
    EXPECT_EQ(m_folder.names().size(), 4U) << "nothing else is left";
}

TEST_F(MovingPictures, VideoWritesOtherContainersAndSaysWhatDoesNotFit) {
    makeFilm("in.mkv", "160x90", 25, "-c:v libvpx -c:a libvorbis");
    EXPECT_EQ(run({"video", "in.mkv", "-o", "out.webm", "-e", "sketch"}).exitCode, 0);
    EXPECT_EQ(times("out.webm", "v").size(), 25U);
    const Outcome misfit = run({"video", "in.mkv", "-o", "out.mp4", "-e", "sketch"});
    EXPECT_EQ(misfit.exitCode, 6);
    EXPECT_NE(misfit.errors.find("name it .mkv"), std::string::npos) << misfit.errors;
    EXPECT_EQ(m_folder.names(), (std::vector<std::string>{"in.mkv", "out.webm"}));
}

TEST_F(MovingPictures, VideoTakesPartsAndTurnsUpright) {
    makeFilm("in.mp4", "320x180", 100);
    ASSERT_EQ(run({"video", "in.mp4", "-o", "part.mkv", "-e", "bloom", "--start", "1.2",
                   "--duration", "1"})
                  .exitCode,
              0);
    EXPECT_NEAR(static_cast<double>(times("part.mkv", "v").size()), 25.0, 1.0);
    shell("ffmpeg -v error -i in.mp4 -c copy -metadata:s:v:0 rotate=90 turned.mp4");
    ASSERT_EQ(run({"video", "turned.mp4", "-o", "upright.mkv", "-e", "none"}).exitCode, 0);
    EXPECT_EQ(Lines(probe("upright.mkv", "width,height")).front(), "180,320");
}

TEST_F(MovingPictures, VideoTellsBadInputInOneLineAndLeavesNothing) {
    makeFilm("in.mp4", "160x90", 25);
    const Bytes film = m_folder.read("in.mp4");
    m_folder.write("short.mp4", Bytes(film.begin(), film.begin() + 3000));
    m_folder.write("text.mp4", Bytes(5000, 'x'));
    const struct {
        int exitCode;
        std::vector<std::string> words;
    } rows[] = {
        {4, {"nowhere.mp4", "-o", "o.mp4"}},
        {4, {"short.mp4", "-o", "o.mp4"}},
        {4, {"text.mp4", "-o", "o.mp4"}},
        {6, {"in.mp4", "-o", "o.avi"}},
        {5, {"in.mp4", "-o", "in.mp4"}},
        {5, {"in.mp4", "-o", "nofolder/o.mp4"}},
        {2, {"in.mp4"}},
        {2, {"in.mp4", "-o", "o.mp4", "--start", "x"}},
    };
    for (const auto& row : rows) {
        std::vector<std::string> words = {"video", "-e", "vignette"};
        words.insert(words.end(), row.words.begin(), row.words.end());
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.exitCode, row.exitCode) << row.words[0] << ": " << outcome.errors;
        EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1);
    }
    EXPECT_EQ(m_folder.names(), (std::vector<std::string>{"in.mp4", "short.mp4", "text.mp4"}));
}

TEST_F(MovingPictures, CameraRecordsAndTakesSnapshotsWithoutAWindow) {
    const Outcome outcome =
        run({"camera", "--test-source", "--size", "320x240", "--frames", "20", "-e", "mirror",
             "--sink", "none", "--record", "r.mkv", "--snapshot", "s.jpg"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_GE(times("r.mkv", "v").size(), 18U);
    EXPECT_EQ(Lines(probe("s.jpg", "width,height")).front(), "320,240");
    EXPECT_EQ(run({"camera", "--test-source", "--snapshot", "s.jpg", "--sink", "none"}).exitCode,
              5);
    EXPECT_EQ(run({"camera", "--device", "/dev/nocamera", "--sink", "none"}).exitCode, 4);
    EXPECT_EQ(run({"camera", "--test-source", "--sink", "v4l2:/dev/null"}).exitCode, 5);
}

#endif  // POSTEFFECT_HAS_GSTREAMER

}  // namespace
