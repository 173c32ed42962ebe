#pragma once

// Stand-in for the host's JSON parser; implements only what CONTRACT.md lists.

#include <foundation/json/Value.hpp>
#include <foundation/json/export.hpp>

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace foundation::json {

/// What a reader of JSON text found. The numbers are part of messages: they stay as they are.
enum class ParseResult : int {
    success = 0,
    emptyText = 1,                     ///< nothing but blanks
    invalidValue = 2,                  ///< something else where a value must stand
    unterminatedString = 3,            ///< the text ended inside a string
    invalidEscape = 4,                 ///< a backslash with something unknown after it
    loneSurrogate = 5,                 ///< a backslash-u escape of half a surrogate pair
    controlCharacter = 6,              ///< a byte below 0x20 inside a string
    invalidUtf8 = 7,                   ///< ill-formed UTF-8 inside a string
    invalidNumber = 8,                 ///< no digit after a decimal point or in an exponent
    numberTooBig = 9,                  ///< a number beyond the range of double
    nameExpected = 10,                 ///< an object's member without a string as its name
    colonExpected = 11,                ///< a member's name without ":" after it
    commaOrBraceExpected = 12,         ///< a member with neither "," nor "}" after it
    commaOrBracketExpected = 13,       ///< an array's element with neither "," nor "]" after it
    typedArrayExpected = 14,           ///< typed numbers that do not begin with "["
    typedIntegerExpected = 15,         ///< something else than an integer among typed numbers
    typedIntegerOutOfRange = 16,       ///< a typed number beyond the range of the type that is named
    typedCommaOrBracketExpected = 17,  ///< a typed number with neither "," nor "]" after it
    textAfterDocument = 18,            ///< something else than blanks after the document
    typedArrayIncomplete = 19,         ///< the text ended inside typed numbers
    nestingTooDeep = 20,               ///< more than 512 arrays and objects inside one another
};

/// @return   What `result` means, in lower case, to stand inside a sentence; "unknown parse result" for a
///           number that is no `ParseResult`.
/// @threads  Any, at any time.
FOUNDATION_JSON_EXPORT std::string get_parse_result_description(ParseResult result);

/// Text that could not be read as JSON.
///
/// `what()` shows the place:
///
///     JSON ParserException (E0002): invalid value (Line 3, Column 14)
///         "default": nul
///                    ^
///
/// Both the line and the mark below it stand after a tab. Lines end at a line feed; a carriage return right
/// before it, or at the end of the text, is not shown. A line is shown whole, whatever its length. A NUL byte
/// in it (or in the description) is shown as a blank, since `what()` would end there.
class FOUNDATION_JSON_EXPORT ParserException : public std::runtime_error {
public:
    /// @param description  What is wrong; stands in the message as it is.
    /// @param text         The whole text that was read.
    /// @param offset       Where in `text` the error lies, in bytes from 0; beyond the end counts as the end.
    ParserException(ParseResult code,
                    std::string_view description,
                    std::string_view text,
                    std::size_t offset);
    ParserException(ParserException const&) noexcept = default;
    ParserException& operator=(ParserException const&) noexcept = default;
    ~ParserException() override;

    ParseResult code() const noexcept { return code_; }

    /// @return  The error's line, counted from 1.
    std::size_t line() const noexcept { return line_; }

    /// @return  The error's column in bytes, counted from 1; one past the last byte when text is missing.
    std::size_t column() const noexcept { return column_; }

    /// @return  The description as it stands in the message, valid as long as this exception.
    std::string_view description() const noexcept;

private:
    struct Place;
    ParserException(ParseResult code, std::string_view description, Place const& place);

    ParseResult code_;
    std::size_t line_;
    std::size_t column_;
    // The description itself is a part of what(), so that copying allocates nothing and cannot throw.
    std::size_t descriptionLength_;
};

/// Reads a JSON document, strictly as RFC 8259 has it.
///
/// Whole numbers (no fraction, no exponent) become `std::int64_t`, above its range `std::uint64_t`, beyond
/// both `double`; "-0" is the `std::int64_t` 0. All other numbers become `double`, correctly rounded, 0 when
/// too small. Of members of one name the last one counts. A byte order mark is refused; a NUL byte does not
/// end the text.
///
/// Refused as too big are, besides numbers beyond the range of double, those whose whole part alone is beyond
/// it (whatever the exponent) and those whose exponent exceeds 308 plus the number of fraction digits (0e309
/// too).
///
/// @param text  UTF-8; need not end with a NUL.
/// @throws      ParserException with a code and its description for anything else than one JSON value with
///              blanks around it, and for more than 512 arrays and objects inside one another.
/// @threads     Any, at any time; independent of the locale.
/// @cost        Proportional to the text's length; stack use does not depend on the nesting.
FOUNDATION_JSON_EXPORT Value parse(std::string_view text);

namespace detail {

/// Reads one JSON number.
///
/// @param text  The whole number, with nothing around it.
/// @return      The double nearest to it, 0 with its sign when it is too small for one; empty when `text` is
///              no JSON number or is beyond the range of double.
/// @threads     Any, at any time; independent of the locale.
FOUNDATION_JSON_EXPORT std::optional<double> string_to_double(std::string_view text);

/// Converts UTF-16 to UTF-8.
///
/// @throws   std::range_error "ill-formed UTF-16 at offset <n>: surrogate without its partner"; n counts
///           16-bit units from 0.
/// @threads  Any, at any time.
FOUNDATION_JSON_EXPORT std::string u16_to_u8(std::u16string_view text);

}  // namespace detail
}  // namespace foundation::json
