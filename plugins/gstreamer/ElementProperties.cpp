#include "plugins/gstreamer/ElementProperties.h"

#include <gst/gst.h>

#include <algorithm>
#include <locale>
#include <map>
#include <sstream>

namespace posteffect {
namespace {

constexpr double kEffectsOwn = -1.0;  // no option that has a default of its own reaches it

// All that the effects say of options of one name.
struct OptionSummary {
    const EffectOption* first = nullptr;
    double minimum = 0.0;
    double maximum = 0.0;
    std::string blurb;
};

std::string NumberText(double number) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << number;
    return text.str();
}

std::map<std::string, OptionSummary> Summaries() {
    std::map<std::string, OptionSummary> summaries;
    for (const EffectInfo& effect : kEffects) {
        for (const EffectOption& option : effect.options) {
            OptionSummary& summary = summaries[option.name];
            if (summary.first == nullptr) {
                summary = {&option, option.minimum, option.maximum, ""};
            }
            summary.minimum = std::min(summary.minimum, option.minimum);
            summary.maximum = std::max(summary.maximum, option.maximum);
            if (!summary.blurb.empty()) summary.blurb += "; ";
            summary.blurb += std::string(effect.nick) + ": " + option.help;
            if (option.choices == nullptr) {
                summary.blurb += std::string(" (") + option.unit + ", " +
                                 NumberText(option.minimum) + ".." + NumberText(option.maximum) +
                                 ", its default " + NumberText(option.defaultValue) + ")";
            }
            if (option.target == OptionTarget::kBandAngle) {
                summary.blurb += ", of all elements in the process";
            }
        }
    }
    return summaries;
}

constexpr GParamFlags Flags(int flags) {
    return static_cast<GParamFlags>(flags | G_PARAM_STATIC_STRINGS);
}

// Changeable and controllable while the pipeline plays.
constexpr GParamFlags kLive =
    Flags(G_PARAM_READWRITE | GST_PARAM_CONTROLLABLE | GST_PARAM_MUTABLE_PLAYING);

// Types and names live as long as the process.
const gchar* Kept(const std::string& text) {
    return g_intern_string(text.c_str());
}

GType EffectEnum() {
    static const GType kType = [] {
        static std::vector<GEnumValue> values;
        values.reserve(kEffectCount + 1);
        for (const EffectInfo& effect : kEffects) {
            values.push_back({effect.number, effect.name, effect.nick});
        }
        values.push_back({0, nullptr, nullptr});
        return g_enum_register_static("GstPostEffectEffect", values.data());
    }();
    return kType;
}

GType ChoiceEnum(const EffectOption& option) {
    static std::map<std::string, std::vector<GEnumValue>> tables;
    std::vector<GEnumValue>& values = tables[option.name];
    values.push_back({static_cast<gint>(kEffectsOwn), "the effect's default", "auto"});
    std::istringstream names(option.choices);
    gint value = 0;
    for (std::string name; std::getline(names, name, '|'); ++value) {
        values.push_back({value, Kept(name), Kept(name)});
    }
    values.push_back({0, nullptr, nullptr});
    return g_enum_register_static(Kept("GstPostEffect-" + std::string(option.name)), values.data());
}

GParamSpec* OptionProperty(const std::string& name, const OptionSummary& summary) {
    const gchar* blurb = Kept(summary.blurb + (summary.minimum >= 0.0 ? "; -1: its default" : ""));
    if (summary.first->choices != nullptr) {
        return g_param_spec_enum(Kept(name), Kept(name), Kept(summary.blurb),
                                 ChoiceEnum(*summary.first), static_cast<gint>(kEffectsOwn), kLive);
    }
    // Options that go below zero have one default for all effects.
    const bool signedRange = summary.minimum < 0.0;
    return g_param_spec_double(Kept(name), Kept(name), blurb,
                               signedRange ? summary.minimum : kEffectsOwn, summary.maximum,
                               signedRange ? summary.first->defaultValue : kEffectsOwn, kLive);
}

GParamSpec* PointProperty(const std::string& name, const char* axis, const OptionSummary& summary) {
    const gchar* full = Kept(name + "-" + axis);
    return g_param_spec_double(full, full, Kept(summary.blurb + "; -1: its default"), kEffectsOwn,
                               summary.maximum, kEffectsOwn, kLive);
}

GParamSpec* TextProperty(const char* name, const char* blurb) {
    return g_param_spec_string(name, name, blurb, nullptr, kLive);
}

GParamSpec* MakeProperty(const ElementProperty& property,
                         const std::map<std::string, OptionSummary>& summaries) {
    switch (property.kind) {
        case PropertyKind::kEffect:
            return g_param_spec_enum("effect", "effect", "what is done to the frames", EffectEnum(),
                                     kEffectBypass, kLive);
        case PropertyKind::kOption:
            return OptionProperty(property.option, summaries.at(property.option));
        case PropertyKind::kPointX:
            return PointProperty(property.option, "x", summaries.at(property.option));
        case PropertyKind::kPointY:
            return PointProperty(property.option, "y", summaries.at(property.option));
        case PropertyKind::kGroup0:
            return TextProperty("param0",
                                "the first parameter group as the library takes it, a,b,c,d, "
                                "instead of what the options make");
        case PropertyKind::kGroup1:
            return TextProperty("param1",
                                "the second parameter group: a point and another on a grid "
                                "of 960 x 544, a,b,c,d, instead of what the options make");
        case PropertyKind::kCrop:
            return TextProperty("crop",
                                "the part of the frame that is shown, enlarged to all of it: "
                                "x,y,width,height, fractions of the frame");
        case PropertyKind::kRenderer:
            return g_param_spec_string("renderer", "renderer", "what the library renders with",
                                       nullptr, Flags(G_PARAM_READABLE));
        case PropertyKind::kStats:
            break;
    }
    return g_param_spec_boxed("stats", "stats",
                              "frames, failed, average-us: of the frames since the start",
                              GST_TYPE_STRUCTURE, Flags(G_PARAM_READABLE));
}

}  // namespace

const std::vector<ElementProperty>& ElementProperties() {
    static const std::vector<ElementProperty> kProperties = [] {
        std::vector<ElementProperty> properties = {{PropertyKind::kEffect, ""}};
        for (const auto& [name, summary] : Summaries()) {
            if (IsPoint(*summary.first)) {
                properties.push_back({PropertyKind::kPointX, name});
                properties.push_back({PropertyKind::kPointY, name});
            } else {
                properties.push_back({PropertyKind::kOption, name});
            }
        }
        for (const PropertyKind kind :
             {PropertyKind::kGroup0, PropertyKind::kGroup1, PropertyKind::kCrop,
              PropertyKind::kRenderer, PropertyKind::kStats}) {
            properties.push_back({kind, ""});
        }
        return properties;
    }();
    return kProperties;
}

void InstallProperties(GObjectClass* objectClass) {
    const auto summaries = Summaries();
    guint id = 0;
    for (const ElementProperty& property : ElementProperties()) {
        g_object_class_install_property(objectClass, ++id, MakeProperty(property, summaries));
    }
}

OptionSettings::OptionSettings() : m_values(ElementProperties().size(), kEffectsOwn) {
    const auto summaries = Summaries();
    for (std::size_t i = 0; i < m_values.size(); ++i) {
        const auto found = summaries.find(ElementProperties()[i].option);
        if (found != summaries.end() && found->second.minimum < 0.0) {
            m_values[i] = found->second.first->defaultValue;
        }
    }
}

void OptionSettings::set(guint property, double value) {
    m_values[property - 1] = value;
}

OptionValues OptionSettings::valuesFor(const EffectInfo& effect) const {
    OptionValues values = DefaultValues(effect);
    const auto& properties = ElementProperties();
    for (std::size_t i = 0; i < properties.size(); ++i) {
        for (std::size_t k = 0; k < effect.options.count; ++k) {
            const EffectOption& option = effect.options.first[k];
            if (properties[i].option != option.name) continue;
            const bool own = option.minimum >= 0.0 && m_values[i] < 0.0;
            if (own) continue;
            const double value = std::clamp(m_values[i], option.minimum, option.maximum);
            (properties[i].kind == PropertyKind::kPointY ? values[k].y : values[k].x) = value;
        }
    }
    return values;
}

}  // namespace posteffect
