#include "nearest.hpp"

#include "text.hpp"

#include <algorithm>
#include <numeric>
#include <utility>

namespace fctrl {
namespace {

/// Whether `part` stands somewhere in `text`, and is long enough to say something.
bool isPartOf(std::string_view part, std::string_view text) {
    constexpr std::size_t fewest = 4;
    return part.size() >= fewest && text.find(part) != std::string_view::npos;
}

}  // namespace

std::size_t editDistance(std::string_view left, std::string_view right, std::size_t limit) {
    std::size_t const beyond = limit + 1;
    if (std::max(left.size(), right.size()) - std::min(left.size(), right.size()) > limit) return beyond;

    // The table's last three rows: of the beginnings of `left` with i - 2, i - 1 and i letters.
    std::vector<std::size_t> beforeLast;
    std::vector<std::size_t> last(right.size() + 1);
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= left.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= right.size(); ++j) {
            std::size_t const replacing = last[j - 1] + (left[i - 1] == right[j - 1] ? 0 : 1);
            row[j] = std::min({replacing, last[j] + 1, row[j - 1] + 1});
            if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1]) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
        if (*std::min_element(row.begin(), row.end()) > limit) return beyond;
        beforeLast = std::exchange(last, row);
    }
    return std::min(last.back(), beyond);
}

std::vector<std::string>
nearest(std::string_view name, std::vector<std::string> const& candidates, std::size_t most) {
    std::string const wanted = smallLetters(name);
    std::size_t const limit =
        std::min(wanted.size() > 2 ? wanted.size() - 1 : 1, std::max<std::size_t>(2, wanted.size() / 3));
    std::vector<std::pair<std::size_t, std::string>> found;
    for (std::string const& candidate : candidates) {
        std::string const letters = smallLetters(candidate);
        bool const isPart = isPartOf(wanted, letters) || isPartOf(letters, wanted);
        std::size_t const distance =
            editDistance(wanted, letters, isPart ? letters.size() + wanted.size() : limit);
        if (isPart || distance <= limit) found.emplace_back(distance, candidate);
    }
    std::sort(found.begin(), found.end());
    std::vector<std::string> names;
    for (std::size_t i = 0; i < std::min(most, found.size()); ++i)
        names.push_back(found[i].second);
    return names;
}

std::string suggestion(std::vector<std::string> const& names) {
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i) {
        text += i == 0 ? "; did you mean \"" : i + 1 == names.size() ? " or \"" : ", \"";
        text += names[i] + '"';
    }
    return names.empty() ? text : text + '?';
}

}  // namespace fctrl
