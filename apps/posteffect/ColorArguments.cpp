#include "apps/posteffect/ColorArguments.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "apps/posteffect/Failure.h"
#include "apps/posteffect/NearestName.h"

namespace posteffect {
namespace {

template <typename Value>
struct Named {
    const char* name;
    Value value;
};

constexpr Named<ColorRange> kRanges[] = {{"full", ColorRange::kFull},
                                         {"limited", ColorRange::kLimited}};
constexpr Named<ColorMatrix> kMatrices[] = {
    {"601", ColorMatrix::kBt601}, {"709", ColorMatrix::kBt709}, {"2020", ColorMatrix::kBt2020}};

// The value of a word; `fallback` without one.
template <typename Value, std::size_t kCount>
Value Find(const char* option, const Named<Value> (&table)[kCount],
           const std::optional<std::string>& word, Value fallback) {
    if (!word || *word == "auto") return fallback;
    std::vector<std::string> names = {"auto"};
    for (const Named<Value>& row : table) {
        if (*word == row.name) return row.value;
        names.emplace_back(row.name);
    }
    throw Failure(kExitWrongUse, std::string(option) + " " + *word,
                  "takes " + JoinNames(names, "or"));
}

}  // namespace

void ColorArguments::declare(Arguments& arguments) {
    arguments.option("--range", "RANGE",
                     "of the samples: full, limited, or auto (default): as the stream is marked, "
                     "limited without a mark",
                     &m_range);
    arguments.option("--matrix", "MATRIX",
                     "of the colours: 601, 709, 2020, or auto (default): as the stream is marked, "
                     "else 709 above 576 rows and 601 up to these",
                     &m_matrix);
}

void ColorArguments::check() const {
    resolve(ColorRange::kLimited, 0);
}

FrameColor ColorArguments::resolve(ColorRange marked, int height) const {
    return {Find("--range", kRanges, m_range, marked),
            Find("--matrix", kMatrices, m_matrix, UsualMatrix(height))};
}

}  // namespace posteffect
