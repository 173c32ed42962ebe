#include "options.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <optional>
#include <system_error>

namespace demo {
namespace {

constexpr std::size_t mostEngines = 64;
constexpr std::array<std::string_view, 5> states = {"Off", "On", "Beta", "Preview", "DebugOrTest"};

/// The number that the whole of `text` is.
template <class Number>
std::optional<Number> parseNumber(std::string_view text, int base = 10) {
    Number number{};
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

std::optional<int> parseValue(std::string_view text) {
    // from_chars knows "-" but not "+".
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    return parseNumber<int>(text);
}

std::optional<unsigned> parseMask(std::string_view text) {
    if (text.starts_with("0x") || text.starts_with("0X")) return parseNumber<unsigned>(text.substr(2), 16);
    return parseNumber<unsigned>(text);
}

/// Cuts "<name>=<number>" at its last "=", since the name may hold one too.
template <class Number>
std::optional<std::pair<std::string, Number>> parsePair(std::string const& text,
                                                        std::optional<Number> (*parse)(std::string_view)) {
    std::size_t const equals = text.rfind('=');
    if (equals == text.npos || equals == 0) return std::nullopt;
    auto const number = parse(std::string_view(text).substr(equals + 1));
    if (!number) return std::nullopt;
    return std::pair(text.substr(0, equals), *number);
}

[[noreturn]] void refuse(std::string const& option, std::string const& expected, std::string const& found) {
    throw UsageError(option + " expects " + expected + ", not \"" + found + "\"");
}

void setState(Options& options, std::string const& text) {
    if (std::find(states.begin(), states.end(), text) == states.end()) {
        refuse("--state", "Off, On, Beta, Preview or DebugOrTest", text);
    }
    options.state = text;
}

void setEngines(Options& options, std::string const& text) {
    auto const number = parseNumber<std::size_t>(text);
    if (!number || *number > mostEngines) {
        refuse("--engines", "a number from 0 to " + std::to_string(mostEngines), text);
    }
    options.engines = *number;
}

void addSetting(Options& options, std::string const& text) {
    auto setting = parsePair(text, parseValue);
    if (!setting) refuse("--set", "<name>=<int>", text);
    options.settings.push_back(std::move(*setting));
}

void addChannelMasks(Options& options, std::string const& text) {
    for (std::size_t begin = 0; begin <= text.size();) {
        std::size_t const end = std::min(text.find(',', begin), text.size());
        auto mask = parsePair(text.substr(begin, end - begin), parseMask);
        if (!mask) refuse("--log", "<channel>=<mask>, the mask decimal or 0x-hexadecimal", text);
        options.channelMasks.push_back(std::move(*mask));
        begin = end + 1;
    }
}

struct Option {
    std::string_view name;
    bool takesArgument;
    void (*apply)(Options&, std::string const&);
};

constexpr std::array<Option, 9> allOptions = {{
    {"--help", false, [](Options& options, std::string const&) { options.help = true; }},
    {"--json", false, [](Options& options, std::string const&) { options.json = true; }},
    {"--changed", false, [](Options& options, std::string const&) { options.changed = true; }},
    {"--only", true, [](Options& options, std::string const& text) { options.only = text; }},
    {"--descriptors",
     true,
     [](Options& options, std::string const& text) { options.descriptorFiles.push_back(text); }},
    {"--state", true, setState},
    {"--engines", true, setEngines},
    {"--set", true, addSetting},
    {"--log", true, addChannelMasks},
}};

}  // namespace

Options parseOptions(std::vector<std::string> const& arguments) {
    Options options;
    for (auto argument = arguments.begin(); argument != arguments.end() && !options.help; ++argument) {
        auto const option = std::find_if(allOptions.begin(), allOptions.end(), [&](Option const& candidate) {
            return candidate.name == *argument;
        });
        if (option == allOptions.end()) throw UsageError("unknown option \"" + *argument + "\"");
        if (!option->takesArgument) {
            option->apply(options, {});
        } else if (std::next(argument) != arguments.end()) {
            option->apply(options, *++argument);
        } else {
            throw UsageError(*argument + " expects an argument");
        }
    }
    return options;
}

std::string_view helpText() {
    return R"(Usage: demo_host [option]...

Loads feature controls from descriptor files, gets more from the extensions in fctrl_ext/ beside the
program, starts engine instances that read, change and watch them, and prints the catalogue.

What is loaded and run:
  --descriptors <file>      load this descriptor file too, after those in descriptors/ beside the
                            program: a JSON array of descriptors, or an object with such an array
                            as "features" and, if wanted, "component", "module" and "clientdir";
                            repeatable
  --engines <n>             engine instances, 0 to 64, each on a thread of its own (default 2)
  --set <name>=<int>        give a feature this value once the engines have done their work: a
                            perPROCESS feature once, a perZOR feature in every instance; repeatable
  --log <channel>=<mask>,...
                            show the library's log records of these channels and severities on
                            standard error; the mask is decimal or 0x-hexadecimal, the channel "*"
                            stands for all that are not named; repeatable

What is printed:
  --only <text>             only features whose name contains the text
  --state <state>           only features in this state: Off, On, Beta, Preview or DebugOrTest
  --changed                 only features whose value differs from the default, in the process or
                            in any instance
  --json                    the same as a JSON array
  --help                    this text

Columns: "value" is what the main thread sees, of a perZOR feature the value in the main instance;
"zor 1", "zor 2" and so on are its values in the engine instances. A "*" marks a value that differs
from the default. "reads" and "writes" are sums over all instances, before this program printed them.

Environment:
  QZ_FEATURE_<name>         an integer: the feature's first value in place of its default
  FOUNDATION_LOG            as --log, which comes after it
  FOUNDATION_ROOT           the folder whose bin/win64/fctrl_ext holds the extensions

Examples:
  demo_host --changed
  demo_host --only Mesh --state Beta --engines 4
  demo_host --descriptors my.json --set Alpha=1 --engines 3
  demo_host --json > catalogue.json
  demo_host --log demo_host=8,foundation::feature::lookup=8
  demo_host --log foundation::feature::set=16 --set UiDarkTheme=0 --only UiDark
  QZ_FEATURE_SolverGpuAcceleration=1 demo_host --only Gpu

Exit code: 0 on success, 1 when a file, a feature or the environment is at fault, 2 for a mistake
in the command line.
)";
}

}  // namespace demo
