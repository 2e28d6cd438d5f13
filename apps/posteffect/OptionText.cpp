#include "apps/posteffect/OptionText.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <sstream>

#include "apps/posteffect/Failure.h"
#include "apps/posteffect/NearestName.h"

namespace posteffect {
namespace {

constexpr int kMaximumBlock = 16384;

Failure WrongValue(const std::string& option, const std::string& text, const std::string& takes) {
    return {kExitWrongUse, "--" + option + " " + text, "takes " + takes};
}

// All numbers of a list like "1,2,3"; none when anything else is in it.
template <typename Number>
std::optional<std::vector<Number>> ParseNumbers(const std::string& text, char separator) {
    std::vector<Number> numbers;
    const char* at = text.data();
    const char* const end = at + text.size();
    for (;;) {
        Number number{};
        const std::from_chars_result result = std::from_chars(at, end, number);
        if (result.ec != std::errc()) return std::nullopt;
        numbers.push_back(number);
        if (result.ptr == end) return numbers;
        if (*result.ptr != separator) return std::nullopt;
        at = result.ptr + 1;
    }
}

std::string NumberText(double number) {
    char text[32];
    std::snprintf(text, sizeof(text), "%g", number);
    return text;
}

OptionValue ParseChoice(const EffectOption& option, const std::string& text) {
    const std::vector<std::string> choices = Choices(option);
    const auto found = std::find(choices.begin(), choices.end(), text);
    if (found == choices.end()) {
        const std::string nearest = NearestName(text, choices);
        throw WrongValue(
            option.name, text,
            JoinNames(choices, "or") + (nearest.empty() ? "" : ": did you mean " + nearest + "?"));
    }
    return {static_cast<double>(found - choices.begin()), 0.0};
}

}  // namespace

std::string ValueName(const EffectOption& option) {
    if (IsPoint(option)) return "X,Y";
    return {static_cast<char>(std::toupper(static_cast<unsigned char>(option.name[0])))};
}

std::vector<std::string> Choices(const EffectOption& option) {
    std::vector<std::string> choices;
    std::istringstream names(option.choices ? option.choices : "");
    for (std::string name; std::getline(names, name, '|');) choices.push_back(name);
    return choices;
}

std::string RangeText(const EffectOption& option) {
    if (option.choices) return option.choices;
    return NumberText(option.minimum) + ".." + NumberText(option.maximum) +
           (IsPoint(option) ? " each" : "");
}

std::string DefaultText(const EffectOption& option) {
    if (option.choices) return Choices(option)[static_cast<std::size_t>(option.defaultValue)];
    const std::string text = NumberText(option.defaultValue);
    return IsPoint(option) ? text + "," + text : text;
}

OptionValue ParseOptionValue(const EffectOption& option, const std::string& text) {
    if (option.choices) return ParseChoice(option, text);
    const std::size_t count = IsPoint(option) ? 2 : 1;
    const auto numbers = ParseNumbers<double>(text, ',');
    bool valid = numbers && numbers->size() == count;
    for (std::size_t i = 0; valid && i < count; ++i) {
        // Written so that "nan" fails.
        valid = (*numbers)[i] >= option.minimum && (*numbers)[i] <= option.maximum;
    }
    if (!valid) {
        throw WrongValue(option.name, text,
                         (IsPoint(option) ? "two numbers X,Y, " : "a number, ") +
                             RangeText(option) + ", such as " + DefaultText(option));
    }
    return {(*numbers)[0], numbers->back()};
}

Size ParseEvenSize(const std::string& option, const std::string& text) {
    const auto numbers = ParseNumbers<int>(text, 'x');
    bool valid = numbers && numbers->size() == 2;
    for (std::size_t i = 0; valid && i < 2; ++i) {
        const int side = (*numbers)[i];
        valid = side >= 2 && side <= kMaximumBlock && side % 2 == 0;
    }
    if (!valid) {
        throw WrongValue(option, text,
                         "WIDTHxHEIGHT in pixels, both even, 2.." + std::to_string(kMaximumBlock) +
                             ", such as 1024x768");
    }
    return {(*numbers)[0], (*numbers)[1]};
}

Size ParseBlock(const std::string& text) {
    return ParseEvenSize("block", text);
}

Size ParseSize(const std::string& option, const std::string& text) {
    const auto numbers = ParseNumbers<int>(text, 'x');
    const auto possible = [](int side) { return side >= 1 && side <= kMaximumBlock; };
    if (!numbers || numbers->size() != 2 || !possible((*numbers)[0]) || !possible((*numbers)[1])) {
        throw WrongValue(option, text, "WIDTHxHEIGHT in pixels, such as 1280x720");
    }
    return {(*numbers)[0], (*numbers)[1]};
}

Part ParseCrop(const std::string& text) {
    const auto numbers = ParseNumbers<double>(text, ',');
    constexpr double kEdge = 1.0 + 1e-9;  // three thirds are a whole
    // Written so that "nan" fails.
    const auto inside = [](double begin, double length) {
        return begin >= 0.0 && length > 0.0 && begin + length <= kEdge;
    };
    if (!numbers || numbers->size() != 4 || !inside((*numbers)[0], (*numbers)[2]) ||
        !inside((*numbers)[1], (*numbers)[3])) {
        throw WrongValue("crop", text,
                         "X,Y,WIDTH,HEIGHT, fractions of the upright picture that stay inside it, "
                         "such as 0.25,0.25,0.5,0.5");
    }
    return {(*numbers)[0], (*numbers)[1], (*numbers)[2], (*numbers)[3]};
}

int ParseWhole(const std::string& option, const std::string& text, int minimum, int maximum) {
    const auto numbers = ParseNumbers<int>(text, ',');
    if (!numbers || numbers->size() != 1 || numbers->front() < minimum ||
        numbers->front() > maximum) {
        throw WrongValue(
            option, text,
            "a whole number, " + std::to_string(minimum) + ".." + std::to_string(maximum));
    }
    return numbers->front();
}

int ParseQuality(const std::string& text) {
    return ParseWhole("quality", text, 1, 100);
}

}  // namespace posteffect
