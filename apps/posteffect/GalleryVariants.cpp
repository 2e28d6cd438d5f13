#include "apps/posteffect/GalleryVariants.h"

#include <cstddef>
#include <string_view>

#include "apps/posteffect/OptionText.h"

namespace posteffect {
namespace {

// Numbers that change a picture's look rather than its place, and values that show it.
struct NumericVariants {
    const char* nick;
    const char* option;
    std::vector<const char*> values;
};

const std::vector<NumericVariants>& NumericTable() {
    static const std::vector<NumericVariants> table = {
        {"dof", "strength", {"40", "100"}},
        {"fisheye", "strength", {"0", "60", "100"}},
        {"vignette", "strength", {"0", "50", "100"}},
        {"dots", "cells", {"30", "68"}},
        {"tilt-shift", "angle", {"0", "90"}},
        {"split-toning", "tone", {"0", "25", "50", "75", "100"}},
    };
    return table;
}

std::vector<std::string> Settings(const EffectInfo& effect, const EffectOption& option) {
    if (option.choices) return Choices(option);
    for (const NumericVariants& row : NumericTable()) {
        if (std::string_view(row.nick) == effect.nick &&
            std::string_view(row.option) == option.name) {
            return {row.values.begin(), row.values.end()};
        }
    }
    return {};
}

}  // namespace

std::vector<GalleryVariant> GalleryVariants() {
    std::vector<GalleryVariant> variants;
    for (const EffectInfo& effect : kEffects) {
        GalleryVariant plain;
        plain.effect = &effect;
        plain.values = DefaultValues(effect);
        plain.arguments = std::string("--effect ") + effect.nick;
        const std::size_t before = variants.size();
        for (std::size_t i = 0; i < effect.options.count; ++i) {
            const EffectOption& option = effect.options.first[i];
            for (const std::string& setting : Settings(effect, option)) {
                GalleryVariant variant = plain;
                variant.values[i] = ParseOptionValue(option, setting);
                variant.arguments += std::string(" --") + option.name + " " + setting;
                variant.setting = setting;
                variants.push_back(variant);
            }
        }
        if (variants.size() == before) variants.push_back(plain);
    }
    return variants;
}

}  // namespace posteffect
