#include "gl/CarriedUniforms.h"

#include <algorithm>
#include <cstdlib>

namespace {

constexpr const char* kUniform = "uniform ";

// A declaration: "uniform <type> <name>;" or "uniform <type> <name>[<elements>];".
struct Uniform {
    explicit Uniform(const std::string& text) : declaration(text) {
        const std::size_t begin = std::string(kUniform).size();
        const std::size_t space = text.find(' ', begin);
        const std::size_t bracket = text.find('[');
        const std::size_t end = std::min(bracket, text.size() - 1);
        type = text.substr(begin, space - begin);
        name = text.substr(space + 1, end - space - 1);
        if (bracket != std::string::npos) {
            elements = text.substr(bracket + 1, text.find(']') - bracket - 1);
        }
    }

    // As many vectors as the language's rules can make of it.
    unsigned long vectors() const {
        return (type == "mat4" ? 4 : 1) *
               (elements.empty() ? 1 : std::strtoul(elements.c_str(), nullptr, 10));
    }
    // Of an array: each element, by its index.
    std::string suffix(const std::string& index) const {
        return elements.empty() ? "" : "[" + index + "]";
    }

    std::string declaration;
    std::string type;
    std::string name;
    std::string elements;  // empty: no array
};

std::string Copy(const std::string& to, const Uniform& uniform) {
    const std::string element = uniform.suffix("i");
    std::string statement = to + element + " = " + uniform.name + element + ";\n";
    if (element.empty()) return statement;
    return "for (int i = 0; i < " + uniform.elements + "; ++i) " + statement;
}

}  // namespace

ShaderTexts WithCarriedUniforms(const ShaderTexts& texts, unsigned mostVaryings) {
    std::string declarations;
    std::string copies;
    std::string fragment;
    unsigned long vectors = 0;
    std::size_t done = 0;
    for (std::size_t at = texts.fragment.find(kUniform); at != std::string::npos;
         at = texts.fragment.find(kUniform, at + 1)) {
        const Uniform uniform(texts.fragment.substr(at, texts.fragment.find(';', at) + 1 - at));
        if (uniform.type == "sampler2D") continue;
        const std::string carried = "carried_" + uniform.name;
        const std::string& declared = uniform.declaration;
        std::string varying = "varying highp " + uniform.type;
        varying.append(" ").append(carried).append(uniform.suffix(uniform.elements)).append(";\n");
        fragment.append(texts.fragment, done, at - done).append(varying);
        fragment.append("#define ").append(uniform.name).append(" ").append(carried).append("\n");
        done = at + declared.size();
        // Alternatives of a text declare the same.
        if (declarations.find(varying) != std::string::npos) continue;
        if (texts.vertex.find(declared) == std::string::npos) declarations += declared + "\n";
        declarations += varying;
        copies += Copy(carried, uniform);
        vectors += uniform.vectors();
    }
    fragment.append(texts.fragment, done);

    const std::size_t end = texts.vertex.rfind('}');
    // The text has a few varyings of its own.
    constexpr unsigned kOwn = 3;
    if (vectors == 0 || vectors + kOwn > mostVaryings || end == std::string::npos) return texts;
    return {declarations + texts.vertex.substr(0, end) + copies + texts.vertex.substr(end),
            fragment};
}
