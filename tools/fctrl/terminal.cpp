#include "terminal.hpp"

#include <fl/i18n.hpp>

#if defined(_WIN32)
#include <windows.h>

#include <io.h>
#else
#include <unistd.h>
#endif

namespace fctrl {
namespace {

#if defined(_WIN32)

bool isTerminal(int descriptor) {
    return _isatty(descriptor) != 0;
}

/// Consoles show escape sequences as they are unless told otherwise.
bool enableEscapes() {
    HANDLE const console = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    return GetConsoleMode(console, &mode) != 0 &&
           SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

#else

bool isTerminal(int descriptor) {
    return isatty(descriptor) != 0;
}

bool enableEscapes() {
    return true;
}

#endif

constexpr int outputDescriptor = 1;
constexpr int errorDescriptor = 2;

}  // namespace

bool isOutputTerminal() {
    return isTerminal(outputDescriptor);
}

bool isErrorTerminal() {
    return isTerminal(errorDescriptor);
}

bool takesColours() {
    static bool const takes = isOutputTerminal() && fl::i18n::getenv("NO_COLOR").empty() &&
                              fl::i18n::getenv("TERM") != u"dumb" && enableEscapes();
    return takes;
}

void prepareConsole() {
#if defined(_WIN32)
    if (isOutputTerminal() || isErrorTerminal()) SetConsoleOutputCP(CP_UTF8);
#endif
}

std::string coloured(std::string_view text, Colour colour, bool isWanted) {
    if (!isWanted) return std::string(text);
    char const* code = "1";
    switch (colour) {
    case Colour::red:
        code = "1;31";
        break;
    case Colour::magenta:
        code = "1;35";
        break;
    case Colour::green:
        code = "1;32";
        break;
    case Colour::cyan:
        code = "1;36";
        break;
    case Colour::bold:
        break;
    }
    return std::string("\x1B[") + code + 'm' + std::string(text) + "\x1B[0m";
}

}  // namespace fctrl
