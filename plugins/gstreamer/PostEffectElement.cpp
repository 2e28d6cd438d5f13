#include "plugins/gstreamer/PostEffectElement.h"

#include <gst/video/gstvideofilter.h>
#include <gst/video/video.h>
#include <posteffect/PostEffect.h>
#include <posteffect/Renderer.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <new>
#include <sstream>
#include <string>

#include "apps/common/FrameFilter.h"
#include "plugins/gstreamer/ElementProperties.h"

namespace {

using posteffect::ColorMatrix;
using posteffect::ColorRange;
using posteffect::ElementProperties;
using posteffect::ElementProperty;
using posteffect::FrameColor;
using posteffect::FrameCrop;
using posteffect::FrameFilter;
using posteffect::FrameView;
using posteffect::kEffectBypass;
using posteffect::kEffects;
using posteffect::PropertyKind;
using posteffect::RawGroups;

GST_DEBUG_CATEGORY_STATIC(postEffectDebug);
#define GST_CAT_DEFAULT postEffectDebug

// Colorimetry is left out: whatever it is, it is kept.
constexpr const char* kCaps =
    "video/x-raw, format = (string) { NV21, NV12, I420, YV12 }, width = (int) [ 1, 16384 ], "
    "height = (int) [ 1, 16384 ], framerate = (fraction) [ 0, max ]";

constexpr int kTallestOfStandardDefinition = 576;  // rows

// What the element holds beyond GStreamer's own. The properties may be set from any thread; frames
// come on one.
struct State {
    std::mutex mutex;
    int effect = kEffectBypass;
    posteffect::OptionSettings options;
    std::string group0, group1, crop;
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
    for (std::size_t i = 0; i < kCount; ++i) {
        char comma = ',';
        if (i > 0 && !(stream >> comma)) return std::nullopt;
        if (comma != ',' || !(stream >> numbers[i])) return std::nullopt;
    }
    std::string rest;
    if (stream >> rest) return std::nullopt;
    return numbers;
}

// For a group that stands empty or wrong, what the options make.
std::optional<std::array<int, 4>> Group(GstElement* element, const char* name,
                                        const std::string& text) {
    if (text.empty()) return std::nullopt;
    const auto numbers = ParseNumbers<int, 4>(text);
    if (!numbers) GST_WARNING_OBJECT(element, "%s=%s is not a,b,c,d", name, text.c_str());
    return numbers;
}

FrameCrop Crop(GstElement* element, const std::string& text) {
    if (text.empty()) return {};
    const auto numbers = ParseNumbers<double, 4>(text);
    if (!numbers || (*numbers)[0] < 0.0 || (*numbers)[1] < 0.0 || (*numbers)[2] <= 0.0 ||
        (*numbers)[3] <= 0.0 || (*numbers)[0] + (*numbers)[2] > 1.0001 ||
        (*numbers)[1] + (*numbers)[3] > 1.0001) {
        GST_WARNING_OBJECT(element, "crop=%s is not x,y,width,height inside the frame",
                           text.c_str());
        return {};
    }
    return {(*numbers)[0], (*numbers)[1], (*numbers)[2], (*numbers)[3]};
}

FrameColor ColorOf(const GstVideoInfo& info) {
    FrameColor color;
    color.range = info.colorimetry.range == GST_VIDEO_COLOR_RANGE_0_255 ? ColorRange::kFull
                                                                        : ColorRange::kLimited;
    switch (info.colorimetry.matrix) {
        case GST_VIDEO_COLOR_MATRIX_BT709:
            color.matrix = ColorMatrix::kBt709;
            break;
        case GST_VIDEO_COLOR_MATRIX_BT2020:
            color.matrix = ColorMatrix::kBt2020;
            break;
        case GST_VIDEO_COLOR_MATRIX_UNKNOWN:
            color.matrix = info.height > kTallestOfStandardDefinition ? ColorMatrix::kBt709
                                                                      : ColorMatrix::kBt601;
            break;
        default:
            color.matrix = ColorMatrix::kBt601;
            break;
    }
    return color;
}

std::string RendererText() {
    PostEffectRenderer renderer{};
    if (describeRenderer(&renderer) != 0) return "none";
    return std::string(renderer.renderer) + ", " + renderer.version + ", " + renderer.platform;
}

// Frames of effect none go by without being touched or mapped.
void SetPassthrough(gpointer element) {
    gst_base_transform_set_passthrough(GST_BASE_TRANSFORM(element),
                                       StateOf(element).effect == kEffectBypass);
}

void SetProperty(GObject* object, guint id, const GValue* value, GParamSpec*) {
    State& state = StateOf(object);
    {
        const std::lock_guard<std::mutex> lock(state.mutex);
        state.changed = true;
        const auto text = [value] {
            const gchar* given = g_value_get_string(value);
            return std::string(given != nullptr ? given : "");
        };
        switch (ElementProperties()[id - 1].kind) {
            case PropertyKind::kEffect:
                state.effect = g_value_get_enum(value);
                break;
            case PropertyKind::kOption:
            case PropertyKind::kPointX:
            case PropertyKind::kPointY:
                state.options.set(id, G_VALUE_HOLDS_ENUM(value) ? g_value_get_enum(value)
                                                                : g_value_get_double(value));
                break;
            case PropertyKind::kGroup0:
                state.group0 = text();
                break;
            case PropertyKind::kGroup1:
                state.group1 = text();
                break;
            case PropertyKind::kCrop:
                state.crop = text();
                break;
            case PropertyKind::kRenderer:
            case PropertyKind::kStats:
                break;
        }
    }
    SetPassthrough(object);
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
            g_value_set_string(value, state.group0.c_str());
            break;
        case PropertyKind::kGroup1:
            g_value_set_string(value, state.group1.c_str());
            break;
        case PropertyKind::kCrop:
            g_value_set_string(value, state.crop.c_str());
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
void Apply(GstElement* element, State* state) {
    const std::lock_guard<std::mutex> lock(state->mutex);
    if (!state->changed) return;
    state->changed = false;
    const posteffect::EffectInfo& effect = kEffects[static_cast<std::size_t>(state->effect)];
    state->filter->setEffect(effect, state->options.valuesFor(effect));
    RawGroups groups;
    groups.group0 = Group(element, "param0", state->group0);
    groups.group1 = Group(element, "param1", state->group1);
    state->filter->setRawGroups(groups);
    state->filter->setCrop(Crop(element, state->crop));
}

GstFlowReturn TransformInPlace(GstBaseTransform* base, GstBuffer* buffer) {
    State& state = StateOf(base);
    Apply(GST_ELEMENT(base), &state);
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
    const int status = state.filter->process(view, ColorOf(info));
    const auto end = std::chrono::steady_clock::now();
    gst_video_frame_unmap(&frame);
    const std::lock_guard<std::mutex> lock(state.mutex);
    ++state.frames;
    state.spent += end - begin;
    if (status == kPostEffectOk) return GST_FLOW_OK;
    ++state.failed;
    GST_ELEMENT_ERROR(
        base, LIBRARY, FAILED,
        ("The effect %s cannot be applied to frames of %dx%d.",
         kEffects[static_cast<std::size_t>(state.effect)].nick, view.width, view.height),
        ("status %d: no GPU, its look-up files missing, or the frames too large; posteffect doctor "
         "tells more",
         status));
    return GST_FLOW_ERROR;
}

void Finalize(GObject* object);

GObjectClass* gParentClass = nullptr;

void InitClass(gpointer klass, gpointer) {
    GST_DEBUG_CATEGORY_INIT(postEffectDebug, "posteffect", 0, "effects on raw video");
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
    reinterpret_cast<Element*>(instance)->state = new State;
    gst_base_transform_set_in_place(GST_BASE_TRANSFORM(instance), TRUE);
    SetPassthrough(instance);
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
