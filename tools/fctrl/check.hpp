#pragma once

#include "Document.hpp"
#include "Finding.hpp"
#include "Progress.hpp"

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

namespace fctrl {

/// What there is to say about some files.
struct CheckResult {
    std::deque<Document> documents;  ///< what the findings point into
    std::vector<Finding> findings;   ///< in the order of the files, and of the places in each
    std::vector<std::string> unreadable;
    std::size_t files = 0;
    std::size_t descriptors = 0;
};

/// Registers the features of all files, in their order, in this process's registry, each by itself, and tells what the
/// library says about it, and what it takes but nobody means. The environment is left out of it.
///
/// @param files  descriptor files, manifests and bundles, in UTF-8.
CheckResult check(std::vector<std::string> const& files, Progress& progress);

}  // namespace fctrl
