// The element posteffect in real pipelines.
#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>
#include <gst/gst.h>
#include <gst/video/video.h>
#include <gtest/gtest.h>
#include <posteffect/EffectCatalog.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/CommaLocale.h"

namespace {

using Bytes = std::vector<unsigned char>;

struct Unref {
    void operator()(gpointer object) const { gst_object_unref(object); }
};

constexpr unsigned char kPad = 0x5A;

// Frames of a format and size.
struct Kind {
    Kind(const char* format, int width, int height, const std::string& more = "")
        : caps(std::string("video/x-raw,format=") + format + ",width=" + std::to_string(width) +
               ",height=" + std::to_string(height) + ",framerate=25/1" + more) {
        GstCaps* parsed = gst_caps_from_string(caps.c_str());
        EXPECT_TRUE(gst_video_info_from_caps(&info, parsed));
        gst_caps_unref(parsed);
    }

    // Visits every sample, with the place of its byte.
    template <typename Work>
    void forEachSample(Work work) const {
        for (guint c = 0; c < 3; ++c) {
            for (int y = 0; y < GST_VIDEO_INFO_COMP_HEIGHT(&info, c); ++y) {
                for (int x = 0; x < GST_VIDEO_INFO_COMP_WIDTH(&info, c); ++x) {
                    const auto at = GST_VIDEO_INFO_COMP_OFFSET(&info, c) +
                                    static_cast<gsize>(y * GST_VIDEO_INFO_COMP_STRIDE(&info, c) +
                                                       x * GST_VIDEO_INFO_COMP_PSTRIDE(&info, c));
                    work(at, static_cast<int>(c), x, y);
                }
            }
        }
    }
    Bytes scene() const {
        Bytes bytes(info.size, kPad);
        forEachSample([&](gsize at, int c, int x, int y) {
            const int wave = c == 0 ? 90 + (x * 3 + y * 5) % 97 : 110 + (x * 2 + y + c * 7) % 31;
            bytes[at] = static_cast<unsigned char>(wave);
        });
        return bytes;
    }
    // In one order, whatever the layout.
    Bytes samples(const Bytes& frame) const {
        Bytes samples;
        if (frame.size() < info.size) return samples;
        forEachSample([&](gsize at, int, int, int) { samples.push_back(frame[at]); });
        return samples;
    }

    std::string caps;
    GstVideoInfo info{};
    bool layoutIsTold = false;  // with each frame: it is not the usual one
};

// A pipeline that takes frames from the test and gives them back.
class Pipeline {
  public:
    explicit Pipeline(const std::string& middle) {
        const std::string text = "appsrc name=in format=time stream-type=seekable ! " + middle +
                                 " ! appsink name=out sync=false";
        m_pipeline.reset(gst_parse_launch(text.c_str(), nullptr));
        EXPECT_NE(m_pipeline, nullptr) << text;
        m_source = byName("in");
        m_sink = byName("out");
        constexpr auto kAnyPlace = +[](GstAppSrc*, guint64, gpointer) -> gboolean { return TRUE; };
        g_signal_connect(m_source.get(), "seek-data", G_CALLBACK(kAnyPlace), nullptr);
        gst_element_set_state(m_pipeline.get(), GST_STATE_PLAYING);
    }
    ~Pipeline() { gst_element_set_state(m_pipeline.get(), GST_STATE_NULL); }
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;

    std::unique_ptr<GstElement, Unref> byName(const char* name) {
        return std::unique_ptr<GstElement, Unref>(
            gst_bin_get_by_name(GST_BIN(m_pipeline.get()), name));
    }
    // The frame behind the pipeline; empty when it ended with an error.
    Bytes push(const Kind& kind, const Bytes& bytes) {
        GstCaps* parsed = gst_caps_from_string(kind.caps.c_str());
        gst_app_src_set_caps(GST_APP_SRC(m_source.get()), parsed);
        gst_caps_unref(parsed);
        GstBuffer* buffer = gst_buffer_new_allocate(nullptr, bytes.size(), nullptr);
        gst_buffer_fill(buffer, 0, bytes.data(), bytes.size());
        GST_BUFFER_PTS(buffer) = m_time++ * GST_MSECOND;
        if (kind.layoutIsTold) {
            GstVideoInfo info = kind.info;
            gst_buffer_add_video_meta_full(
                buffer, GST_VIDEO_FRAME_FLAG_NONE, GST_VIDEO_INFO_FORMAT(&info),
                static_cast<guint>(info.width), static_cast<guint>(info.height),
                GST_VIDEO_INFO_N_PLANES(&info), info.offset, info.stride);
        }
        gst_app_src_push_buffer(GST_APP_SRC(m_source.get()), buffer);
        GstSample* sample = nullptr;
        for (int i = 0; sample == nullptr && i < 20 && errors().empty(); ++i) {
            sample = gst_app_sink_try_pull_sample(GST_APP_SINK(m_sink.get()), GST_SECOND);
        }
        if (sample == nullptr) return {};
        Bytes result(gst_buffer_get_size(gst_sample_get_buffer(sample)));
        gst_buffer_extract(gst_sample_get_buffer(sample), 0, result.data(), result.size());
        gchar* text = gst_caps_to_string(gst_sample_get_caps(sample));
        m_caps = text;
        g_free(text);
        gst_sample_unref(sample);
        return result;
    }
    Bytes push(const Kind& kind) { return push(kind, kind.scene()); }
    std::string errors() {
        GstBus* bus = gst_element_get_bus(m_pipeline.get());
        if (GstMessage* message = gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR)) {
            GError* error = nullptr;
            gst_message_parse_error(message, &error, nullptr);
            m_errors += error->message;
            g_error_free(error);
            gst_message_unref(message);
        }
        gst_object_unref(bus);
        return m_errors;
    }
    const std::string& caps() const { return m_caps; }  // of the last frame
    void restart(GstState through) {
        gst_element_set_state(m_pipeline.get(), through);
        gst_element_set_state(m_pipeline.get(), GST_STATE_PLAYING);
    }
    void flush() {
        EXPECT_TRUE(
            gst_element_seek_simple(m_pipeline.get(), GST_FORMAT_TIME, GST_SEEK_FLAG_FLUSH, 0));
    }

  private:
    std::unique_ptr<GstElement, Unref> m_pipeline, m_source, m_sink;
    guint64 m_time = 0;
    std::string m_errors, m_caps;
};

class Element : public testing::Test {
  protected:
    static void SetUpTestSuite() { gst_init(nullptr, nullptr); }
    // Objects that are left are told here, when a tracer is asked for them.
    static void TearDownTestSuite() { gst_deinit(); }
};

TEST_F(Element, EveryFormatAndSizeGivesTheSamePicture) {
    for (const auto& [width, height] : {std::pair{64, 48}, {33, 35}, {641, 479}, {1, 1}}) {
        Bytes expected;
        for (const char* format : {"NV21", "NV12", "I420", "YV12"}) {
            SCOPED_TRACE(std::string(format) + " " + std::to_string(width));
            const Kind kind(format, width, height);
            Pipeline pipeline("posteffect effect=vignette strength=90 center-x=0.3");
            const Bytes samples = kind.samples(pipeline.push(kind));
            EXPECT_FALSE(samples.empty()) << pipeline.errors();
            if (width > 1) {
                EXPECT_NE(samples, kind.samples(kind.scene()));
            }
            if (expected.empty()) expected = samples;
            EXPECT_EQ(samples, expected);
        }
    }
}

TEST_F(Element, PaddingOfRowsAndPlanesIsLeftAlone) {
    const Kind plain("NV12", 62, 30);
    Kind padded = plain;
    padded.layoutIsTold = true;
    padded.info.stride[0] = padded.info.stride[1] = 96;
    padded.info.offset[1] = 96 * 34;
    padded.info.size = 96 * 34 + 96 * 20;
    Pipeline pipeline("posteffect effect=bloom");
    Bytes after = pipeline.push(padded);
    EXPECT_EQ(padded.samples(after), plain.samples(pipeline.push(plain)));
    padded.forEachSample([&](gsize at, int, int, int) { after[at] = kPad; });
    EXPECT_EQ(after, Bytes(padded.info.size, kPad));
}

TEST_F(Element, SizesFormatsEffectsAndOptionsChangeWhileItPlays) {
    Pipeline pipeline("posteffect name=fx");
    const auto element = pipeline.byName("fx");
    const auto frame = [&](const Kind& kind) { return kind.samples(pipeline.push(kind)); };
    const Kind small("NV12", 64, 48);
    const Bytes untouched = frame(small);
    EXPECT_EQ(untouched, small.samples(small.scene())) << "effect none";
    const auto with = [&](const char* property, const char* value) {
        gst_util_set_object_arg(G_OBJECT(element.get()), property, value);
        return frame(small);
    };
    const Bytes vignette = with("effect", "vignette");
    EXPECT_NE(vignette, untouched);
    EXPECT_EQ(frame(Kind("I420", 130, 98)).size(), 130U * 98 * 3 / 2);
    EXPECT_NE(with("strength", "100"), vignette);
    EXPECT_EQ(with("strength", "-1"), vignette) << "the effect's own default";
    EXPECT_NE(with("crop", "0.5,0.5,0.5,0.5"), vignette);
    EXPECT_EQ(with("crop", "1,2"), vignette) << "no crop";
    EXPECT_NE(with("param1", "0,0,0,0"), vignette);
    EXPECT_EQ(with("param1", ""), vignette);
    EXPECT_EQ(with("effect", "none"), untouched);

    GstStructure* stats = nullptr;
    gchar* renderer = nullptr;
    g_object_get(element.get(), "stats", &stats, "renderer", &renderer, nullptr);
    guint64 frames = 0;
    gst_structure_get_uint64(stats, "frames", &frames);
    EXPECT_EQ(frames, 8U) << "those that it worked on";
    EXPECT_GT(std::strlen(renderer), 5U);
    gst_structure_free(stats);
    g_free(renderer);
}

TEST_F(Element, SeveralWorkInARowAndSideBySide) {
    const Kind kind("NV21", 96, 64);
    Pipeline row("posteffect effect=mirror ! posteffect effect=two-tone-v");
    Pipeline first("posteffect effect=mirror");
    Pipeline second("posteffect effect=two-tone-v");
    const Bytes mirrored = first.push(kind);
    EXPECT_EQ(row.push(kind), second.push(kind, mirrored));

    const auto same = [&](Pipeline& pipeline, const Bytes& expected) {
        int count = 0;
        for (int i = 0; i < 20; ++i) count += pipeline.push(kind) == expected ? 1 : 0;
        return count;
    };
    const Bytes toned = second.push(kind);
    EXPECT_NE(toned, mirrored);
    auto beside = std::async(std::launch::async, [&] { return same(second, toned); });
    EXPECT_EQ(same(first, mirrored), 20);
    EXPECT_EQ(beside.get(), 20);
}

// The branches share each frame and run in turn: the first must write to a copy.
TEST_F(Element, WritesToNoMemoryThatOthersHold) {
    const Kind kind("NV12", 64, 48);
    Pipeline pipeline(
        "tee name=t t. ! posteffect effect=contrast ! f. t. ! posteffect ! f. funnel name=f");
    const Bytes filtered = pipeline.push(kind);
    EXPECT_FALSE(filtered.empty()) << pipeline.errors();
    EXPECT_NE(filtered, kind.scene());
    EXPECT_EQ(pipeline.push(kind), kind.scene());
}

TEST_F(Element, CapsKeepTheirColorimetryAndGreysStayGrey) {
    for (const std::string colors : {"bt601", "bt709", "bt2020", "1:4:0:0", "1:3:5:1"}) {
        SCOPED_TRACE(colors);
        const Kind kind("NV12", 64, 32, ",colorimetry=(string)" + colors);
        Pipeline pipeline("posteffect effect=mirror");
        const Bytes after = pipeline.push(kind, Bytes(kind.info.size, 128));
        EXPECT_NE(pipeline.caps().find(colors), std::string::npos) << pipeline.caps();
        for (const unsigned char sample : kind.samples(after)) ASSERT_NEAR(sample, 128, 1);
    }
    // Autumn is brown: what is red and what is blue do not change places.
    const Kind kind("I420", 64, 32);
    const Bytes brown = Pipeline("posteffect effect=maple").push(kind, Bytes(kind.info.size, 128));
    ASSERT_EQ(brown.size(), kind.info.size);
    EXPECT_GT(brown[kind.info.offset[2] + 200], brown[kind.info.offset[1] + 200] + 10);
}

TEST_F(Element, WhatItCannotDoIsAnErrorWithAPlainSentence) {
    const Kind kind("NV12", 64, 48);
    setenv("POSTEFFECT_SYSROOT", "/nowhere", 1);
    Pipeline pipeline("posteffect effect=dots");
    EXPECT_TRUE(pipeline.push(kind).empty());
    EXPECT_EQ(pipeline.errors().rfind("The look-up files of effect dots are missing.", 0), 0U)
        << pipeline.errors();
    unsetenv("POSTEFFECT_SYSROOT");

    Pipeline lacking("posteffect effect=mirror");
    EXPECT_TRUE(lacking.push(kind, Bytes(16)).empty());
    EXPECT_EQ(lacking.errors().rfind("The frame's memory cannot be written.", 0), 0U)
        << lacking.errors();
}

TEST_F(Element, MalformedTextsAreReportedAndIgnored) {
    const Kind kind("NV12", 64, 48);
    const auto mirrored = [&](const std::string& more) {
        return Pipeline("posteffect effect=mirror " + more).push(kind);
    };
    const Bytes landscape = mirrored("");
    const Bytes portrait = mirrored("orientation=portrait");
    EXPECT_NE(landscape, portrait);
    EXPECT_EQ(mirrored("param0=\"0,0,0,0\""), portrait);
    for (const std::string name : {"param0=", "param1=", "crop="}) {
        for (const std::string malformed : {"0", "0,0,0,x", "0,0,0,0,0"}) {
            const std::string warning = "*" + name + malformed + "*";
            g_test_expect_message(nullptr, G_LOG_LEVEL_WARNING, warning.c_str());
            EXPECT_EQ(mirrored(name + "\"" + malformed + "\""), landscape) << warning;
            g_test_assert_expected_messages();
        }
    }
}

// POSTEFFECT_SOAK=1 for more of them; scripts/soak.sh counts the objects that are left.
TEST_F(Element, RestartsFlushesChangesOfCapsAndErrorsUpstream) {
    const int cycles = std::getenv("POSTEFFECT_SOAK") != nullptr ? 100 : 5;
    const Kind kinds[] = {Kind("NV12", 64, 48), Kind("I420", 130, 98)};
    constexpr const char* kEffect = "posteffect effect=vignette";
    Pipeline first(kEffect), second(kEffect);
    const Bytes expected[] = {first.push(kinds[0]), second.push(kinds[1])};
    ASSERT_FALSE(expected[0].empty() || expected[1].empty());
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(first.push(kinds[(i + 1) % 2]), expected[(i + 1) % 2]) << "change " << i;
    }
    for (int i = 0; i < cycles; ++i) {
        first.restart(i % 2 == 0 ? GST_STATE_NULL : GST_STATE_READY);
        EXPECT_EQ(first.push(kinds[0]), expected[0]) << "start " << i;
        first.flush();
        EXPECT_EQ(first.push(kinds[0]), expected[0]) << "flush " << i;
    }
    Pipeline failing(std::string("identity error-after=2 ! ") + kEffect);
    EXPECT_EQ(failing.push(kinds[0]), expected[0]);
    EXPECT_TRUE(failing.push(kinds[0]).empty());
    EXPECT_FALSE(failing.errors().empty());
}

// A comma for a point, as programs have it that call setlocale.
TEST_F(Element, TheCallersLocaleChangesNothing) {
    const auto frame = [] {
        Pipeline pipeline("posteffect effect=vignette strength=60.5 crop=\"0.1,0.1,0.5,0.5\"");
        return pipeline.push(Kind("NV12", 64, 48));
    };
    const Bytes expected = frame();
    const testing_support::CommaLocale locale;
    EXPECT_EQ(frame(), expected);
}

// Others that use EGL come and go. For scripts/soak.sh: needs gstreamer1.0-gl.
TEST_F(Element, DISABLED_FramesStayWholeBesideOthersWhoUseGL) {
    const Kind kind("NV12", 64, 48);
    Pipeline pipeline("posteffect effect=vignette");
    const Bytes expected = pipeline.push(kind);
    std::atomic<bool> ended{false};
    long frames = 0, broken = 0;
    std::thread beside([&] {
        for (; !ended; ++frames) broken += pipeline.push(kind) != expected ? 1 : 0;
    });
    for (int i = 0; i < 20; ++i) {
        const std::unique_ptr<GstElement, Unref> other(gst_parse_launch(
            "gltestsrc num-buffers=5 ! glcolorconvert ! gldownload ! glupload ! fakesink",
            nullptr));
        ASSERT_NE(other, nullptr);
        gst_element_set_state(other.get(), GST_STATE_PLAYING);
        const std::unique_ptr<GstBus, Unref> bus(gst_element_get_bus(other.get()));
        GstMessage* end = gst_bus_timed_pop_filtered(
            bus.get(), 20 * GST_SECOND,
            static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
        EXPECT_TRUE(end != nullptr && GST_MESSAGE_TYPE(end) == GST_MESSAGE_EOS) << i;
        if (end != nullptr) gst_message_unref(end);
        gst_element_set_state(other.get(), GST_STATE_NULL);
        // New set-ups beside theirs.
        Pipeline fresh("posteffect effect=vignette");
        EXPECT_EQ(fresh.push(kind), expected) << i << fresh.errors();
    }
    ended = true;
    beside.join();
    std::printf("%ld frames beside 20 pipelines that draw with GL, %ld broken\n", frames, broken);
    EXPECT_EQ(broken, 0);
    EXPECT_GT(frames, 0);
}

TEST_F(Element, HasAPropertyForEveryOptionOfEveryEffect) {
    GstElement* element = gst_element_factory_make("posteffect", nullptr);
    ASSERT_NE(element, nullptr);
    GObjectClass* const type = G_OBJECT_GET_CLASS(element);
    for (const auto& effect : posteffect::kEffects) {
        gst_util_set_object_arg(G_OBJECT(element), "effect", effect.nick);
        gint number = -1;
        g_object_get(element, "effect", &number, nullptr);
        EXPECT_EQ(number, effect.number) << effect.nick;
        for (const auto& option : effect.options) {
            const std::string name = std::string(option.name) + (IsPoint(option) ? "-y" : "");
            GParamSpec* const property = g_object_class_find_property(type, name.c_str());
            ASSERT_NE(property, nullptr) << name;
            EXPECT_NE(property->flags & GST_PARAM_CONTROLLABLE, 0) << name;
            EXPECT_NE(std::string(g_param_spec_get_blurb(property)).find(option.help),
                      std::string::npos);
            if (option.target == posteffect::OptionTarget::kBandAngle) {
                EXPECT_NE(std::strstr(g_param_spec_get_blurb(property), "process"), nullptr);
            }
            if (option.choices == nullptr) {
                g_object_set(element, name.c_str(), option.maximum, nullptr);
                gdouble value = 0.0;
                g_object_get(element, name.c_str(), &value, nullptr);
                EXPECT_EQ(value, option.maximum) << name;
            }
        }
    }
    gst_object_unref(element);
}

}  // namespace
