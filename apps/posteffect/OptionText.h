// The values of options as people type them.
#pragma once

#include <string>
#include <vector>

#include "apps/common/EffectParameters.h"
#include "apps/posteffect/Geometry.h"

namespace posteffect {

// What stands for an option's value in help texts: "X,Y" for points, else the name's first letter.
std::string ValueName(const EffectOption& option);

// The names of a choice in the order of their values; none for numbers and points.
std::vector<std::string> Choices(const EffectOption& option);

// "0..1", "0..1 each", "cross|cold".
std::string RangeText(const EffectOption& option);

// The option's default as one would type it.
std::string DefaultText(const EffectOption& option);

// All of these throw Failure (wrong use) that names the option and what it takes.
OptionValue ParseOptionValue(const EffectOption& option, const std::string& text);
// WIDTHxHEIGHT, both even.
Size ParseEvenSize(const std::string& option, const std::string& text);
Size ParseBlock(const std::string& text);
Size ParseSize(const std::string& option, const std::string& text);  // "640x480", any sides
Part ParseCrop(const std::string& text);
int ParseWhole(const std::string& option, const std::string& text, int minimum, int maximum);
int ParseQuality(const std::string& text);

}  // namespace posteffect
