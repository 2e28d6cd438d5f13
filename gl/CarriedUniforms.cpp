#include "gl/CarriedUniforms.h"

#include <regex>

namespace {

// (type) (name) (elements, of an array)
const std::regex& UniformPattern() {
    static const std::regex pattern(R"(uniform (float|vec[234]|mat4) (\w+)(?:\[(\d+)\])?;)");
    return pattern;
}

unsigned Elements(const std::smatch& uniform) {
    return uniform[3].matched ? static_cast<unsigned>(std::stoul(uniform[3])) : 1;
}

// As many as the language's rules can come to.
unsigned Vectors(const std::smatch& uniform) {
    return (uniform[1] == "mat4" ? 4 : 1) * Elements(uniform);
}

// Of an array: each element, by its index.
std::string Suffix(const std::smatch& uniform, const std::string& index) {
    return uniform[3].matched ? "[" + index + "]" : "";
}

std::string Copy(const std::string& to, const std::string& from, const std::smatch& uniform) {
    const std::string element = Suffix(uniform, "i");
    std::string statement = to + element + " = " + from + element + ";\n";
    if (element.empty()) return statement;
    return "for (int i = 0; i < " + uniform[3].str() + "; ++i) " + statement;
}

}  // namespace

ShaderTexts WithCarriedUniforms(const ShaderTexts& texts, unsigned mostVaryings) {
    std::string declarations;
    std::string copies;
    std::string fragment;
    unsigned vectors = 0;
    auto rest = texts.fragment.cbegin();
    for (std::smatch uniform;
         std::regex_search(rest, texts.fragment.cend(), uniform, UniformPattern());
         rest = uniform[0].second) {
        const std::string name = uniform[2];
        const std::string carried = "carried_" + name;
        const std::string declared = uniform[0];
        std::string varying = "varying highp " + uniform[1].str();
        varying.append(" ").append(carried).append(Suffix(uniform, uniform[3])).append(";\n");
        fragment.append(rest, uniform[0].first);
        fragment += varying;
        fragment.append("#define ").append(name).append(" ").append(carried).append("\n");
        // Alternatives of a text declare the same.
        if (declarations.find(varying) != std::string::npos) continue;
        if (texts.vertex.find(declared) == std::string::npos) declarations += declared + "\n";
        declarations += varying;
        copies += Copy(carried, name, uniform);
        vectors += Vectors(uniform);
    }
    fragment.append(rest, texts.fragment.cend());

    const std::size_t end = texts.vertex.rfind('}');
    // The text has a few varyings of its own.
    constexpr unsigned kOwn = 3;
    if (vectors == 0 || vectors + kOwn > mostVaryings || end == std::string::npos) return texts;
    return {declarations + texts.vertex.substr(0, end) + copies + texts.vertex.substr(end),
            fragment};
}
