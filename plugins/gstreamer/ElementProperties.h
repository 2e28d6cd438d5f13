// The element's properties, made from the table of effects: one for each name of an option, two for
// a point, beside those of the element itself.
#pragma once

#include <glib-object.h>
#include <posteffect/EffectCatalog.h>

#include <string>
#include <vector>

#include "apps/common/EffectParameters.h"

namespace posteffect {

enum class PropertyKind {
    kEffect,
    kOption,  // a number or a choice
    kPointX,
    kPointY,
    kGroup0,
    kGroup1,
    kCrop,
    kRenderer,
    kStats,
};

struct ElementProperty {
    PropertyKind kind;
    std::string option;  // its name in the table of effects; empty for the element's own
};

// Property n of the class is row n - 1.
const std::vector<ElementProperty>& ElementProperties();

// Installs all of them.
void InstallProperties(GObjectClass* objectClass);

// What has been set, by the row of its property. Options that have not been set are the effect's
// own defaults.
class OptionSettings {
  public:
    OptionSettings();

    // From the element's properties' values; those that stand for "the effect's default" reset.
    void set(guint property, double value);
    double get(guint property) const { return m_values[property - 1]; }
    // For this effect.
    OptionValues valuesFor(const EffectInfo& effect) const;

  private:
    std::vector<double> m_values;
};

}  // namespace posteffect
