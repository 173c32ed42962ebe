#pragma once

#include "JsonWriter.hpp"
#include "catalogue.hpp"

namespace fctrl {

/// The feature as an object.
void writeFeature(JsonWriter& writer, Feature const& feature);

/// What is wrong, as members of the object that is open.
void writeRemarks(JsonWriter& writer, Catalogue const& catalogue);

}  // namespace fctrl
