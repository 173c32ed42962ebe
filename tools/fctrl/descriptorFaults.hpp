#pragma once

#include "Loader.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fctrl {

/// Registers descriptors that come from where those of `list` do, for good.
/// @return  What the library throws; nothing when it takes them all.
std::optional<std::string> registerDescriptors(DescriptorList const& list, Array const& descriptors);

/// What the library says of one property.
struct Fault {
    std::string_view key;
    std::string text;
};

/// What the library says against each property of a descriptor by itself: it ends at the first fault that it finds.
/// Registers nothing under the descriptor's own name.
///
/// @param name  what the texts call the feature.
std::vector<Fault> findFaults(Object const& descriptor, std::string const& name);

/// The name as the library reads it; nothing when it refuses it.
std::optional<std::string> nameAsRead(Object const& descriptor);

/// The value of "defaultValue", "line" or "file", which is there, as the library reads it, in JSON; nothing when it
/// refuses it.
std::optional<std::string> valueAsRead(Object const& descriptor, std::string const& key);

}  // namespace fctrl
