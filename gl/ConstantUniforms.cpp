#include "gl/ConstantUniforms.h"

#include <array>
#include <charconv>

namespace {

// Nine digits tell every float from its neighbours; the point makes it no whole number, and is a
// point whatever the process's locale.
std::string Literal(float value) {
    std::array<char, 32> text{};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value,
                                            std::chars_format::scientific, 8);
    return std::string(text.data(), end);
}

std::string Constructor(const ConstantUniform& constant, unsigned element) {
    std::string text = std::string(constant.type) + "(";
    for (unsigned i = 0; i < constant.components; ++i) {
        if (i != 0) text += ", ";
        text += Literal(constant.values[element * constant.components + i]);
    }
    return text + ")";
}

void ReplaceAll(std::string* text, const std::string& what, const std::string& by) {
    for (std::size_t at = text->find(what); at != std::string::npos;
         at = text->find(what, at + by.size())) {
        text->replace(at, what.size(), by);
    }
}

}  // namespace

std::string WithConstants(const char* text, const std::vector<ConstantUniform>& constants) {
    std::string result(text);
    for (const ConstantUniform& constant : constants) {
        const std::string name(constant.name);
        const std::string declared = "uniform " + std::string(constant.type) + " " + name;
        if (constant.count == 0) {
            ReplaceAll(&result, declared + ";",
                       "const " + std::string(constant.type) + " " + name + " = " +
                           Constructor(constant, 0) + ";");
            continue;
        }
        // The language has no constant arrays: the elements stand where they are used.
        ReplaceAll(&result, declared + "[" + std::to_string(constant.count) + "];", "");
        for (unsigned i = 0; i < constant.count; ++i) {
            ReplaceAll(&result, name + "[" + std::to_string(i) + "]", Constructor(constant, i));
        }
    }
    return result;
}
