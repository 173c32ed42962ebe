#include "validateFeature.hpp"

#include <algorithm>
#include <stdexcept>
#include <unordered_map>

namespace foundation::feature::management {
namespace {

constexpr std::size_t longestName = 127;

bool isPrintableAscii(char character) {
    return character >= ' ' && character <= '~';
}

/// What a feature-control state demands of a feature: a message when it is not met, else null.
using Rule = char const* (*)(detail::State const&);

std::unordered_map<std::string, Rule> const& stateRules() {
    // Never destroyed, like the catalogue.
    static auto const& rules = *new std::unordered_map<std::string, Rule>{
        {"Off",
         [](detail::State const& state) -> char const* {
             return state.defaultValue == 0 ? nullptr : "default value of Off fctrl must be 0";
         }},
        {"On",
         [](detail::State const& state) -> char const* {
             // "msut" is the published text; do not correct.
             return state.defaultValue != 0 ? nullptr : "default value of On fctrl msut be non zero";
         }},
        {"Beta", [](detail::State const&) -> char const* { return nullptr; }},
        {"Preview", [](detail::State const&) -> char const* { return nullptr; }},
        {"DebugOrTest",
         [](detail::State const& state) -> char const* {
             return state.defaultValue == 0 ? nullptr : "default value of DebugOrTest fctrl must be 0";
         }},
    };
    return rules;
}

}  // namespace

void validateFeature(std::string const& name, detail::State const& state) {
    if (name.empty() || name.size() > longestName) {
        throw std::invalid_argument("feature control names must be non-empty and less than 128 characters");
    }
    auto const bad = std::find_if_not(name.begin(), name.end(), isPrintableAscii);
    if (bad != name.end()) {
        // The two blanks are the published text. The byte goes in as it is: one byte, not escaped.
        throw std::invalid_argument(
            std::string("feature control names must be printable ascii.  Character: \"") + *bad +
            "\" is not allowed.");
    }
    auto const rule = stateRules().find(state.fctrlState);
    if (rule == stateRules().end()) {
        throw std::invalid_argument(
            R"(feature control state must be one of: "Off", "On", "Beta", "Preview", "DebugOrTest")");
    }
    char const* const message = rule->second(state);
    if (message != nullptr) throw std::invalid_argument(message);
}

}  // namespace foundation::feature::management
