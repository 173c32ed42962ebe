#pragma once

#include "catalogue.hpp"

#include <iosfwd>
#include <string>

namespace fctrl {

/// Tells for people what is known of a feature, or where it was looked for.
void writeExplanation(std::ostream& out,
                      std::string const& name,
                      Catalogue const& catalogue,
                      bool isColoured);

/// The same for programs.
void writeExplanationJson(std::ostream& out, std::string const& name, Catalogue const& catalogue);

}  // namespace fctrl
