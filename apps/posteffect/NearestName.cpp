#include "apps/posteffect/NearestName.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace posteffect {
namespace {

std::string Lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::size_t EditDistance(const std::string& a, const std::string& b) {
    // Rows i - 2, i - 1 and i of the usual table; three are needed to see swapped neighbours.
    std::vector<std::size_t> before(b.size() + 1), above(b.size() + 1), row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        before.swap(above);
        above.swap(row);
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = above[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, replaced});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                row[j] = std::min(row[j], before[j - 2] + 1);
            }
        }
    }
    return row[b.size()];
}

}  // namespace

std::string NearestName(const std::string& word, const std::vector<std::string>& names) {
    std::string nearest;
    std::size_t best = 2 + word.size() / 3;  // one change, and one more for every three letters
    for (const std::string& name : names) {
        const std::size_t distance = EditDistance(Lowered(word), Lowered(name));
        if (distance < best) {
            best = distance;
            nearest = name;
        }
    }
    return nearest;
}

std::string JoinNames(const std::vector<std::string>& names, const std::string& last) {
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (i > 0) text += i + 1 == names.size() ? " " + last + " " : ", ";
        text += names[i];
    }
    return text;
}

}  // namespace posteffect
