#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace fctrl {

enum class Command { nothing, check, list, explain };
enum class Format { text, json, sarif };

/// What the command line asks for. Texts are UTF-8.
struct Options {
    Command command = Command::nothing;
    std::string message;  ///< of the command `nothing`: what is to be printed
    Format format = Format::text;
    std::vector<std::string> files;
    std::string root;  ///< of `list` and `explain`; empty: no extensions
    std::string name;  ///< the feature to explain; to `list`, a pattern
    std::string state;
    std::string scope;
    std::string component;
    std::string module;
    bool isChangedOnly = false;
};

/// A command line that makes no sense; the text says why.
class UsageError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// @param arguments  without the program's name.
/// @throws UsageError
Options parseOptions(std::vector<std::string> arguments);

}  // namespace fctrl
