#pragma once

#include <string>
#include <string_view>

namespace fctrl {

/// Whether people see what is written to standard output, or standard error.
bool isOutputTerminal();
bool isErrorTerminal();

/// Whether standard output takes colours and the user wants them: it is a terminal, not a dumb one, and NO_COLOR is
/// unset or empty.
bool takesColours();

/// Makes a Windows console read what is written as UTF-8.
void prepareConsole();

enum class Colour { red, magenta, green, cyan, bold };

/// `text` in a colour, when `isWanted`.
std::string coloured(std::string_view text, Colour colour, bool isWanted);

}  // namespace fctrl
