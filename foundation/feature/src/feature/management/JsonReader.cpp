#include "JsonReader.hpp"

#include <array>
#include <bitset>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace foundation::feature::management {
namespace {

using json::ParseResult;
using json::Value;

constexpr std::string_view typedData = "qzdata";
constexpr std::string_view typeOfData = "qztype";

struct IntegerType {
    std::string_view name;
    bool isSigned;
    std::uint64_t largest;
};

constexpr IntegerType integerTypes[] = {
    {"int8", true, std::numeric_limits<std::int8_t>::max()},
    {"int16", true, std::numeric_limits<std::int16_t>::max()},
    {"int32", true, std::numeric_limits<std::int32_t>::max()},
    {"int64", true, std::numeric_limits<std::int64_t>::max()},
    {"uint8", false, std::numeric_limits<std::uint8_t>::max()},
    {"uint16", false, std::numeric_limits<std::uint16_t>::max()},
    {"uint32", false, std::numeric_limits<std::uint32_t>::max()},
    {"uint64", false, std::numeric_limits<std::uint64_t>::max()},
};

/// The type that a "qztype" names; null when it names none.
IntegerType const* findType(Value const& name) {
    if (!name.is<std::string>()) return nullptr;
    for (IntegerType const& type : integerTypes) {
        if (type.name == name.get<std::string>()) return &type;
    }
    return nullptr;
}

std::size_t indexOf(IntegerType const* type) {
    return static_cast<std::size_t>(type - integerTypes);
}

bool isHighSurrogate(char16_t unit) {
    return (unit & 0xFC00) == 0xD800;
}

bool isLowSurrogate(char16_t unit) {
    return (unit & 0xFC00) == 0xDC00;
}

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// For each byte, whether a string holds it as it is. A table, since most of a text is looked up here.
constexpr auto plainBytes = [] {
    std::array<bool, 256> result{};
    for (std::size_t byte = 0x20; byte < 0x80; ++byte)
        result[byte] = byte != '"' && byte != '\\';
    return result;
}();

bool isPlain(char c) {
    return plainBytes[static_cast<unsigned char>(c)];
}

/// The length of the UTF-8 sequence of two to four bytes that `text` begins with; 0 when it is ill-formed.
std::size_t sequenceLength(std::string_view text) {
    auto const byte = [text](std::size_t at) {
        return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
    };
    unsigned const lead = byte(0);
    if (lead < 0xC2 || lead > 0xF4) return 0;
    std::size_t const length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    // The second byte keeps out overlong forms, surrogates and what lies beyond U+10FFFF.
    unsigned const least = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned const most = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (byte(1) < least || byte(1) > most) return 0;
    for (std::size_t at = 2; at < length; ++at) {
        if (byte(at) < 0x80 || byte(at) > 0xBF) return 0;
    }
    return length;
}

/// Reads one value, with the arrays and objects that are not complete yet on a stack of its own.
class Reader {
public:
    /// Leaves the reading; `at()` is the position of the error.
    struct Failure {
        ParseResult result;
    };

    Reader(std::string_view text, std::size_t depth) : text_(text), depth_(depth) {}

    std::size_t at() const { return at_; }
    Value readDocument();

private:
    /// An array or object that is not complete yet. An array uses `items` alone.
    struct Level {
        bool isObject = false;
        std::vector<Value> items;
        std::map<std::string, Value> members;
        std::string name;                               // of the member that is being read
        IntegerType const* type = nullptr;              // what the last "qztype" names
        std::optional<std::size_t> dataAt;              // where the last "qzdata" begins
        IntegerType const* dataType = nullptr;          // what it was read as; null: ordinary JSON
        std::bitset<std::size(integerTypes)> dataFits;  // the types that it was read as since it came
    };

    [[noreturn]] void fail(ParseResult result) const { throw Failure{result}; }
    [[noreturn]] void fail(ParseResult result, std::size_t at) {
        at_ = at;
        fail(result);
    }

    bool atEnd() const { return at_ == text_.size(); }
    bool isDeepest() const { return depth_ + levels_.size() >= deepestNesting; }
    bool take(char c);
    template <class Condition>
    void skipWhile(Condition const& holds) {
        std::size_t at = at_;  // a local one, which need not be stored for each byte
        while (at != text_.size() && holds(text_[at]))
            ++at;
        at_ = at;
    }
    void skipBlanks() { skipWhile(isBlank); }
    bool skipDigits();

    bool beginValue();
    bool continueLevel();
    template <class Content>
    void add(Content&& content);
    void open(bool isObject);
    void close();
    void readName();
    void applyType(Level& level, IntegerType const* type);
    void rereadData(Level& level);
    std::vector<Value> readIntegers(Level& level);
    Value readInteger(IntegerType const* type);

    void skipWord(std::string_view word);
    double readNumber();
    void readString(std::string& result);
    void readEscape(std::string& result);
    char16_t readUnit(std::size_t escapeAt);

    std::string_view text_;
    std::size_t depth_;  // outside the text
    std::size_t at_ = 0;
    std::vector<Level> levels_;
    Value document_;
};

bool Reader::take(char c) {
    if (atEnd() || text_[at_] != c) return false;
    ++at_;
    return true;
}

/// @return  Whether there was any.
bool Reader::skipDigits() {
    std::size_t const first = at_;
    skipWhile(isDigit);
    return at_ != first;
}

Value Reader::readDocument() {
    skipBlanks();
    if (atEnd()) fail(ParseResult::emptyText);
    for (bool isComplete = false; !isComplete;) {
        isComplete = beginValue();
        while (isComplete && !levels_.empty())
            isComplete = continueLevel();
    }
    skipBlanks();
    return std::move(document_);
}

/// Reads the value that begins here and adds it; of an array or object with content only what stands before its
/// first element.
/// @return  Whether the value is complete.
bool Reader::beginValue() {
    if (!levels_.empty() && levels_.back().name == typedData) {
        Level& level = levels_.back();
        level.dataAt = at_;
        level.dataType = nullptr;
        level.dataFits.reset();
        if (level.type != nullptr) {
            add(readIntegers(level));
            return true;
        }
    }
    if (atEnd()) fail(ParseResult::invalidValue);
    switch (text_[at_]) {
    case '{':
        open(true);
        if (!take('}')) {
            readName();
            return false;
        }
        close();
        break;
    case '[':
        open(false);
        if (!take(']')) return false;
        close();
        break;
    case '"': {
        std::string text;
        readString(text);
        add(std::move(text));
        break;
    }
    case 't':
        skipWord("true");
        add(true);
        break;
    case 'f':
        skipWord("false");
        add(false);
        break;
    case 'n':
        skipWord("null");
        add(json::Null{});
        break;
    default:
        add(readNumber());
    }
    return true;
}

/// Reads on after an element of the innermost array or object, to where the next value begins.
/// @return  Whether that array or object is complete; it has been added then.
bool Reader::continueLevel() {
    Level const& level = levels_.back();
    skipBlanks();
    if (take(level.isObject ? '}' : ']')) {
        close();
        return true;
    }
    if (!take(',')) {
        fail(level.isObject ? ParseResult::commaOrBraceExpected : ParseResult::commaOrBracketExpected);
    }
    skipBlanks();
    if (level.isObject) readName();
    return false;
}

/// Puts a complete value where it belongs: into the innermost array or object, or it is the document. What a value
/// is made of, rather than the value: so it is made where it stays.
template <class Content>
void Reader::add(Content&& content) {
    if (levels_.empty()) {
        document_ = Value(std::forward<Content>(content));
        return;
    }
    Level& level = levels_.back();
    if (!level.isObject) {
        level.items.emplace_back(std::forward<Content>(content));
        return;
    }
    bool const isType = level.name == typeOfData;
    auto const [member, isNew] =
        level.members.try_emplace(std::move(level.name), std::forward<Content>(content));
    if (!isNew) member->second = Value(std::forward<Content>(content));  // not taken by the call before
    if (isType) applyType(level, findType(member->second));
}

void Reader::open(bool isObject) {
    if (isDeepest()) fail(ParseResult::nestingTooDeep);
    levels_.emplace_back().isObject = isObject;
    ++at_;
    skipBlanks();
}

/// Adds the innermost array or object, which is complete, to the one around it.
void Reader::close() {
    if (levels_.back().dataAt && levels_.back().dataType != levels_.back().type) rereadData(levels_.back());
    auto const addTaken = [this](auto& elements) {
        auto complete = std::move(elements);
        levels_.pop_back();
        add(std::move(complete));
    };
    if (levels_.back().isObject) {
        addTaken(levels_.back().members);
    } else {
        addTaken(levels_.back().items);
    }
}

/// Reads the name of a member, and the colon after it.
void Reader::readName() {
    if (atEnd() || text_[at_] != '"') fail(ParseResult::nameExpected);
    readString(levels_.back().name);
    skipBlanks();
    if (!take(':')) fail(ParseResult::colonExpected);
    skipBlanks();
}

/// Takes note of a "qztype". Data that was read as this type before is left as it is until the object's end:
/// however often the type changes, the data is read once for each type and once at the end.
void Reader::applyType(Level& level, IntegerType const* type) {
    level.type = type;
    if (level.dataAt && type != nullptr && !level.dataFits[indexOf(type)]) rereadData(level);
}

/// Reads the "qzdata" that came earlier once more, as what the last "qztype" says.
void Reader::rereadData(Level& level) {
    std::size_t const resumeAt = std::exchange(at_, *level.dataAt);
    level.members[std::string(typedData)] = readIntegers(level);
    at_ = resumeAt;
}

/// Reads an array of integers as `level.type`. When that is null, as ordinary JSON, which happens only to
/// what was read as integers before.
std::vector<Value> Reader::readIntegers(Level& level) {
    if (!take('[')) fail(ParseResult::typedArrayExpected);
    if (isDeepest()) fail(ParseResult::nestingTooDeep, at_ - 1);
    std::vector<Value> items;
    skipBlanks();
    for (bool isComplete = take(']'); !isComplete; isComplete = take(']')) {
        if (!items.empty()) {
            if (!atEnd() && !take(',')) fail(ParseResult::typedCommaOrBracketExpected);
            skipBlanks();
        }
        items.push_back(readInteger(level.type));
        skipBlanks();
    }
    level.dataType = level.type;
    if (level.type != nullptr) level.dataFits.set(indexOf(level.type));
    return items;
}

Value Reader::readInteger(IntegerType const* type) {
    std::size_t const start = at_;
    bool const isNegative = take('-');
    std::size_t const firstDigit = at_;
    skipDigits();
    if (atEnd()) fail(ParseResult::typedArrayIncomplete);
    std::string_view const digits = text_.substr(firstDigit, at_ - firstDigit);
    bool const hasLeadingZero = digits.size() > 1 && digits.front() == '0';
    bool const goesOn = text_[at_] == '.' || text_[at_] == 'e' || text_[at_] == 'E';
    if (digits.empty() || hasLeadingZero || goesOn) fail(ParseResult::typedIntegerExpected, start);
    if (type == nullptr) return json::detail::string_to_double(text_.substr(start, at_ - start)).value();

    std::uint64_t magnitude = 0;
    std::errc const error = std::from_chars(digits.data(), digits.data() + digits.size(), magnitude).ec;
    std::uint64_t const limit = !isNegative ? type->largest : type->isSigned ? type->largest + 1 : 0;
    if (error != std::errc{} || magnitude > limit) fail(ParseResult::typedIntegerOutOfRange, start);
    if (!type->isSigned) return magnitude;
    return static_cast<std::int64_t>(isNegative ? 0 - magnitude : magnitude);
}

void Reader::skipWord(std::string_view word) {
    if (!text_.substr(at_).starts_with(word)) fail(ParseResult::invalidValue);
    at_ += word.size();
}

double Reader::readNumber() {
    std::size_t const start = at_;
    take('-');
    if (!take('0') && !skipDigits()) fail(ParseResult::invalidValue);
    if (take('.') && !skipDigits()) fail(ParseResult::invalidNumber);
    if (take('e') || take('E')) {
        if (!take('+')) take('-');
        if (!skipDigits()) fail(ParseResult::invalidNumber);
    }
    auto const number = json::detail::string_to_double(text_.substr(start, at_ - start));
    if (!number) fail(ParseResult::numberTooBig, start);
    return *number;
}

void Reader::readString(std::string& result) {
    std::size_t start = ++at_;
    skipWhile(isPlain);
    result.assign(text_, start, at_ - start);
    for (;;) {
        if (atEnd()) fail(ParseResult::unterminatedString);
        if (take('"')) return;
        if (text_[at_] == '\\') {
            readEscape(result);
        } else if (static_cast<unsigned char>(text_[at_]) < 0x20) {
            fail(ParseResult::controlCharacter);
        } else {
            std::size_t const length = sequenceLength(text_.substr(at_));
            if (length == 0) fail(ParseResult::invalidUtf8);
            result.append(text_, at_, length);
            at_ += length;
        }
        start = at_;
        skipWhile(isPlain);
        result.append(text_, start, at_ - start);
    }
}

void Reader::readEscape(std::string& result) {
    constexpr std::string_view letters = "\"\\/bfnrt";
    constexpr std::string_view meanings = "\"\\/\b\f\n\r\t";
    std::size_t const start = at_++;
    if (atEnd()) fail(ParseResult::unterminatedString);
    char const letter = text_[at_++];
    if (letter != 'u') {
        std::size_t const meaning = letters.find(letter);
        if (meaning == std::string_view::npos) fail(ParseResult::invalidEscape, start);
        result.push_back(meanings[meaning]);
        return;
    }
    // Only a high surrogate takes the escape after it along: any other unit is a character by itself.
    std::u16string units(1, readUnit(start));
    if (isHighSurrogate(units[0]) && text_.substr(at_).starts_with("\\u")) {
        std::size_t const second = at_;
        at_ += 2;
        units.push_back(readUnit(second));
    }
    bool const isPair = units.size() == 2 && isLowSurrogate(units[1]);
    if (!isPair && (isHighSurrogate(units[0]) || isLowSurrogate(units[0])))
        fail(ParseResult::loneSurrogate, start);
    result += json::detail::u16_to_u8(units);
}

/// Reads the four digits of a backslash-u escape that begins at `escapeAt`.
char16_t Reader::readUnit(std::size_t escapeAt) {
    constexpr std::size_t length = 4;
    std::string_view const digits = text_.substr(at_, length);
    std::uint16_t unit = 0;
    auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), unit, 16);
    std::size_t const read = static_cast<std::size_t>(end - digits.data());
    if (read == digits.size() && read < length) fail(ParseResult::unterminatedString, text_.size());
    if (error != std::errc{} || read < length) fail(ParseResult::invalidEscape, escapeAt);
    at_ += length;
    return unit;
}

}  // namespace

json::ParseResult readJson(std::string_view text, json::Value& value, std::size_t& used, std::size_t depth) {
    Reader reader(text, depth);
    ParseResult result = ParseResult::success;
    try {
        value = reader.readDocument();
    } catch (Reader::Failure const& failure) {
        result = failure.result;
    }
    used = reader.at();
    return result;
}

}  // namespace foundation::feature::management
