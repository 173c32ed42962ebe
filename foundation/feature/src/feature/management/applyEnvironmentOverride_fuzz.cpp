// Compares what a variable does to a feature, and the one record that it writes, with another reading of the rules.

#include "applyEnvironmentOverride.hpp"

#include <foundation/log/diagnostic_logger.hpp>

#include <support/LogCapture.hpp>
#include <support/fuzzing.hpp>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using foundation::feature::detail::State;
using foundation::test::Input;
using foundation::test::LogCapture;
using foundation::test::require;
using foundation::test::requireEqual;

constexpr std::string_view setting = "QZ_FEATURE_Fuzzed=";

/// Gives the variable the text before its first NUL. Where the process's environment keeps what it is given, so that
/// millions of values take no memory.
class Variable {
public:
    Variable() : text_(setting.begin(), setting.end()) {
        text_.resize(setting.size() + 65536);
        require(putenv(text_.data()) == 0);
    }

    std::string set(std::string_view value) {
        value = value.substr(0, std::min(value.find('\0'), text_.size() - setting.size() - 1));
        *std::copy(value.begin(), value.end(), text_.begin() + static_cast<std::ptrdiff_t>(setting.size())) =
            '\0';
        return std::string(value);
    }

private:
    std::vector<char> text_;
};

/// What a text makes of a value, and the record that it writes; both as before and empty when it is no setting.
struct Expected {
    int value;
    unsigned severity;
    std::string message;
};

Expected expected(std::string const& text, int before) {
    if (text.empty()) return {before, 0, ""};
    std::string const unsupported =
        "feature Fuzzed: environment variable QZ_FEATURE_Fuzzed set to unsupported value: \"" + text + '"';
    errno = 0;
    char* end = nullptr;
    long long const number = std::strtoll(text.c_str(), &end, 10);
    if (end == text.c_str()) return {before, 512, unsupported + "\nexception: invalid stoi argument"};
    if (errno == ERANGE || number < INT_MIN || number > INT_MAX) {
        return {before, 512, unsupported + "\nexception: stoi argument out of range"};
    }
    if (*end != '\0') return {before, 512, unsupported};
    if (number == before) {
        return {before, 16, "feature Fuzzed environment set to default value: " + std::to_string(number)};
    }
    return {static_cast<int>(number),
            16,
            "feature Fuzzed environment set, changed from: " + std::to_string(before) +
                " to: " + std::to_string(number)};
}

/// Whether a text is well-formed UTF-8, by the table of its sequences.
bool isUtf8(std::string_view text) {
    struct Sequence {
        unsigned char first, last;  // of the lead byte
        unsigned char secondFirst, secondLast;
        std::size_t length;
    };
    constexpr Sequence sequences[] = {{0x00, 0x7F, 0x00, 0x00, 1},
                                      {0xC2, 0xDF, 0x80, 0xBF, 2},
                                      {0xE0, 0xE0, 0xA0, 0xBF, 3},
                                      {0xE1, 0xEC, 0x80, 0xBF, 3},
                                      {0xED, 0xED, 0x80, 0x9F, 3},
                                      {0xEE, 0xEF, 0x80, 0xBF, 3},
                                      {0xF0, 0xF0, 0x90, 0xBF, 4},
                                      {0xF1, 0xF3, 0x80, 0xBF, 4},
                                      {0xF4, 0xF4, 0x80, 0x8F, 4}};
    auto const isBetween = [](char byte, unsigned char first, unsigned char last) {
        return static_cast<unsigned char>(byte) >= first && static_cast<unsigned char>(byte) <= last;
    };
    while (!text.empty()) {
        auto const sequence =
            std::find_if(std::begin(sequences), std::end(sequences), [&](Sequence const& s) {
                return isBetween(text[0], s.first, s.last);
            });
        if (sequence == std::end(sequences) || sequence->length > text.size()) return false;
        if (sequence->length > 1 && !isBetween(text[1], sequence->secondFirst, sequence->secondLast))
            return false;
        for (std::size_t i = 2; i < sequence->length; ++i) {
            if (!isBetween(text[i], 0x80, 0xBF)) return false;
        }
        text.remove_prefix(sequence->length);
    }
    return true;
}

}  // namespace

/// The default value's byte, then the variable's text.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static Variable variable;
    static LogCapture capture;
    foundation::log::setChannelMask("foundation::feature::registration", 512 | 16);
    Input input(data, size);
    int const byte = input.byte();
    int const before = byte < 128 ? byte : byte - 256;
    std::string const text = variable.set(input.rest());

    State state(before, {}, "component", "module", "Beta", "client", "file", 1);
    capture.clear();
    bool isText = true;
    try {
        foundation::feature::management::applyEnvironmentOverride("Fuzzed", state);
    } catch (std::range_error const&) {
        isText = false;
    }
    require(isText == isUtf8(text));
    Expected const right = isText ? expected(text, before) : Expected{before, 0, ""};
    require(state.value == right.value && state.defaultValue == before);
    auto const records = capture.records();
    require(records.size() == (right.message.empty() ? 0U : 1U));
    if (!records.empty()) {
        require(records[0].severity == right.severity);
        requireEqual(records[0].message, right.message);
    }
    return 0;
}
