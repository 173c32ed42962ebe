#pragma once

#include "catalogue.hpp"
#include "options.hpp"

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace fctrl {

/// Whether a text is like a pattern: "*" is any text, "?" any character; capitals are small letters.
bool matches(std::string_view text, std::string_view pattern);

/// The features that the options ask for.
std::vector<Feature> select(std::vector<Feature> const& features, Options const& options);

/// What there is to say of a catalogue besides its features, a line each.
std::vector<std::string> remarks(Catalogue const& catalogue, bool withProblems);

/// A line of titles, and a line for each feature.
void writeTable(std::ostream& out, std::vector<Feature> const& features, bool isColoured);

/// An object with the features, what is wrong, and the variables that name no feature.
void writeListJson(std::ostream& out, std::vector<Feature> const& features, Catalogue const& catalogue);

}  // namespace fctrl
