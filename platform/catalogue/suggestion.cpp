#include "catalogue/suggestion.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace catalogue {

namespace {

// The edit distance: the number of letters to change, insert or remove to get from one word to the other.
std::size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t changed = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, diagonal + 1});
        }
    }
    return row.at(b.size());
}

}  // namespace

std::string suggestion(const std::string& word, const std::vector<std::string>& names) {
    const std::string* nearest = nullptr;
    std::size_t least = std::max<std::size_t>(2, word.size() / 4);
    for (const std::string& name : names) {
        // Skip a word that is far too long for a match.
        if (word.size() > 2 * name.size() + 2) continue;
        const std::size_t found = distance(word, name);
        if (found > least || (nearest != nullptr && found == least)) continue;
        least = found;
        nearest = &name;
    }
    return nearest != nullptr ? "; did you mean '" + *nearest + "'?" : "";
}

}  // namespace catalogue
