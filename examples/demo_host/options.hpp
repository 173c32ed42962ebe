#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace demo {

/// What the command line asks for. Texts are UTF-8.
struct Options {
    bool help = false;
    bool json = false;     ///< print JSON instead of a table
    bool changed = false;  ///< only features whose value differs from the default somewhere
    std::string only;      ///< only features whose name contains this
    std::string state;     ///< only features of this state; empty: of any
    std::size_t engines = 2;
    std::vector<std::string> descriptorFiles;                    ///< in addition to those of the program
    std::vector<std::pair<std::string, int>> settings;           ///< feature and value
    std::vector<std::pair<std::string, unsigned>> channelMasks;  ///< log channel and mask
};

/// The command line makes no sense. The text is one line without the program's name.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// @param arguments  without the program's name. "--help" ends them: what follows is not looked at.
/// @throws UsageError  an unknown option, or an argument that is missing or malformed.
Options parseOptions(std::vector<std::string> const& arguments);

/// What "--help" prints.
std::string_view helpText();

}  // namespace demo
