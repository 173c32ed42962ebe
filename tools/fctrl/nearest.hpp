#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace fctrl {

/// How many letters must be put in, left out, replaced or swapped with their neighbour to make `right` of `left`.
///
/// @return  `limit` + 1 for every number above `limit`.
std::size_t editDistance(std::string_view left, std::string_view right, std::size_t limit);

/// Those of `candidates` that somebody who wrote `name` may have meant: no more than a third of its letters are
/// different, or two, or the one is a part of the other, of four letters or more; whether they are capitals or not.
///
/// @param most  how many are wanted.
/// @return      The nearest first; of equally near ones in the order of their texts.
std::vector<std::string>
nearest(std::string_view name, std::vector<std::string> const& candidates, std::size_t most);

/// "; did you mean "a", "b" or "c"?"; empty for no names.
std::string suggestion(std::vector<std::string> const& names);

}  // namespace fctrl
