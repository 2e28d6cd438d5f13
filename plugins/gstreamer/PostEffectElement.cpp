#include "plugins/gstreamer/PostEffectElement.h"

#include <gst/video/gstvideofilter.h>
#include <gst/video/video.h>
#include <posteffect/PostEffect.h>
#include <posteffect/Renderer.h>

#include <array>
#include <chrono>
#include <locale>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>

#include "apps/common/FrameFilter.h"
#include "apps/common/GstFrameColor.h"
#include "apps/common/TrialFrame.h"
#include "plugins/gstreamer/ElementProperties.h"

namespace {

using posteffect::EffectInfo;
using posteffect::ElementProperties;
using posteffect::ElementProperty;
using posteffect::FrameCrop;
using posteffect::FrameFilter;
using posteffect::FrameView;
using posteffect::kEffectBypass;
using posteffect::kEffects;
using posteffect::PropertyKind;
using posteffect::RawGroups;

// Colorimetry is left out: whatever it is, it is kept.
constexpr const char* kCaps =
    "video/x-raw, format = (string) { NV21, NV12, I420, YV12 }, width = (int) [ 1, 16384 ], "
    "height = (int) [ 1, 16384 ], framerate = (fraction) [ 0, max ]";

// What the element holds beyond GStreamer's own. The properties may be set from any thread; frames
// come on one.
struct State {
    std::mutex mutex;
    int effect = kEffectBypass;
    posteffect::OptionSettings options;
    std::string group0Text, group1Text, cropText;  // as they were set
    RawGroups groups;                              // what they mean
    FrameCrop crop;
    bool changed = true;  // since the last frame
    guint64 frames = 0;
    guint64 failed = 0;
    std::chrono::nanoseconds spent{0};

    std::unique_ptr<FrameFilter> filter;  // from start to stop
};

struct Element {
    GstVideoFilter parent;
    State* state;
};

struct ElementClass {
    GstVideoFilterClass parent;
};

State& StateOf(gpointer element) {
    return *static_cast<Element*>(element)->state;
}

// Exactly kCount numbers with commas between them.
template <typename Number, std::size_t kCount>
std::optional<std::array<Number, kCount>> ParseNumbers(const std::string& text) {
    std::array<Number, kCount> numbers{};
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    for (std::size_t i = 0; i < kCount; ++i) {
        char comma = ',';
        if (i > 0 && !(stream >> comma)) return std::nullopt;
        if (comma != ',' || !(stream >> numbers[i])) return std::nullopt;
    }
    std::string rest;
    if (stream >> rest) return std::nullopt;
    return numbers;
}

// Both: what is malformed is reported and counts as empty. An empty group is what the options make,
// an empty crop all of the frame.
std::optional<std::array<int, 4>> Group(const char* name, const std::string& text) {
    const auto numbers = ParseNumbers<int, 4>(text);
    if (!numbers && !text.empty()) {
        g_warning("posteffect: %s=%s is not a,b,c,d and is ignored", name, text.c_str());
    }
    return numbers;
}

FrameCrop Crop(const std::string& text) {
    constexpr double kLargest = 1.0001;  // thirds, as people write them, still fit
    const auto numbers = ParseNumbers<double, 4>(text);
    if (numbers) {
        const auto [x, y, width, height] = *numbers;
        if (x >= 0.0 && y >= 0.0 && width > 0.0 && height > 0.0 && x + width <= kLargest &&
            y + height <= kLargest) {
            return {x, y, width, height};
        }
    }
    if (!text.empty()) {
        g_warning("posteffect: crop=%s is not x,y,width,height inside the frame and is ignored",
                  text.c_str());
    }
    return {};
}

std::string RendererText() {
    PostEffectRenderer renderer{};
    if (describeRenderer(&renderer) != 0) return "none";
    return std::string(renderer.renderer) + ", " + renderer.version + ", " + renderer.platform;
}

// Frames of effect none go by without being touched or mapped. Under the lock: of two threads the
// last one to set the effect also decides on this.
void SetEffect(GstBaseTransform* base, State* state, int effect) {
    state->effect = effect;
    gst_base_transform_set_passthrough(base, effect == kEffectBypass);
}

void SetProperty(GObject* object, guint id, const GValue* value, GParamSpec*) {
    State& state = StateOf(object);
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.changed = true;
    const auto text = [value] {
        const gchar* given = g_value_get_string(value);
        return std::string(given != nullptr ? given : "");
    };
    switch (ElementProperties()[id - 1].kind) {
        case PropertyKind::kEffect:
            SetEffect(GST_BASE_TRANSFORM(object), &state, g_value_get_enum(value));
            break;
        case PropertyKind::kOption:
        case PropertyKind::kPointX:
        case PropertyKind::kPointY:
            state.options.set(id, G_VALUE_HOLDS_ENUM(value) ? g_value_get_enum(value)
                                                            : g_value_get_double(value));
            break;
        case PropertyKind::kGroup0:
            state.group0Text = text();
            state.groups.group0 = Group("param0", state.group0Text);
            break;
        case PropertyKind::kGroup1:
            state.group1Text = text();
            state.groups.group1 = Group("param1", state.group1Text);
            break;
        case PropertyKind::kCrop:
            state.cropText = text();
            state.crop = Crop(state.cropText);
            break;
        case PropertyKind::kRenderer:
        case PropertyKind::kStats:
            break;
    }
}

void GetProperty(GObject* object, guint id, GValue* value, GParamSpec*) {
    State& state = StateOf(object);
    const ElementProperty& property = ElementProperties()[id - 1];
    if (property.kind == PropertyKind::kRenderer) {
        g_value_set_string(value, RendererText().c_str());
        return;
    }
    const std::lock_guard<std::mutex> lock(state.mutex);
    switch (property.kind) {
        case PropertyKind::kEffect:
            g_value_set_enum(value, state.effect);
            break;
        case PropertyKind::kOption:
        case PropertyKind::kPointX:
        case PropertyKind::kPointY:
            if (G_VALUE_HOLDS_ENUM(value)) {
                g_value_set_enum(value, static_cast<gint>(state.options.get(id)));
            } else {
                g_value_set_double(value, state.options.get(id));
            }
            break;
        case PropertyKind::kGroup0:
            g_value_set_string(value, state.group0Text.c_str());
            break;
        case PropertyKind::kGroup1:
            g_value_set_string(value, state.group1Text.c_str());
            break;
        case PropertyKind::kCrop:
            g_value_set_string(value, state.cropText.c_str());
            break;
        case PropertyKind::kRenderer:
        case PropertyKind::kStats: {
            const double micro = static_cast<double>(state.spent.count()) / 1000.0;
            const double average =
                state.frames == 0 ? 0.0 : micro / static_cast<double>(state.frames);
            g_value_take_boxed(
                value, gst_structure_new("stats", "frames", G_TYPE_UINT64, state.frames, "failed",
                                         G_TYPE_UINT64, state.failed, "average-us", G_TYPE_DOUBLE,
                                         average, nullptr));
            break;
        }
    }
}

gboolean Start(GstBaseTransform* base) {
    State& state = StateOf(base);
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.filter = std::make_unique<FrameFilter>();
    state.changed = true;
    state.frames = state.failed = 0;
    state.spent = {};
    return TRUE;
}

gboolean Stop(GstBaseTransform* base) {
    State& state = StateOf(base);
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.filter.reset();
    return TRUE;
}

// Controlled properties take their values for the frame's time.
void BeforeTransform(GstBaseTransform* base, GstBuffer* buffer) {
    const GstClockTime time =
        gst_segment_to_stream_time(&base->segment, GST_FORMAT_TIME, GST_BUFFER_TIMESTAMP(buffer));
    if (GST_CLOCK_TIME_IS_VALID(time)) gst_object_sync_values(GST_OBJECT(base), time);
}

// What has been set since the last frame.
void Apply(State* state) {
    const std::lock_guard<std::mutex> lock(state->mutex);
    if (!state->changed) return;
    state->changed = false;
    const EffectInfo& effect = kEffects[static_cast<std::size_t>(state->effect)];
    state->filter->setEffect(effect, state->options.valuesFor(effect));
    state->filter->setRawGroups(state->groups);
    state->filter->setCrop(state->crop);
}

// Why the effect cannot be applied to frames of this size, and the way out.
std::string Fault(const EffectInfo& effect, int width, int height) {
    switch (posteffect::TryEffect(effect)) {
        case posteffect::TrialResult::kNoGpu:
            return "The GPU cannot be used. Install its driver; \"posteffect doctor\" tells more.";
        case posteffect::TrialResult::kNoLookUpFiles:
            return std::string("The look-up files of effect ") + effect.nick +
                   " are missing. Install them again (share/posteffect).";
        case posteffect::TrialResult::kWorks:
            break;
    }
    return "The GPU cannot filter frames of " + std::to_string(width) + "x" +
           std::to_string(height) + ". Make them smaller, with videoscale for example.";
}

GstFlowReturn TransformInPlace(GstBaseTransform* base, GstBuffer* buffer) {
    State& state = StateOf(base);
    Apply(&state);
    const GstVideoInfo& info = GST_VIDEO_FILTER(base)->in_info;
    GstVideoFrame frame;
    // Read here as well: the base class lets frames that it cannot map go by.
    const auto flags =
        static_cast<GstMapFlags>(GST_MAP_READWRITE | int{GST_VIDEO_FRAME_MAP_FLAG_NO_REF});
    if (!gst_video_frame_map(&frame, &info, buffer, flags)) {
        GST_ELEMENT_ERROR(base, RESOURCE, READ, ("The frame's memory cannot be written."),
                          ("the buffer could not be mapped"));
        return GST_FLOW_ERROR;
    }
    const auto plane = [&frame](guint component) {
        return GST_VIDEO_FRAME_COMP_DATA(&frame, component);
    };
    FrameView view;
    view.width = GST_VIDEO_FRAME_WIDTH(&frame);
    view.height = GST_VIDEO_FRAME_HEIGHT(&frame);
    view.luma = plane(0);
    view.lumaStride = GST_VIDEO_FRAME_COMP_STRIDE(&frame, 0);
    view.u = plane(1);
    view.v = plane(2);
    view.chromaStride = GST_VIDEO_FRAME_COMP_STRIDE(&frame, 1);
    view.chromaStep = GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, 1);
    const auto begin = std::chrono::steady_clock::now();
    const int status = state.filter->process(view, posteffect::ColorOf(info));
    const auto end = std::chrono::steady_clock::now();
    gst_video_frame_unmap(&frame);
    int effect = kEffectBypass;
    {
        const std::lock_guard<std::mutex> lock(state.mutex);
        ++state.frames;
        state.spent += end - begin;
        if (status == kPostEffectOk) return GST_FLOW_OK;
        ++state.failed;
        effect = state.effect;
    }
    const std::string fault =
        Fault(kEffects[static_cast<std::size_t>(effect)], view.width, view.height);
    GST_ELEMENT_ERROR(base, LIBRARY, FAILED, ("%s", fault.c_str()), ("status %d", status));
    return GST_FLOW_ERROR;
}

void Finalize(GObject* object);

GObjectClass* gParentClass = nullptr;

void InitClass(gpointer klass, gpointer) {
    auto* const objectClass = static_cast<GObjectClass*>(klass);
    gParentClass = G_OBJECT_CLASS(g_type_class_peek_parent(klass));
    objectClass->set_property = SetProperty;
    objectClass->get_property = GetProperty;
    objectClass->finalize = Finalize;
    posteffect::InstallProperties(objectClass);

    GstElementClass* const elementClass = GST_ELEMENT_CLASS(klass);
    gst_element_class_set_static_metadata(elementClass, "Post effect", "Filter/Effect/Video",
                                          "Applies GPU effects to raw video in place",
                                          "The posteffect developers");
    GstCaps* const caps = gst_caps_from_string(kCaps);
    for (const auto& [name, direction] : {std::pair{"sink", GST_PAD_SINK}, {"src", GST_PAD_SRC}}) {
        gst_element_class_add_pad_template(
            elementClass, gst_pad_template_new(name, direction, GST_PAD_ALWAYS, caps));
    }
    gst_caps_unref(caps);

    GstBaseTransformClass* const transformClass = GST_BASE_TRANSFORM_CLASS(klass);
    transformClass->start = Start;
    transformClass->stop = Stop;
    transformClass->before_transform = BeforeTransform;
    transformClass->transform_ip = TransformInPlace;
    transformClass->transform_ip_on_passthrough = FALSE;
}

void InitInstance(GTypeInstance* instance, gpointer) {
    auto* const state = new State;
    reinterpret_cast<Element*>(instance)->state = state;
    gst_base_transform_set_in_place(GST_BASE_TRANSFORM(instance), TRUE);
    SetEffect(GST_BASE_TRANSFORM(instance), state, kEffectBypass);
}

void Finalize(GObject* object) {
    delete reinterpret_cast<Element*>(object)->state;
    gParentClass->finalize(object);
}

}  // namespace

GType PostEffectElementType() {
    static const GType kType = g_type_register_static_simple(
        GST_TYPE_VIDEO_FILTER, "GstPostEffect", sizeof(ElementClass), InitClass, sizeof(Element),
        InitInstance, static_cast<GTypeFlags>(0));
    return kType;
}
