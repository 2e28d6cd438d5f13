#include "apps/posteffect/MediaPipeline.h"

#include <glib-unix.h>
#include <gst/pbutils/pbutils.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <clocale>
#include <csignal>
#include <cstring>
#include <utility>

namespace posteffect {
namespace {

constexpr const char* kElement = "posteffect";
constexpr guint kTickMilliseconds = 200;

// Which package brings an element.
struct Provider {
    const char* element;
    const char* package;
};
constexpr Provider kProviders[] = {
    {"posteffect", "gstreamer1.0-posteffect"},     {"videoconvert", "gstreamer1.0-plugins-base"},
    {"parsebin", "gstreamer1.0-plugins-base"},     {"decodebin", "gstreamer1.0-plugins-base"},
    {"videotestsrc", "gstreamer1.0-plugins-base"}, {"ximagesink", "gstreamer1.0-x"},
    {"x264enc", "gstreamer1.0-plugins-ugly"},      {"h264parse", "gstreamer1.0-plugins-bad"},
    {"opusparse", "gstreamer1.0-plugins-bad"},
};
constexpr const char* kUsualPackage = "gstreamer1.0-plugins-good";

const char* PackageOf(const std::string& element) {
    for (const Provider& row : kProviders) {
        if (element == row.element) return row.package;
    }
    return kUsualPackage;
}

// The folder that this program lies in, with its end.
std::string ProgramFolder() {
    std::array<char, PATH_MAX> path{};
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size() - 1);
    if (length <= 0) return "";
    const std::string text(path.data(), static_cast<std::size_t>(length));
    return text.substr(0, text.rfind('/') + 1);
}

struct FreeText {
    void operator()(gchar* text) const { g_free(text); }
};
using Text = std::unique_ptr<gchar, FreeText>;

}  // namespace

void StartGStreamer() {
    GError* error = nullptr;
    if (!gst_init_check(nullptr, nullptr, &error)) {
        const std::string text = error != nullptr ? error->message : "unknown fault";
        g_clear_error(&error);
        throw Failure(kExitPluginMissing, "GStreamer", "does not start: " + text);
    }
    // It takes the user's locale, for its messages; numbers stay what options take.
    std::setlocale(LC_NUMERIC, "C");
    gst_pb_utils_init();
    if (!HasElement(kElement)) {
        // Not installed: beside the program, as in a build folder or a prefix of one's own.
        for (const char* folder : {"../lib/gstreamer-1.0", "../" POSTEFFECT_PLUGIN_DIR}) {
            gst_registry_scan_path(gst_registry_get(), (ProgramFolder() + folder).c_str());
        }
    }
}

bool HasElement(const char* factory) {
    const GstPointer<GstElementFactory> found(gst_element_factory_find(factory));
    return found != nullptr;
}

GstElement* MakeElement(const char* factory, const char* name) {
    GstElement* element = gst_element_factory_make(factory, name);
    if (element == nullptr) {
        throw Failure(kExitPluginMissing, std::string("GStreamer element ") + factory,
                      std::string("is missing: apt-get install ") + PackageOf(factory));
    }
    return element;
}

void SetEffect(GstElement* element, const ChosenEffect& chosen) {
    gst_util_set_object_arg(G_OBJECT(element), "effect", chosen.effect->nick);
    for (std::size_t i = 0; i < chosen.values.size(); ++i) {
        const EffectOption& option = chosen.effect->options.first[i];
        const std::string name = option.name;
        const OptionValue& value = chosen.values[i];
        if (IsPoint(option)) {
            g_object_set(element, (name + "-x").c_str(), value.x, (name + "-y").c_str(), value.y,
                         nullptr);
        } else if (option.choices != nullptr) {
            g_object_set(element, name.c_str(), static_cast<gint>(value.x), nullptr);
        } else {
            g_object_set(element, name.c_str(), value.x, nullptr);
        }
    }
}

MediaPipeline::MediaPipeline(std::string name, std::string output)
    : m_name(std::move(name)),
      m_output(std::move(output)),
      m_pipeline(GST_ELEMENT(gst_object_ref_sink(gst_pipeline_new(nullptr)))),
      m_loop(g_main_loop_new(nullptr, FALSE)) {}

MediaPipeline::~MediaPipeline() {
    gst_element_set_state(m_pipeline.get(), GST_STATE_NULL);
    m_pipeline.reset();
    g_main_loop_unref(m_loop);
}

GstElement* MediaPipeline::append(GstElement* previous, GstElement* element) {
    gst_bin_add(bin(), element);
    if (previous != nullptr && !gst_element_link(previous, element)) {
        const Text from(gst_element_get_name(previous));
        const Text to(gst_element_get_name(element));
        throw Failure(kExitSomeFailed, m_name,
                      std::string("the pipeline's ") + from.get() + " does not fit " + to.get());
    }
    return element;
}

void MediaPipeline::post(std::function<void()> work) {
    auto* boxed = new std::function<void()>(std::move(work));
    g_idle_add_full(
        G_PRIORITY_DEFAULT,
        [](gpointer data) -> gboolean {
            (*static_cast<std::function<void()>*>(data))();
            return G_SOURCE_REMOVE;
        },
        boxed, [](gpointer data) { delete static_cast<std::function<void()>*>(data); });
}

void MediaPipeline::fail(const Failure& failure) {
    post([this, failure] {
        if (m_failure == nullptr) m_failure = std::make_unique<Failure>(failure);
        quit();
    });
}

void MediaPipeline::finish() {
    gst_element_send_event(m_pipeline.get(), gst_event_new_eos());
}

void MediaPipeline::quit() {
    g_main_loop_quit(m_loop);
}

gboolean MediaPipeline::OnMessage(GstBus*, GstMessage* message, gpointer self) {
    static_cast<MediaPipeline*>(self)->handle(message);
    return G_SOURCE_CONTINUE;
}

gboolean MediaPipeline::OnTick(gpointer self) {
    const auto& tick = static_cast<MediaPipeline*>(self)->onTick;
    if (tick) tick();
    return G_SOURCE_CONTINUE;
}

gboolean MediaPipeline::OnSignal(gpointer self) {
    auto* const pipeline = static_cast<MediaPipeline*>(self);
    // An end of the stream where nothing has come through yet is lost, or taken for a fault.
    if (++pipeline->m_signals == 1 && pipeline->hasBegun()) {
        pipeline->finish();
    } else {
        pipeline->quit();
    }
    return G_SOURCE_CONTINUE;
}

void MediaPipeline::handle(GstMessage* message) {
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS) {
        quit();
    } else if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
        handleError(message);
    } else if (gst_is_missing_plugin_message(message)) {
        m_missing = Text(gst_missing_plugin_message_get_description(message)).get();
    }
}

void MediaPipeline::handleError(GstMessage* message) {
    GError* error = nullptr;
    gst_message_parse_error(message, &error, nullptr);
    const std::string text = error->message;
    const bool noRoom =
        g_error_matches(error, GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_NO_SPACE_LEFT) ||
        g_error_matches(error, GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_WRITE);
    const bool isDamaged = error->domain == GST_STREAM_ERROR;
    const bool isAtSink = GST_OBJECT_FLAG_IS_SET(GST_MESSAGE_SRC(message), GST_ELEMENT_FLAG_SINK);
    const bool isOurs = g_str_has_prefix(GST_OBJECT_NAME(GST_MESSAGE_SRC(message)), kElement);
    g_clear_error(&error);
    if (!m_missing.empty()) {
        fail({kExitPluginMissing, m_name,
              "needs a " + m_missing +
                  ": apt-get install gstreamer1.0-libav gstreamer1.0-plugins-bad "
                  "gstreamer1.0-plugins-ugly"});
    } else if (noRoom) {
        fail({kExitCannotWrite, m_output, text + " Make room, or choose another place."});
    } else if (isAtSink) {
        fail({kExitCannotWrite, m_output, text});
    } else if (isOurs) {
        fail({kExitSomeFailed, m_name, text});
    } else {
        fail({kExitUnreadable, m_name,
              isDamaged ? text + " It may be cut short or damaged." : text});
    }
}

bool MediaPipeline::run() {
    GstBus* bus = gst_element_get_bus(m_pipeline.get());
    const guint watch = gst_bus_add_watch(bus, OnMessage, this);
    gst_object_unref(bus);
    const guint tick = g_timeout_add(kTickMilliseconds, OnTick, this);
    struct Ending {
        int signal;
        guint source;
        struct sigaction before;
    };
    std::array<Ending, 3> endings{{{SIGINT, 0, {}}, {SIGTERM, 0, {}}, {SIGHUP, 0, {}}}};
    for (Ending& ending : endings) {
        sigaction(ending.signal, nullptr, &ending.before);
        // Who starts us with a signal ignored (nohup) wants it ignored.
        if (ending.before.sa_handler == SIG_IGN) continue;
        ending.source = g_unix_signal_add(ending.signal, OnSignal, this);
    }
    if (gst_element_set_state(m_pipeline.get(), GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE) {
        // The reason comes as a message; this is for the case that none does.
        g_timeout_add_seconds(
            2,
            [](gpointer self) -> gboolean {
                auto* const pipeline = static_cast<MediaPipeline*>(self);
                pipeline->fail({kExitSomeFailed, pipeline->m_name, "the pipeline does not start"});
                return G_SOURCE_REMOVE;
            },
            this);
    }
    g_main_loop_run(m_loop);
    for (const Ending& ending : endings) {
        if (ending.source == 0) continue;
        g_source_remove(ending.source);
        sigaction(ending.signal, &ending.before, nullptr);
    }
    g_source_remove(tick);
    g_source_remove(watch);
    gst_element_set_state(m_pipeline.get(), GST_STATE_NULL);
    if (m_failure != nullptr) throw *m_failure;
    return m_signals < 2;
}

}  // namespace posteffect
