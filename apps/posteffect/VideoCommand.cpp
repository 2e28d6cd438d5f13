// posteffect video: filters the pictures of a film and keeps its sound.
#include <gst/gst.h>
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/posteffect/Arguments.h"
#include "apps/posteffect/EffectArguments.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/MediaPipeline.h"
#include "apps/posteffect/NearestName.h"
#include "apps/posteffect/OutputFile.h"
#include "apps/posteffect/PendingFile.h"
#include "apps/posteffect/VideoEncoder.h"

namespace posteffect {
namespace {

using Clock = std::chrono::steady_clock;

struct VideoOptions {
    std::string input;
    std::string output;
    ChosenEffect effect;
    double start = 0.0;              // seconds
    std::optional<double> duration;  // seconds
    int quality = kDefaultVideoQuality;
    bool force = false;
};

double ParseSeconds(const std::string& option, const std::string& text) {
    double seconds = 0.0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, seconds);
    if (result.ec != std::errc() || result.ptr != end || !(seconds >= 0.0 && seconds < 1.0e8)) {
        throw Failure(kExitWrongUse, option + " " + text, "takes seconds, such as 12.5");
    }
    return seconds;
}

GstClockTime Nanoseconds(double seconds) {
    return static_cast<GstClockTime>(std::llround(seconds * static_cast<double>(GST_SECOND)));
}

// The parser that gives a muxer the packets the way it wants them; null: as they are.
const char* SoundParser(const GstStructure* type) {
    gint version = 0;
    if (gst_structure_has_name(type, "audio/mpeg")) {
        gst_structure_get_int(type, "mpegversion", &version);
        return version == 1 ? "mpegaudioparse" : "aacparse";
    }
    struct Row {
        const char* type;
        const char* parser;
    };
    constexpr Row kRows[] = {{"audio/x-ac3", "ac3parse"},
                             {"audio/x-eac3", "ac3parse"},
                             {"audio/x-flac", "flacparse"},
                             {"audio/x-opus", "opusparse"}};
    for (const Row& row : kRows) {
        if (gst_structure_has_name(type, row.type)) return row.parser;
    }
    return nullptr;
}

// Encoders look ahead: sound waits for the pictures that belong to it, as long as that takes.
void WaitLong(GstElement* queue) {
    constexpr guint kMostBytes = 256U << 20;
    g_object_set(queue, "max-size-buffers", 0U, "max-size-time", guint64{0}, "max-size-bytes",
                 kMostBytes, nullptr);
}

class VideoRun {
  public:
    explicit VideoRun(const VideoOptions& options)
        : m_options(options), m_pipeline(options.input, options.output), m_begin(Clock::now()) {}

    // The frames written.
    int run(const std::string& target) {
        m_mux = MakeElement(FindContainer(m_options.output).muxer, "mux");
        GstElement* file = MakeElement("filesink", "file");
        g_object_set(file, "location", target.c_str(), nullptr);
        m_pipeline.append(m_pipeline.append(nullptr, m_mux), file);

        GstElement* source = MakeElement("filesrc", "source");
        g_object_set(source, "location", m_options.input.c_str(), nullptr);
        m_parse = m_pipeline.append(m_pipeline.append(nullptr, source), MakeElement("parsebin"));
        g_signal_connect(m_parse, "pad-added", G_CALLBACK(OnStream), this);
        if (isatty(STDERR_FILENO) != 0) m_pipeline.onTick = [this] { tell(); };
        m_pipeline.hasBegun = [this] { return m_frames > 0; };
        const bool whole = m_pipeline.run();
        if (isatty(STDERR_FILENO) != 0) std::fputs("\n", stderr);
        if (!whole) {
            throw Failure(kExitInterrupted, m_options.output, "not written: interrupted twice");
        }
        if (m_frames == 0 && m_pipeline.interrupted()) {
            throw Failure(kExitInterrupted, m_options.output,
                          "not written: interrupted before the first picture");
        }
        return m_frames;
    }

  private:
    bool isPart() const { return m_options.start > 0.0 || m_options.duration; }

    // --- On GStreamer's threads ---

    static void OnStream(GstElement*, GstPad* pad, gpointer self) {
        auto* const run = static_cast<VideoRun*>(self);
        try {
            run->addStream(pad);
        } catch (const Failure& failure) {
            run->m_pipeline.fail(failure);
        }
    }

    // Streams are all there once one of them flows.
    static GstPadProbeReturn OnBlocked(GstPad*, GstPadProbeInfo*, gpointer self) {
        auto* const run = static_cast<VideoRun*>(self);
        if (!run->m_seeks.exchange(true)) {
            run->m_pipeline.post([run] { run->seek(); });
        }
        return GST_PAD_PROBE_OK;
    }

    void addStream(GstPad* pad) {
        GstPointer<GstCaps> caps(gst_pad_get_current_caps(pad));
        if (caps == nullptr) caps.reset(gst_pad_query_caps(pad, nullptr));
        const std::string type = gst_structure_get_name(gst_caps_get_structure(caps.get(), 0));
        GstElement* queue = MakeElement("queue");
        // A part of the film: nothing passes before the seek has been made. Behind the queue, so
        // that the streams before it find each other meanwhile.
        if (isPart()) {
            GstPad* exit = gst_element_get_static_pad(queue, "src");
            const gulong probe = gst_pad_add_probe(exit, GST_PAD_PROBE_TYPE_BLOCK_DOWNSTREAM,
                                                   OnBlocked, this, nullptr);
            m_blocked.push_back({exit, probe});
        }
        const bool isPicture = type.rfind("video/", 0) == 0 && !m_hasVideo;
        if (isPicture) {
            addPictures(queue);
        } else if (type.rfind("audio/", 0) == 0) {
            addSound(queue, std::move(caps));
        } else {
            GstElement* sink = MakeElement("fakesink");
            g_object_set(sink, "async", FALSE, nullptr);
            m_pipeline.append(m_pipeline.append(nullptr, queue), sink);
            gst_element_sync_state_with_parent(sink);
        }
        gst_element_sync_state_with_parent(queue);
        const GstPointer<GstPad> entry(gst_element_get_static_pad(queue, "sink"));
        gst_pad_link(pad, entry.get());
    }

    // What the element can give.
    static GstPointer<GstCaps> outputOf(GstElement* element) {
        const GstPointer<GstPad> pad(gst_element_get_static_pad(element, "src"));
        return GstPointer<GstCaps>(gst_pad_query_caps(pad.get(), nullptr));
    }

    void addSound(GstElement* queue, GstPointer<GstCaps> caps) {
        const GstStructure* type = gst_caps_get_structure(caps.get(), 0);
        const std::string name = gst_structure_get_name(type);
        WaitLong(queue);
        GstElement* last = m_pipeline.append(nullptr, queue);
        if (const char* parser = SoundParser(type)) {
            last = m_pipeline.append(last, MakeElement(parser));
            gst_element_sync_state_with_parent(last);
            caps = outputOf(last);
        }
        linkToMuxer(last, caps.get(), "sound (" + name.substr(name.find('/') + 1) + ")");
    }

    // To the kind of pad that takes what comes: left to itself a link takes the first that is free.
    void linkToMuxer(GstElement* last, const GstCaps* caps, const std::string& what) {
        const GstPointer<GstPad> from(gst_element_get_static_pad(last, "src"));
        for (const GList* row =
                 gst_element_class_get_pad_template_list(GST_ELEMENT_GET_CLASS(m_mux));
             row != nullptr; row = row->next) {
            auto* const pads = static_cast<GstPadTemplate*>(row->data);
            if (GST_PAD_TEMPLATE_DIRECTION(pads) != GST_PAD_SINK) continue;
            const GstPointer<GstCaps> takes(gst_pad_template_get_caps(pads));
            if (!gst_caps_can_intersect(takes.get(), caps)) continue;
            const GstPointer<GstPad> to(gst_element_request_pad(m_mux, pads, nullptr, caps));
            if (to != nullptr && gst_pad_link(from.get(), to.get()) == GST_PAD_LINK_OK) return;
        }
        throw Failure(kExitUnsupported, m_options.output,
                      "the " + what + " does not fit into this kind of file: name it .mkv");
    }

    void addPictures(GstElement* queue) {
        m_hasVideo = true;
        m_pipeline.append(nullptr, queue);
        GstElement* decode = m_pipeline.append(queue, MakeElement("decodebin"));
        GstElement* flip = MakeElement("videoflip");
        gst_util_set_object_arg(G_OBJECT(flip), "video-direction", "auto");
        m_entry = m_pipeline.append(nullptr, MakeElement("videoconvert"));
        // The element takes semi-planar frames; nothing is said of colours, so they stay.
        GstElement* format = MakeElement("capsfilter");
        const GstPointer<GstCaps> caps(gst_caps_from_string("video/x-raw,format=NV12"));
        g_object_set(format, "caps", caps.get(), nullptr);
        GstElement* effect = MakeElement("posteffect");
        SetEffect(effect, m_options.effect);
        std::vector<GstElement*> chain = {flip, MakeElement("videoconvert"), format, effect,
                                          MakeElement("videoconvert")};
        GstElement* last = m_entry;
        for (GstElement* element : chain) last = m_pipeline.append(last, element);
        const VideoEncoder& encoder = FindEncoder(FindContainer(m_options.output));
        GstElement* encode = m_pipeline.append(last, MakeElement(encoder.element));
        encoder.configure(encode, m_options.quality);
        watchFrames(encode);
        chain.push_back(encode);
        last = encode;
        if (encoder.parser != nullptr) {
            last = m_pipeline.append(last, MakeElement(encoder.parser));
            chain.push_back(last);
        }
        const GstPointer<GstCaps> coded = outputOf(last);
        GstElement* buffer = m_pipeline.append(last, MakeElement("queue"));
        chain.push_back(buffer);
        linkToMuxer(buffer, coded.get(), "pictures");
        g_signal_connect(decode, "pad-added", G_CALLBACK(OnDecoded), m_entry);
        for (auto element = chain.rbegin(); element != chain.rend(); ++element) {
            gst_element_sync_state_with_parent(*element);
        }
        gst_element_sync_state_with_parent(m_entry);
        gst_element_sync_state_with_parent(decode);
    }

    static void OnDecoded(GstElement*, GstPad* pad, gpointer entry) {
        const GstPointer<GstPad> sink(
            gst_element_get_static_pad(static_cast<GstElement*>(entry), "sink"));
        if (!gst_pad_is_linked(sink.get())) gst_pad_link(pad, sink.get());
    }

    void watchFrames(GstElement* encoder) {
        const GstPointer<GstPad> pad(gst_element_get_static_pad(encoder, "sink"));
        gst_pad_add_probe(
            pad.get(), GST_PAD_PROBE_TYPE_BUFFER,
            [](GstPad*, GstPadProbeInfo* info, gpointer self) {
                auto* const run = static_cast<VideoRun*>(self);
                ++run->m_frames;
                run->m_position = GST_BUFFER_PTS(GST_PAD_PROBE_INFO_BUFFER(info));
                return GST_PAD_PROBE_OK;
            },
            this, nullptr);
    }

    // --- On the thread that runs the pipeline ---

    void seek() {
        const GstClockTime start = Nanoseconds(m_options.start);
        const bool ends = m_options.duration.has_value();
        const GstClockTime stop = ends ? start + Nanoseconds(*m_options.duration) : 0;
        const auto flags = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE);
        const bool done =
            !m_blocked.empty() &&
            gst_pad_send_event(m_blocked.front().pad,
                               gst_event_new_seek(1.0, GST_FORMAT_TIME, flags, GST_SEEK_TYPE_SET,
                                                  static_cast<gint64>(start),
                                                  ends ? GST_SEEK_TYPE_SET : GST_SEEK_TYPE_NONE,
                                                  static_cast<gint64>(stop)));
        for (const Blocked& blocked : m_blocked) {
            gst_pad_remove_probe(blocked.pad, blocked.probe);
            gst_object_unref(blocked.pad);
        }
        m_blocked.clear();
        if (done) return;
        m_pipeline.fail({kExitUnsupported, m_options.input,
                         "cannot be entered at a time of its own: leave out --start and "
                         "--duration"});
    }

    void tell() {
        const double seconds = std::chrono::duration<double>(Clock::now() - m_begin).count();
        const int frames = m_frames;
        std::fprintf(stderr, "\r%s: %d frames, %.1f a second", m_options.input.c_str(), frames,
                     frames / std::max(seconds, 0.001));
        gint64 length = 0;
        const double done = static_cast<double>(m_position) / GST_SECOND - m_options.start;
        if (gst_element_query_duration(m_parse, GST_FORMAT_TIME, &length) && done > 0.0) {
            const double all = m_options.duration
                                   ? *m_options.duration
                                   : static_cast<double>(length) / GST_SECOND - m_options.start;
            std::fprintf(stderr, ", %.0f s left ", std::max(0.0, (all - done) * seconds / done));
        }
        std::fflush(stderr);
    }

    struct Blocked {
        GstPad* pad;
        gulong probe;
    };

    const VideoOptions& m_options;
    MediaPipeline m_pipeline;
    Clock::time_point m_begin;
    GstElement* m_mux = nullptr;  // all of these the pipeline's
    GstElement* m_parse = nullptr;
    GstElement* m_entry = nullptr;  // of decoded pictures
    bool m_hasVideo = false;
    std::atomic<bool> m_seeks{false};
    std::vector<Blocked> m_blocked;
    std::atomic<int> m_frames{0};
    std::atomic<GstClockTime> m_position{0};
};

class VideoCommand : public Command {
  public:
    const char* name() const override { return "video"; }
    const char* summary() const override { return "filter a film; its sound is copied"; }
    void declare(Arguments& arguments) override {
        arguments.operand("IN", "the film: whatever GStreamer plays", &m_input);
        arguments.option("-o,--output", "OUT",
                         "the film to write: " + JoinNames(ContainerEndings(), "or"), &m_output);
        m_effect.declare(arguments);
        arguments.option("--start", "SECONDS", "begin there", &m_start);
        arguments.option("--duration", "SECONDS", "end so much later", &m_duration);
        arguments.option("--quality", "Q",
                         "of the pictures written (1..100, default " +
                             std::to_string(kDefaultVideoQuality) + ")",
                         &m_quality);
        arguments.flag("--force", "replace OUT if it exists", &m_force);
    }

    int run() override {
        VideoOptions options;
        options.input = m_input;
        if (!m_output) throw Failure(kExitWrongUse, "-o", "is required: the film to write");
        options.output = *m_output;
        options.effect = m_effect.resolve();
        if (m_start) options.start = ParseSeconds("--start", *m_start);
        if (m_duration) options.duration = ParseSeconds("--duration", *m_duration);
        if (m_quality) options.quality = ParseVideoQuality(*m_quality);
        options.force = m_force;
        FindContainer(options.output);
        if (access(options.input.c_str(), R_OK) != 0) {
            throw Failure(kExitUnreadable, options.input,
                          "cannot be read: check the name and the rights");
        }
        const OutputFile place(options.output, options.input, options.force);
        StartGStreamer();
        PendingFile file(options.output);
        const int frames = VideoRun(options).run(file.temporaryPath());
        if (frames == 0) {
            throw Failure(
                kExitUnreadable, options.input,
                "no moving picture came out of it: not a film, or cut short; for photos use "
                "posteffect photo");
        }
        file.commit(options.force);
        return kExitDone;
    }

  private:
    std::string m_input;
    std::optional<std::string> m_output;
    EffectArguments m_effect;
    std::optional<std::string> m_start;
    std::optional<std::string> m_duration;
    std::optional<std::string> m_quality;
    bool m_force = false;
};

}  // namespace

std::unique_ptr<Command> MakeVideoCommand() {
    return std::make_unique<VideoCommand>();
}

}  // namespace posteffect
