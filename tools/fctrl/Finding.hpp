#pragma once

#include "Document.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace fctrl {

/// What a finding is about; `ruleTable` has their texts, in this order.
enum class Rule {
    json,
    structure,
    refused,
    conflict,
    bundle,
    unknownKey,
    bothStateKeys,
    duplicateKey,
    unreadKey,
    converted,
    lineNumber,
    droppedValue,
    duplicate,
    nameCase,
};

struct RuleText {
    std::string_view id;
    bool isError;
    std::string_view says;
};

/// @return  What is always so of the findings of a rule.
RuleText const& ruleText(Rule rule);

/// All rules, in the order of their numbers.
std::vector<RuleText> const& ruleTable();

/// A place that a finding or a note speaks of. Without a range in the text it speaks of the whole file.
struct Where {
    Document const* document = nullptr;
    Range range;
    bool isWholeFile = false;
};

struct Note {
    std::string text;
    Where where;
};

/// One thing that is wrong, or that nobody means.
struct Finding {
    Rule rule;
    std::string text;  ///< the library's own where it would throw it
    Where where;
    std::vector<Note> notes;
};

}  // namespace fctrl
