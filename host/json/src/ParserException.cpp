#include <foundation/json/parse.hpp>

#include <algorithm>

namespace foundation::json {
namespace {

constexpr std::string_view prefix = "JSON ParserException (E";
constexpr std::string_view afterCode = "): ";

std::string fourDigits(int code) {
    std::string digits = std::to_string(code);
    if (digits.size() < 4) digits.insert(0, 4 - digits.size(), '0');
    return digits;
}

}  // namespace

struct ParserException::Place {
    std::size_t line;
    std::size_t column;
    std::string_view lineText;

    Place(std::string_view text, std::size_t offset) {
        offset = std::min(offset, text.size());
        std::string_view const before = text.substr(0, offset);
        std::size_t const lastFeed = before.rfind('\n');
        std::size_t const start = lastFeed == std::string_view::npos ? 0 : lastFeed + 1;
        line = 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
        column = 1 + offset - start;
        lineText = text.substr(start, text.find('\n', start) - start);
        if (lineText.ends_with('\r')) lineText.remove_suffix(1);
    }

    std::string message(ParseResult code, std::string_view description) const {
        std::string message;
        message.append(prefix)
            .append(fourDigits(static_cast<int>(code)))
            .append(afterCode)
            .append(description);
        message.append(" (Line ").append(std::to_string(line));
        message.append(", Column ").append(std::to_string(column)).append(")");
        message.append("\n\t").append(lineText).append("\n\t").append(column - 1, ' ').append("^");
        std::replace(message.begin(), message.end(), '\0', ' ');
        return message;
    }
};

ParserException::ParserException(ParseResult code,
                                 std::string_view description,
                                 std::string_view text,
                                 std::size_t offset)
    : ParserException(code, description, Place(text, offset)) {}

ParserException::ParserException(ParseResult code, std::string_view description, Place const& place)
    : std::runtime_error(place.message(code, description)), code_(code), line_(place.line),
      column_(place.column), descriptionLength_(description.size()) {}

ParserException::~ParserException() = default;

std::string_view ParserException::description() const noexcept {
    std::string_view const message = what();
    return message.substr(message.find(afterCode) + afterCode.size(), descriptionLength_);
}

std::string get_parse_result_description(ParseResult result) {
    switch (result) {
    case ParseResult::success:
        return "no error";
    case ParseResult::emptyText:
        return "the text is empty";
    case ParseResult::invalidValue:
        return "invalid value";
    case ParseResult::unterminatedString:
        return "string without its closing quotation mark";
    case ParseResult::invalidEscape:
        return "invalid escape sequence in a string";
    case ParseResult::loneSurrogate:
        return "surrogate without its partner in a string";
    case ParseResult::controlCharacter:
        return "control character in a string";
    case ParseResult::invalidUtf8:
        return "ill-formed UTF-8 in a string";
    case ParseResult::invalidNumber:
        return "digit expected in a number";
    case ParseResult::numberTooBig:
        return "number too big for a double";
    case ParseResult::nameExpected:
        return "name of an object member expected";
    case ParseResult::colonExpected:
        return "\":\" expected after the name of an object member";
    case ParseResult::commaOrBraceExpected:
        return "\",\" or \"}\" expected after an object member";
    case ParseResult::commaOrBracketExpected:
        return "\",\" or \"]\" expected after an array element";
    case ParseResult::typedArrayExpected:
        return "\"[\" expected at the beginning of typed numbers";
    case ParseResult::typedIntegerExpected:
        return "integer expected among typed numbers";
    case ParseResult::typedIntegerOutOfRange:
        return "typed number out of the range of its type";
    case ParseResult::typedCommaOrBracketExpected:
        return "\",\" or \"]\" expected after a typed number";
    case ParseResult::textAfterDocument:
        return "text after the end of the document";
    case ParseResult::typedArrayIncomplete:
        return "text ended inside typed numbers";
    case ParseResult::nestingTooDeep:
        return "more than 512 arrays and objects inside one another";
    }
    return "unknown parse result";
}

}  // namespace foundation::json
