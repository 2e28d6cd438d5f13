// posteffect pipe, video and camera as people run them: real streams, beside FFmpeg.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/CommandRunner.h"
#include "tests/support/FrameColors.h"

namespace {

using posteffect::FrameColor;
using testing_support::kColors;
using testing_support::Name;

class MovingPictures : public CommandTest {
  protected:
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
        shell("ffmpeg -v error -f lavfi -i testsrc2=size=" + size +
              ":rate=25 -f lavfi -i sine=frequency=440 -t " + std::to_string(frames / 25.0) +
              " -pix_fmt yuv420p " + coding + " " + name);
    }
    // What FFmpeg tells of a stream, a line for each packet or for the stream.
    Words probe(const std::string& name, const std::string& stream,
                const std::string& entries) const {
        return Lines(shell("ffprobe -v error -select_streams " + stream + " -show_data_hash md5 " +
                           "-show_entries " + entries + " -of csv=p=0:nk=1 " + name));
    }
    std::string size(const std::string& name) const {
        const Words lines = probe(name, "v", "stream=width,height");
        return lines.empty() ? "none" : lines.front();
    }
    // The presentation times of a stream's packets, in order.
    std::vector<double> times(const std::string& name, const std::string& stream) const {
        std::vector<double> seconds;
        for (const std::string& line : probe(name, stream, "packet=pts_time")) {
            seconds.push_back(std::atof(line.c_str()));
        }
        std::sort(seconds.begin(), seconds.end());
        return seconds;
    }
    // The data of a stream's packets, as hashes in order.
    Words packets(const std::string& name, const std::string& stream) const {
        Words hashes = probe(name, stream, "packet=data_hash");
        hashes.erase(std::remove(hashes.begin(), hashes.end(), ""), hashes.end());
        // Packets with notes of their own come with a comma.
        for (std::string& hash : hashes) hash = hash.substr(hash.find_first_not_of(','));
        return hashes;
    }
};

// A sample of a frame's plane (Y, U, V), not rounded.
using Sample = std::function<double(int frame, std::size_t plane, int x, int y)>;

double Waves(int frame, std::size_t plane, int x, int y) {
    return plane > 0 ? 128 : 60 + (x * 7 + y * 11 + frame) % 120;
}

Bytes Y4m(const std::string& marks, int width, int height, int frames,
          const Sample& sample = Waves) {
    Bytes bytes = ToBytes("YUV4MPEG2 W" + std::to_string(width) + " H" + std::to_string(height) +
                          " F25:1 Ip A1:1 " + marks + "\n");
    for (int frame = 0; frame < frames; ++frame) {
        bytes = Joined(std::move(bytes), ToBytes("FRAME\n"));
        for (std::size_t plane = 0; plane < 3; ++plane) {
            const int unit = plane == 0 ? 1 : 2;
            for (int y = 0; y < height; y += unit) {
                for (int x = 0; x < width; x += unit) {
                    bytes.push_back(testing_support::Byte(sample(frame, plane, x, y)));
                }
            }
        }
    }
    return bytes;
}

TEST_F(MovingPictures, PipePassesStreamsOnFrameByFrame) {
    const RunOptions options = {Y4m("C420jpeg XCOLORRANGE=FULL", 33, 35, 3)};
    EXPECT_EQ(succeed({"pipe", "-e", "none"}, options), options.input);
    const Bytes full = succeed({"pipe", "-e", "vignette"}, options);
    EXPECT_EQ(full.size(), options.input.size());
    EXPECT_NE(full, options.input);
    // The mark counts: the same samples mean other colours in limited range.
    const Bytes limited = succeed({"pipe", "-e", "vignette", "--range", "limited"}, options);
    EXPECT_NE(limited, full);
    const Bytes unmarked = succeed({"pipe", "-e", "vignette"}, {Y4m("C420jpeg", 33, 35, 3)});
    EXPECT_TRUE(std::equal(unmarked.rbegin(), unmarked.rend() - 60, limited.rbegin()));
}

TEST_F(MovingPictures, PipeWorksBesideFFmpeg) {
    shell(
        "ffmpeg -v error -f lavfi -i testsrc2=size=98x50:rate=25 -frames:v 12 -pix_fmt yuv420p -f "
        "yuv4mpegpipe - | " POSTEFFECT_COMMAND
        " pipe -e mirror | ffmpeg -v error -i - -c:v ffv1 out.mkv");
    EXPECT_EQ(times("out.mkv", "v").size(), 12U);
    EXPECT_EQ(size("out.mkv"), "98,50");
}

TEST_F(MovingPictures, PipeTellsWhatItCannotTake) {
    const Words bloom = {"-e", "bloom"};
    expectFaults({"pipe"}, {{4, {"is empty"}, bloom},
                            {4, {"no YUV4MPEG2 stream"}, bloom, {ToBytes("hello\n")}},
                            {4, {"no YUV4MPEG2 stream"}, bloom, {Bytes(100000, 'x')}},
                            {6, {"8-bit 4:2:0 is needed"}, bloom, {Y4m("C422", 8, 8, 1)}},
                            {6, {"at most 16384"}, bloom, {Y4m("C420", 20000, 2, 0)}},
                            {4, {"no frame size"}, bloom, {Y4m("C420", 0, 8, 0)}}});
    Bytes bytes = Y4m("C420", 32, 32, 2);
    bytes.resize(bytes.size() - 5);
    const Outcome cut = run({"pipe", "-e", "bloom"}, {bytes});
    EXPECT_EQ(cut.exitCode, 4);
    EXPECT_THAT(cut.errors, testing::HasSubstr("cut short"));
}

// --- Colours: patches of known RGB through every way in and out ---

using RgbColor = std::array<double, 3>;
constexpr int kPatch = 32;  // pixels a side
const std::vector<RgbColor> kPatches = {
    {0.0, 0.0, 0.0}, {0.5, 0.5, 0.5}, {1.0, 1.0, 1.0}, {0.7, 0.3, 0.3},
    {0.3, 0.6, 0.3}, {0.3, 0.3, 0.7}, {0.6, 0.5, 0.2}, {0.2, 0.4, 0.5},
};
const int kChartWidth = kPatch * static_cast<int>(kPatches.size());

bool IsFull(const FrameColor& color) {
    return color.range == posteffect::ColorRange::kFull;
}

RgbColor Bloomed(RgbColor rgb) {
    const double gain = 3.5 * (0.3 * rgb[0] + 0.59 * rgb[1] + 0.11 * rgb[2]);
    for (double& channel : rgb) channel = std::min(1.0, channel * gain);
    return rgb;
}

Bytes Chart(const FrameColor& color, int frames) {
    return Y4m(std::string("C420jpeg XCOLORRANGE=") + (IsFull(color) ? "FULL" : "LIMITED"),
               kChartWidth, kPatch, frames, [&](int, std::size_t plane, int x, int) {
                   const RgbColor& patch = kPatches[static_cast<std::size_t>(x / kPatch)];
                   return testing_support::Samples(patch, color)[plane];
               });
}

// The middles of the patches of the first frame.
void ExpectPatches(const Bytes& stream, const FrameColor& color, bool bloomed, double most) {
    const auto header = std::find(stream.begin(), stream.end(), '\n');
    const auto frame = std::find(header + 1, stream.end(), '\n') + 1;
    const long luma = kChartWidth * kPatch;
    ASSERT_GE(stream.end() - frame, luma * 3 / 2);
    for (std::size_t i = 0; i < kPatches.size(); ++i) {
        const RgbColor& patch = kPatches[i];
        const auto expected = testing_support::Samples(bloomed ? Bloomed(patch) : patch, color);
        const long x = static_cast<long>(i) * kPatch + kPatch / 2;
        const long chroma = luma + kPatch / 4 * (kChartWidth / 2) + x / 2;
        EXPECT_NEAR(frame[kPatch / 2 * kChartWidth + x], expected[0], most) << "Y of patch " << i;
        EXPECT_NEAR(frame[chroma], expected[1], most) << "U of patch " << i;
        EXPECT_NEAR(frame[chroma + luma / 4], expected[2], most) << "V of patch " << i;
    }
}

TEST_F(MovingPictures, ColoursThroughThePipeAreThoseOfTheReference) {
    for (const FrameColor& color : kColors) {
        const std::string name = Name(color);  // "full 601" and so on
        SCOPED_TRACE(name);
        const std::size_t space = name.find(' ');
        const RunOptions options = {Chart(color, 1)};
        for (const bool bloomed : {false, true}) {
            const Bytes output =
                succeed({"pipe", "-e", bloomed ? "bloom" : "none", "--range", name.substr(0, space),
                         "--matrix", name.substr(space + 1)},
                        options);
            ExpectPatches(output, color, bloomed, bloomed ? 3.0 : 0.51);
        }
    }
}

TEST_F(MovingPictures, ColoursThroughPhotosAreThoseOfTheReference) {
    const FrameColor& color = kColors[0];  // JPEG's own
    m_folder.write("in.y4m", Chart(color, 1));
    shell("ffmpeg -v error -color_range pc -i in.y4m -pix_fmt yuvj420p -q:v 1 in.jpg");
    for (const bool bloomed : {false, true}) {
        succeed({"photo", "in.jpg", "-o", "out.jpg", "--force", "-e", bloomed ? "bloom" : "none",
                 "--quality", "100"});
        ExpectPatches(shell("ffmpeg -v error -i out.jpg -pix_fmt yuvj420p -f yuv4mpegpipe -strict "
                            "-1 -"),
                      color, bloomed, bloomed ? 4.0 : 1.01);
    }
}

#ifdef POSTEFFECT_HAS_GSTREAMER

TEST_F(MovingPictures, ColoursThroughFilmsAreThoseOfTheReference) {
    for (const char* codec : {"-c:v libx264 -crf 1 in.mkv", "-c:v libvpx-vp9 -lossless 1 in.mkv"}) {
        for (const FrameColor& color : kColors) {
            if (color.matrix == posteffect::ColorMatrix::kBt2020) continue;
            SCOPED_TRACE(std::string(codec) + " " + Name(color));
            m_folder.write("in.y4m", Chart(color, 3));
            const std::string range = IsFull(color) ? "pc" : "tv";
            const std::string matrix =
                color.matrix == posteffect::ColorMatrix::kBt601 ? "smpte170m" : "bt709";
            shell("ffmpeg -v error -y -color_range " + range + " -i in.y4m -color_range " + range +
                  " -colorspace " + matrix + " -color_primaries " + matrix + " -color_trc " +
                  matrix + " " + codec);
            for (const bool bloomed : {false, true}) {
                succeed({"video", "in.mkv", "-o", "out.mkv", "--force", "-e",
                         bloomed ? "bloom" : "none", "--quality", "100"});
                // Nothing is converted on the way out: only what the file holds counts.
                ExpectPatches(shell("ffmpeg -v error -i out.mkv -f yuv4mpegpipe -strict -1 "
                                    "-frames:v 1 -"),
                              color, bloomed, bloomed ? 5.0 : 3.0);
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
        succeed({"video", "in.mp4", "-o", out, "-e", "vignette"});
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
    succeed({"video", "in.mkv", "-o", "out.webm", "-e", "sketch"});
    EXPECT_EQ(times("out.webm", "v").size(), 25U);
    expectFaults({"video"}, {{6, {"name it .mkv"}, {"in.mkv", "-o", "out.mp4", "-e", "sketch"}}});
}

TEST_F(MovingPictures, VideoTakesPartsAndTurnsUpright) {
    makeFilm("in.mp4", "320x180", 100);
    succeed({"video", "in.mp4", "-o", "part.mkv", "-e", "bloom", "--start=1.2", "--duration=1"});
    EXPECT_NEAR(static_cast<double>(times("part.mkv", "v").size()), 25.0, 1.0);
    shell("ffmpeg -v error -i in.mp4 -c copy -metadata:s:v:0 rotate=90 turned.mp4");
    succeed({"video", "turned.mp4", "-o", "upright.mkv", "-e", "none"});
    EXPECT_EQ(size("upright.mkv"), "180,320");
}

TEST_F(MovingPictures, VideoTellsBadInputInOneLineAndLeavesNothing) {
    makeFilm("in.mp4", "160x90", 25);
    const Bytes film = m_folder.read("in.mp4");
    m_folder.write("short.mp4", Bytes(film.begin(), film.begin() + 3000));
    m_folder.write("text.mp4", Bytes(5000, 'x'));
    expectFaults({"video", "-e", "vignette"},
                 {{4, {"nowhere.mp4: cannot be read"}, {"nowhere.mp4", "-o", "o.mp4"}},
                  {4, {"short.mp4"}, {"short.mp4", "-o", "o.mp4"}},
                  {4, {"text.mp4"}, {"text.mp4", "-o", "o.mp4"}},
                  {6, {"o.avi"}, {"in.mp4", "-o", "o.avi"}},
                  {5, {"in.mp4"}, {"in.mp4", "-o", "in.mp4"}},
                  {5, {"nofolder"}, {"in.mp4", "-o", "nofolder/o.mp4"}},
                  {2, {"-o"}, {"in.mp4"}},
                  {2, {"--start x"}, {"in.mp4", "-o", "o.mp4", "--start", "x"}}});
}

TEST_F(MovingPictures, CameraRecordsAndTakesSnapshotsWithoutAWindow) {
    succeed({"camera", "--test-source", "--size", "320x240", "--frames", "20", "-e", "mirror",
             "--sink", "none", "--record", "r.mkv", "--snapshot", "s.jpg"});
    EXPECT_GE(times("r.mkv", "v").size(), 18U);
    EXPECT_EQ(size("s.jpg"), "320,240");
    expectFaults({"camera", "--sink", "none"},
                 {{5, {"s.jpg"}, {"--test-source", "--snapshot", "s.jpg"}},
                  {4, {"/dev/nocamera"}, {"--device", "/dev/nocamera"}}});
    EXPECT_EQ(run({"camera", "--test-source", "--sink", "v4l2:/dev/null"}).exitCode, 5);
}

#endif  // POSTEFFECT_HAS_GSTREAMER

}  // namespace
