// Compares the rules of names, states and default values with another reading of them.

#include "validateFeature.hpp"

#include <support/fuzzing.hpp>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

using foundation::feature::detail::State;
using foundation::test::Input;
using foundation::test::requireEqual;

/// The message of the first rule that is broken; empty when all are kept.
std::string expectedMessage(std::string const& name, std::string const& state, int defaultValue) {
    if (name.length() - 1 > 126) {
        return "feature control names must be non-empty and less than 128 characters";
    }
    for (char const character : name) {
        int const code = static_cast<unsigned char>(character);
        if (code >= 32 && code <= 126) continue;
        return "feature control names must be printable ascii.  Character: \"" + std::string(1, character) +
               "\" is not allowed.";
    }
    if (state == "Beta" || state == "Preview") return {};
    if (state == "On") return defaultValue != 0 ? "" : "default value of On fctrl msut be non zero";
    if (state == "Off" || state == "DebugOrTest") {
        return defaultValue == 0 ? "" : "default value of " + state + " fctrl must be 0";
    }
    return R"(feature control state must be one of: "Off", "On", "Beta", "Preview", "DebugOrTest")";
}

}  // namespace

/// A byte that chooses a state, the default value, the state's text where none was chosen, and then the name.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    constexpr char const* states[] = {"Off", "On", "Beta", "Preview", "DebugOrTest"};
    Input input(data, size);
    std::size_t const choice = input.byte() % (std::size(states) + 1);
    int const byte = input.byte();
    int const defaultValue = byte < 128 ? byte : byte - 256;
    std::string const text = choice < std::size(states) ? states[choice] : input.text();
    std::string const name(input.rest());

    std::string message;
    try {
        foundation::feature::management::validateFeature(
            name, State(defaultValue, {}, "component", "module", text, "client", "file", 1));
    } catch (std::invalid_argument const& error) {
        message = error.what();
    }
    // A NUL byte in the name ends the text of the exception.
    requireEqual(message, expectedMessage(name, text, defaultValue).c_str());
    return 0;
}
