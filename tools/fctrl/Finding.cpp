#include "Finding.hpp"

namespace fctrl {

std::vector<RuleText> const& ruleTable() {
    static std::vector<RuleText> const table = {
        {"json", true, "The file is JSON."},
        {"structure",
         true,
         "The file holds an array of descriptors, an object with one, or a bundle's manifest."},
        {"refused", true, "The library registers the feature."},
        {"conflict", true, "A name is registered by one module, with one scope."},
        {"bundle", true, "The service framework installs the bundle."},
        {"unknown-key", false, "Each key is one that the library reads."},
        {"both-state-keys", false, "The state is given by one key."},
        {"duplicate-key", false, "A key stands once in an object."},
        {"unread-key", false, "Each key that is there is read."},
        {"converted-value", false, "Each value is of the kind that it is read as."},
        {"line-number", false, "A line is counted from 1, or -1."},
        {"dropped-value", false, "The service framework reads a manifest's values as they stand there."},
        {"duplicate", false, "A feature is listed once."},
        {"name-case", false, "Names differ in more than their case."},
    };
    return table;
}

RuleText const& ruleText(Rule rule) {
    return ruleTable()[static_cast<std::size_t>(rule)];
}

}  // namespace fctrl
