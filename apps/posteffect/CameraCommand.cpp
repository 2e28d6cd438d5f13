// posteffect camera: a live picture through an effect, to a window, a file or another device.
#include <gst/gst.h>
#include <gst/video/navigation.h>
#include <gst/video/video.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <map>
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
#include "apps/posteffect/OptionText.h"
#include "apps/posteffect/OutputFile.h"
#include "apps/posteffect/PendingFile.h"
#include "apps/posteffect/Snapshot.h"
#include "apps/posteffect/VideoEncoder.h"

namespace posteffect {
namespace {

constexpr const char* kFirstDevice = "/dev/video0";
constexpr int kMostFrames = 1'000'000;
constexpr double kStrengthStep = 10.0;  // a tenth of most ranges

struct CameraOptions {
    bool testSource = false;
    std::string device = kFirstDevice;
    std::optional<Size> size;
    std::string sink;  // "window", "none" or "v4l2:DEVICE"
    std::optional<std::string> record;
    std::optional<std::string> snapshot;
    int frames = 0;  // ends after so many; 0: never
    bool force = false;
    ChosenEffect effect;
};

// What a key does. Keys come from the window by the name that X gives them, and from the terminal.
enum class Action { kNext, kPrevious, kStronger, kWeaker, kSnapshot, kQuit };

std::optional<Action> ActionOf(const std::string& key) {
    static const std::map<std::string, Action> kActions = {
        {"Right", Action::kNext},    {"n", Action::kNext},      {"space", Action::kNext},
        {"Left", Action::kPrevious}, {"p", Action::kPrevious},  {"Up", Action::kStronger},
        {"plus", Action::kStronger}, {"+", Action::kStronger},  {"Down", Action::kWeaker},
        {"minus", Action::kWeaker},  {"-", Action::kWeaker},    {"s", Action::kSnapshot},
        {"q", Action::kQuit},        {"Escape", Action::kQuit},
    };
    const auto found = kActions.find(key);
    if (found == kActions.end()) return std::nullopt;
    return found->second;
}

// The terminal without lines and echo while it lives; single keys are handed on.
class KeyboardWatch {
  public:
    explicit KeyboardWatch(std::function<void(const std::string&)> onKey)
        : m_onKey(std::move(onKey)) {
        if (isatty(STDIN_FILENO) == 0 || tcgetattr(STDIN_FILENO, &m_before) != 0) return;
        termios raw = m_before;
        raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        tcsetattr(STDIN_FILENO, TCSANOW, &raw);
        GIOChannel* channel = g_io_channel_unix_new(STDIN_FILENO);
        m_watch = g_io_add_watch(channel, G_IO_IN, OnInput, this);
        g_io_channel_unref(channel);
    }
    ~KeyboardWatch() {
        if (m_watch == 0) return;
        g_source_remove(m_watch);
        tcsetattr(STDIN_FILENO, TCSANOW, &m_before);
    }
    KeyboardWatch(const KeyboardWatch&) = delete;
    KeyboardWatch& operator=(const KeyboardWatch&) = delete;

  private:
    static gboolean OnInput(GIOChannel*, GIOCondition, gpointer self) {
        char bytes[8];
        const ssize_t count = read(STDIN_FILENO, bytes, sizeof(bytes));
        if (count <= 0) return G_SOURCE_REMOVE;
        // Arrow keys come as three bytes.
        const std::string text(bytes, static_cast<std::size_t>(count));
        static const std::map<std::string, std::string> kArrows = {
            {"\033[A", "Up"},   {"\033[B", "Down"}, {"\033[C", "Right"},
            {"\033[D", "Left"}, {"\033", "Escape"}, {" ", "space"}};
        const auto arrow = kArrows.find(text);
        static_cast<KeyboardWatch*>(self)->m_onKey(arrow == kArrows.end() ? text : arrow->second);
        return G_SOURCE_CONTINUE;
    }

    std::function<void(const std::string&)> m_onKey;
    termios m_before{};
    guint m_watch = 0;
};

class CameraRun {
  public:
    explicit CameraRun(const CameraOptions& options)
        : m_options(options),
          m_chosen(options.effect),
          m_pipeline(options.testSource ? "test source" : options.device,
                     options.record.value_or(options.sink)) {}

    void run() {
        GstElement* last = addSource();
        last = m_pipeline.append(last, MakeElement("videoconvert"));
        GstElement* format = MakeElement("capsfilter");
        const GstPointer<GstCaps> caps(gst_caps_from_string("video/x-raw,format=NV12"));
        g_object_set(format, "caps", caps.get(), nullptr);
        last = m_pipeline.append(last, format);
        m_effect = m_pipeline.append(last, MakeElement("posteffect"));
        SetEffect(m_effect, m_chosen);
        watchFrames();
        GstElement* tee = m_pipeline.append(m_effect, MakeElement("tee"));
        addDisplay(tee);
        std::optional<PendingFile> file;
        if (m_options.record) {
            file.emplace(*m_options.record);
            addRecording(tee, file->temporaryPath());
        }
        const KeyboardWatch keyboard([this](const std::string& key) { press(key); });
        if (isatty(STDERR_FILENO) != 0) {
            std::fputs("keys: left, right: effect; up, down: strength; s: snapshot; q: end\n",
                       stderr);
        }
        m_pipeline.hasBegun = [this] { return m_frames > 0; };
        const bool whole = m_pipeline.run();
        if (file && whole && m_frames > 0) file->commit(m_options.force);
        if (!whole) throw Failure(kExitInterrupted, "camera", "interrupted twice");
    }

  private:
    GstElement* addSource() {
        GstElement* source = nullptr;
        if (m_options.testSource) {
            source = MakeElement("videotestsrc");
            g_object_set(source, "is-live", TRUE, nullptr);
        } else {
            source = MakeElement("v4l2src");
            g_object_set(source, "device", m_options.device.c_str(), nullptr);
        }
        GstElement* last = m_pipeline.append(nullptr, source);
        if (m_options.size) {
            GstElement* filter = MakeElement("capsfilter");
            const GstPointer<GstCaps> caps(
                gst_caps_new_simple("video/x-raw", "width", G_TYPE_INT, m_options.size->width,
                                    "height", G_TYPE_INT, m_options.size->height, nullptr));
            // Cameras send large pictures as JPEG.
            if (!m_options.testSource) {
                gst_caps_append(
                    caps.get(),
                    gst_caps_new_simple("image/jpeg", "width", G_TYPE_INT, m_options.size->width,
                                        "height", G_TYPE_INT, m_options.size->height, nullptr));
            }
            g_object_set(filter, "caps", caps.get(), nullptr);
            last = m_pipeline.append(last, filter);
        }
        if (m_options.testSource) return last;
        GstElement* decode = m_pipeline.append(last, MakeElement("decodebin"));
        GstElement* entry = m_pipeline.append(nullptr, MakeElement("queue"));
        g_signal_connect(decode, "pad-added", G_CALLBACK(OnDecoded), entry);
        return entry;
    }

    static void OnDecoded(GstElement*, GstPad* pad, gpointer entry) {
        const GstPointer<GstPad> sink(
            gst_element_get_static_pad(static_cast<GstElement*>(entry), "sink"));
        if (!gst_pad_is_linked(sink.get())) gst_pad_link(pad, sink.get());
    }

    void addDisplay(GstElement* tee) {
        GstElement* queue = MakeElement("queue");
        // A slow window drops pictures and does not hold up the recording.
        gst_util_set_object_arg(G_OBJECT(queue), "leaky", "downstream");
        GstElement* last = m_pipeline.append(tee, queue);
        last = m_pipeline.append(last, MakeElement("videoconvert"));
        const std::string v4l2 = "v4l2:";
        if (m_options.sink == "window") {
            m_pipeline.append(last, MakeElement("autovideosink"));
            watchKeys(last);
        } else if (m_options.sink.rfind(v4l2, 0) == 0) {
            GstElement* sink = MakeElement("v4l2sink");
            g_object_set(sink, "device", m_options.sink.substr(v4l2.size()).c_str(), nullptr);
            m_pipeline.append(last, sink);
        } else {
            GstElement* sink = MakeElement("fakesink");
            g_object_set(sink, "sync", TRUE, nullptr);
            m_pipeline.append(last, sink);
        }
    }

    void addRecording(GstElement* tee, const std::string& target) {
        const VideoContainer& container = FindContainer(*m_options.record);
        const VideoEncoder& encoder = FindEncoder(container);
        GstElement* last = m_pipeline.append(tee, MakeElement("queue"));
        last = m_pipeline.append(last, MakeElement("videoconvert"));
        GstElement* encode = m_pipeline.append(last, MakeElement(encoder.element));
        encoder.configure(encode, kDefaultVideoQuality);
        if (g_object_class_find_property(G_OBJECT_GET_CLASS(encode), "tune") != nullptr) {
            gst_util_set_object_arg(G_OBJECT(encode), "tune", "zerolatency");
        }
        last = encode;
        if (encoder.parser != nullptr) last = m_pipeline.append(last, MakeElement(encoder.parser));
        last = m_pipeline.append(last, MakeElement(container.muxer));
        GstElement* file = MakeElement("filesink");
        g_object_set(file, "location", target.c_str(), nullptr);
        m_pipeline.append(last, file);
    }

    // Window systems send keys upstream.
    void watchKeys(GstElement* beforeSink) {
        const GstPointer<GstPad> pad(gst_element_get_static_pad(beforeSink, "src"));
        gst_pad_add_probe(
            pad.get(), GST_PAD_PROBE_TYPE_EVENT_UPSTREAM,
            [](GstPad*, GstPadProbeInfo* info, gpointer self) {
                GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
                const gchar* key = nullptr;
                if (gst_navigation_event_get_type(event) == GST_NAVIGATION_EVENT_KEY_PRESS &&
                    gst_navigation_event_parse_key_event(event, &key)) {
                    auto* const run = static_cast<CameraRun*>(self);
                    run->m_pipeline.post([run, name = std::string(key)] { run->press(name); });
                }
                return GST_PAD_PROBE_OK;
            },
            this, nullptr);
    }

    void watchFrames() {
        const GstPointer<GstPad> pad(gst_element_get_static_pad(m_effect, "src"));
        gst_pad_add_probe(
            pad.get(), GST_PAD_PROBE_TYPE_BUFFER,
            [](GstPad* source, GstPadProbeInfo* info, gpointer self) {
                static_cast<CameraRun*>(self)->frame(source, GST_PAD_PROBE_INFO_BUFFER(info));
                return GST_PAD_PROBE_OK;
            },
            this, nullptr);
    }

    // On GStreamer's thread.
    void frame(GstPad* pad, GstBuffer* buffer) {
        const int number = ++m_frames;
        const bool first = number == 1 && m_options.snapshot && m_options.frames <= 1;
        const bool last = m_options.frames > 0 && number == m_options.frames;
        if (m_wantsSnapshot.exchange(false) || first || (last && m_options.snapshot)) {
            try {
                const GstPointer<GstCaps> caps(gst_pad_get_current_caps(pad));
                WriteSnapshot(snapshotPath(), buffer, caps.get(),
                              m_options.force || m_snapshots > 0);
                ++m_snapshots;
            } catch (const Failure& failure) {
                m_pipeline.fail(failure);
            }
        }
        // A snapshot alone is all that was asked for.
        const bool done = m_options.snapshot && m_options.frames == 0 && !m_options.record &&
                          m_options.sink == "none";
        if (last || done) m_pipeline.post([this] { m_pipeline.finish(); });
    }

    // The name that was given for the first; numbered ones after it.
    std::string snapshotPath() const {
        std::string base = m_options.snapshot.value_or("snapshot.jpg");
        if (m_snapshots == 0) return base;
        const std::size_t dot = base.rfind('.');
        return base.substr(0, dot) + "-" + std::to_string(m_snapshots + 1) +
               (dot == std::string::npos ? "" : base.substr(dot));
    }

    // On the thread that runs the pipeline.
    void press(const std::string& key) {
        const auto action = ActionOf(key);
        if (!action) return;
        constexpr int kCount = static_cast<int>(kEffectCount);
        switch (*action) {
            case Action::kNext:
                choose((m_chosen.effect->number + 1) % kCount);
                break;
            case Action::kPrevious:
                choose((m_chosen.effect->number + kCount - 1) % kCount);
                break;
            case Action::kStronger:
                strengthen(kStrengthStep);
                break;
            case Action::kWeaker:
                strengthen(-kStrengthStep);
                break;
            case Action::kSnapshot:
                m_wantsSnapshot = true;
                break;
            case Action::kQuit:
                m_pipeline.finish();
                break;
        }
    }

    void choose(int number) {
        m_chosen.effect = &kEffects[static_cast<std::size_t>(number)];
        m_chosen.values = DefaultValues(*m_chosen.effect);
        apply();
    }

    // The option called strength; else the first that is a number or a choice.
    void strengthen(double step) {
        const EffectInfo& effect = *m_chosen.effect;
        std::optional<std::size_t> found;
        for (std::size_t i = 0; i < effect.options.count; ++i) {
            const EffectOption& option = effect.options.first[i];
            if (IsPoint(option)) continue;
            if (!found || std::string(option.name) == "strength") found = i;
        }
        if (!found) return;
        const EffectOption& option = effect.options.first[*found];
        const double range = option.maximum - option.minimum;
        const double part =
            option.choices != nullptr ? (step > 0.0 ? 1.0 : -1.0) : step * range / 100.0;
        double& value = m_chosen.values[*found].x;
        value = std::min(option.maximum, std::max(option.minimum, value + part));
        apply();
    }

    void apply() {
        SetEffect(m_effect, m_chosen);
        if (isatty(STDERR_FILENO) == 0) return;
        std::fprintf(stderr, "%s", m_chosen.effect->nick);
        for (std::size_t i = 0; i < m_chosen.values.size(); ++i) {
            const EffectOption& option = m_chosen.effect->options.first[i];
            if (!IsPoint(option))
                std::fprintf(stderr, " --%s %g", option.name, m_chosen.values[i].x);
        }
        std::fputs("\n", stderr);
    }

    const CameraOptions& m_options;
    ChosenEffect m_chosen;
    MediaPipeline m_pipeline;
    GstElement* m_effect = nullptr;  // the pipeline's
    std::atomic<int> m_frames{0};
    std::atomic<bool> m_wantsSnapshot{false};
    int m_snapshots = 0;
};

class CameraCommand : public Command {
  public:
    const char* name() const override { return "camera"; }
    const char* summary() const override { return "a live picture through an effect"; }
    void declare(Arguments& arguments) override {
        arguments.option("--device", "DEVICE",
                         std::string("the camera (default ") + kFirstDevice + ")", &m_device);
        arguments.flag("--test-source", "a test picture instead of a camera", &m_testSource);
        m_effect.declare(arguments);
        arguments.option("--size", "WxH", "of the camera's picture", &m_size);
        arguments.option("--sink", "SINK",
                         "where the picture goes: window, none or v4l2:DEVICE (default: window, or "
                         "none beside --record or --snapshot where there is no window system)",
                         &m_sink);
        arguments.option("--record", "FILE",
                         "also write a film: " + JoinNames(ContainerEndings(), "or"), &m_record);
        arguments.option("--snapshot", "FILE",
                         "write a picture to this JPEG file: the last of --frames, without it the "
                         "first; the key s writes more",
                         &m_snapshot);
        arguments.option("--frames", "N", "end after so many pictures", &m_frames);
        arguments.flag("--force", "replace files that exist", &m_force);
    }

    int run() override {
        CameraOptions options;
        options.testSource = m_testSource;
        if (m_device) options.device = *m_device;
        if (m_size) options.size = ParseSize("size", *m_size);
        options.effect = m_effect.resolveOr(kEffects[kEffectBypass]);
        options.record = m_record;
        options.snapshot = m_snapshot;
        options.force = m_force;
        if (m_frames) options.frames = ParseWhole("frames", *m_frames, 1, kMostFrames);
        options.sink = sink();
        if (options.record) {
            FindContainer(*options.record);
            const OutputFile place(*options.record, "", options.force);
        }
        if (options.snapshot) const OutputFile place(*options.snapshot, "", options.force);
        if (!options.testSource && access(options.device.c_str(), R_OK) != 0) {
            throw Failure(kExitUnreadable, options.device,
                          "no camera there: name another with --device, or try --test-source");
        }
        StartGStreamer();
        CameraRun(options).run();
        return kExitDone;
    }

  private:
    std::string sink() const {
        const bool hasWindows =
            std::getenv("DISPLAY") != nullptr || std::getenv("WAYLAND_DISPLAY") != nullptr;
        if (!m_sink) {
            if (hasWindows) return "window";
            if (m_record || m_snapshot) return "none";
        } else if (*m_sink == "none" || m_sink->rfind("v4l2:", 0) == 0) {
            return *m_sink;
        } else if (*m_sink != "window") {
            throw Failure(kExitWrongUse, "--sink " + *m_sink, "takes window, none or v4l2:DEVICE");
        }
        if (hasWindows) return "window";
        throw Failure(kExitWrongUse, "--sink window",
                      "no window system here: choose --sink none or v4l2:DEVICE, or --record");
    }

    bool m_testSource = false;
    std::optional<std::string> m_device;
    EffectArguments m_effect;
    std::optional<std::string> m_size;
    std::optional<std::string> m_sink;
    std::optional<std::string> m_record;
    std::optional<std::string> m_snapshot;
    std::optional<std::string> m_frames;
    bool m_force = false;
};

}  // namespace

std::unique_ptr<Command> MakeCameraCommand() {
    return std::make_unique<CameraCommand>();
}

}  // namespace posteffect
