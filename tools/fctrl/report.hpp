#pragma once

#include "check.hpp"

#include <iosfwd>

namespace fctrl {

/// For people: a line for each finding, the line of the file with the place marked below it, the notes; at the end how
/// many there are. Nothing when there are none.
void writeText(std::ostream& out, CheckResult const& result, bool isColoured);

/// For programs: an object with all findings.
void writeJson(std::ostream& out, CheckResult const& result);

/// For code-scanning services: SARIF 2.1.0.
void writeSarif(std::ostream& out, CheckResult const& result);

}  // namespace fctrl
