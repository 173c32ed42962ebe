#include <foundation/json/parse.hpp>

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <charconv>
#include <cstdint>
#include <map>
#include <system_error>
#include <utility>
#include <vector>

namespace foundation::json {
namespace {

constexpr std::size_t deepest = 512;

/// Makes a value of the reader's events. An event that returns false ends the reading; `failure()` says why.
class Builder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Builder> {
public:
    Value take() { return std::move(document_); }
    ParseResult failure() const { return failure_; }

    bool Null() { return add(json::Null{}); }
    bool Bool(bool truth) { return add(truth); }

    // Numbers come as text: the reader's own conversion is not correctly rounded for very long ones.
    bool RawNumber(char const* text, rapidjson::SizeType length, bool) {
        std::string_view const number(text, length);
        if (number.find_first_of(".eE") == std::string_view::npos) {
            if (auto const whole = integer<std::int64_t>(number)) return add(*whole);
            if (auto const whole = integer<std::uint64_t>(number)) return add(*whole);
        }
        if (auto const nearest = detail::string_to_double(number)) return add(*nearest);
        return fail(ParseResult::numberTooBig);
    }

    bool String(char const* text, rapidjson::SizeType length, bool) {
        std::string_view const string(text, length);
        return check(string) && add(string);
    }

    bool Key(char const* text, rapidjson::SizeType length, bool) {
        levels_.back().name.assign(text, length);
        return check(levels_.back().name);
    }

    bool StartObject() { return open(true); }
    bool StartArray() { return open(false); }
    bool EndObject(rapidjson::SizeType) { return add(std::move(close().members)); }
    bool EndArray(rapidjson::SizeType) { return add(std::move(close().items)); }

private:
    /// An array or object that is not complete yet; only one of `items` and `members` is used.
    struct Level {
        std::vector<Value> items;
        std::map<std::string, Value> members;
        std::string name;  // of the member that is being read
        bool isObject = false;
    };

    bool fail(ParseResult why) {
        failure_ = why;
        return false;
    }

    bool open(bool isObject) {
        if (levels_.size() == deepest) return fail(ParseResult::nestingTooDeep);
        levels_.emplace_back().isObject = isObject;
        return true;
    }

    Level close() {
        Level complete = std::move(levels_.back());
        levels_.pop_back();
        return complete;
    }

    bool add(Value value) {
        if (levels_.empty()) {
            document_ = std::move(value);
        } else if (Level& level = levels_.back(); level.isObject) {
            level.members.insert_or_assign(std::move(level.name), std::move(value));
        } else {
            level.items.push_back(std::move(value));
        }
        return true;
    }

    /// The reader lets the escape of a low surrogate pass that follows no high one, and writes it as the
    /// three bytes that no well-formed text has.
    bool check(std::string_view string) {
        for (std::size_t at = string.find('\xED'); at != std::string_view::npos;
             at = string.find('\xED', at + 1)) {
            if (static_cast<unsigned char>(string[at + 1]) >= 0xA0) return fail(ParseResult::loneSurrogate);
        }
        return true;
    }

    template <class Number>
    static std::optional<Number> integer(std::string_view text) {
        Number number = 0;
        char const* const end = text.data() + text.size();
        auto const [next, error] = std::from_chars(text.data(), end, number);
        return error == std::errc{} && next == end ? std::optional(number) : std::nullopt;
    }

    std::vector<Level> levels_;
    Value document_;
    ParseResult failure_ = ParseResult::invalidValue;
};

/// Where the first escape of a low surrogate stands that follows no high one; there is one, and what stands
/// before it is well-formed. Backslashes stand in strings only.
std::size_t findLoneLowSurrogate(std::string_view text) {
    constexpr std::size_t simpleLength = 2, unitLength = 6, pairLength = 12;
    std::size_t at = text.find('\\');
    while (at != std::string_view::npos) {
        std::size_t length = simpleLength;
        if (text[at + 1] == 'u') {
            unsigned unit = 0;
            std::from_chars(text.data() + at + 2, text.data() + at + unitLength, unit, 16);
            if (unit >= 0xDC00 && unit <= 0xDFFF) return at;
            length = unit >= 0xD800 && unit <= 0xDBFF ? pairLength : unitLength;
        }
        at = text.find('\\', at + length);
    }
    return text.size();
}

/// The reader's error at `offset` of `text`, as one of ours. Where the reader meets a NUL byte it believes
/// itself at the end of the text.
ParseResult translate(rapidjson::ParseErrorCode error, std::string_view text, std::size_t offset) {
    bool const atEnd = offset >= text.size();
    switch (error) {
    case rapidjson::kParseErrorNone:
        return ParseResult::success;
    case rapidjson::kParseErrorDocumentEmpty:
        return atEnd ? ParseResult::emptyText : ParseResult::invalidValue;
    case rapidjson::kParseErrorDocumentRootNotSingular:
        return ParseResult::textAfterDocument;
    case rapidjson::kParseErrorObjectMissName:
        return ParseResult::nameExpected;
    case rapidjson::kParseErrorObjectMissColon:
        return ParseResult::colonExpected;
    case rapidjson::kParseErrorObjectMissCommaOrCurlyBracket:
        return ParseResult::commaOrBraceExpected;
    case rapidjson::kParseErrorArrayMissCommaOrSquareBracket:
        return ParseResult::commaOrBracketExpected;
    case rapidjson::kParseErrorStringUnicodeEscapeInvalidHex:
        return ParseResult::invalidEscape;
    case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
        return ParseResult::loneSurrogate;
    case rapidjson::kParseErrorStringEscapeInvalid:
        return text[offset] == '\\' ? ParseResult::invalidEscape : ParseResult::controlCharacter;
    case rapidjson::kParseErrorStringMissQuotationMark:
        return atEnd ? ParseResult::unterminatedString : ParseResult::controlCharacter;
    case rapidjson::kParseErrorStringInvalidEncoding:
        return ParseResult::invalidUtf8;
    case rapidjson::kParseErrorNumberTooBig:
        return ParseResult::numberTooBig;
    case rapidjson::kParseErrorNumberMissFraction:
    case rapidjson::kParseErrorNumberMissExponent:
        return ParseResult::invalidNumber;
    case rapidjson::kParseErrorValueInvalid:
    case rapidjson::kParseErrorTermination:
    case rapidjson::kParseErrorUnspecificSyntaxError:
        break;
    }
    return ParseResult::invalidValue;
}

}  // namespace

Value parse(std::string_view text) {
    constexpr unsigned flags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag |
                               rapidjson::kParseNumbersAsStringsFlag;
    Builder builder;
    rapidjson::MemoryStream stream(text.data(), text.size());
    rapidjson::Reader reader;
    reader.Parse<flags>(stream, builder);

    std::size_t offset = stream.Tell();
    ParseResult result = ParseResult::success;
    if (reader.GetParseErrorCode() == rapidjson::kParseErrorTermination) {
        result = builder.failure();
        offset = result == ParseResult::loneSurrogate ? findLoneLowSurrogate(text) : reader.GetErrorOffset();
    } else if (reader.HasParseError()) {
        offset = reader.GetErrorOffset();
        result = translate(reader.GetParseErrorCode(), text, offset);
    } else if (offset < text.size()) {
        // A NUL byte after the document.
        result = ParseResult::textAfterDocument;
    }
    if (result == ParseResult::success) return builder.take();
    throw ParserException(result, get_parse_result_description(result), text, offset);
}

}  // namespace foundation::json
