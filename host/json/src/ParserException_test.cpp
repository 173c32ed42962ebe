#include <foundation/json/parse.hpp>

#include <gtest/gtest.h>

#include <exception>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

namespace foundation::json {
namespace {

using namespace std::string_view_literals;

TEST(TheMessage, ShowsTheCodeTheDescriptionThePlaceAndTheLine) {
    ParserException const error(
        static_cast<ParseResult>(14), "no bracket", "{\n  \"a\": 1,\n  \"b\": 2\n}", 19);
    EXPECT_STREQ(error.what(),
                 "JSON ParserException (E0014): no bracket (Line 3, Column 8)\n\t  \"b\": 2\n\t       ^");
    EXPECT_EQ(error.code(), ParseResult::typedArrayExpected);
    EXPECT_EQ(error.line(), 3U);
    EXPECT_EQ(error.column(), 8U);
    EXPECT_EQ(error.description(), "no bracket");
}

TEST(TheMessage, ShowsAnIncompleteParseWithCodeZero) {
    ParserException const error(static_cast<ParseResult>(0), "Parse incomplete", "1 2", 2);
    EXPECT_STREQ(error.what(),
                 "JSON ParserException (E0000): Parse incomplete (Line 1, Column 3)\n\t1 2\n\t  ^");
}

TEST(TheCode, HasFourDigitsOrMore) {
    auto const message = [](int code) {
        return std::string(ParserException(static_cast<ParseResult>(code), "d", "", 0).what());
    };
    EXPECT_EQ(message(7), "JSON ParserException (E0007): d (Line 1, Column 1)\n\t\n\t^");
    EXPECT_EQ(message(9999), "JSON ParserException (E9999): d (Line 1, Column 1)\n\t\n\t^");
    EXPECT_EQ(message(12345), "JSON ParserException (E12345): d (Line 1, Column 1)\n\t\n\t^");
}

TEST(ThePlace, IsGivenByLineAndColumnFromOne) {
    struct Row {
        char const* says;
        std::string_view text;
        std::size_t offset;
        std::size_t line;
        std::size_t column;
        char const* lineText;
    };
    Row const rows[] = {
        {"the first byte", "abc", 0, 1, 1, "abc"},
        {"the last byte", "abc", 2, 1, 3, "abc"},
        {"the end of the text", "abc", 3, 1, 4, "abc"},
        {"beyond the end of the text", "abc", 99, 1, 4, "abc"},
        {"an empty text", "", 0, 1, 1, ""},
        {"a line feed belongs to the line that it ends", "ab\ncd", 2, 1, 3, "ab"},
        {"the byte after a line feed begins the next line", "ab\ncd", 3, 2, 1, "cd"},
        {"a text that ends with a line feed ends in an empty line", "ab\n", 3, 2, 1, ""},
        {"a carriage return before a line feed is not shown", "ab\r\ncd\r\nef", 5, 2, 2, "cd"},
        {"it has its column all the same", "ab\r\ncd", 2, 1, 3, "ab"},
        {"so has the line feed after it", "ab\r\ncd", 3, 1, 4, "ab"},
        {"a carriage return at the end of the text is not shown", "ab\r", 0, 1, 1, "ab"},
        {"one elsewhere is", "a\rb\n", 2, 1, 3, "a\rb"},
        {"only the last of two is not", "a\r\r\n", 0, 1, 1, "a\r"},
        {"empty lines count", "\n\n\nx", 3, 4, 1, "x"},
        {"columns count bytes", "\xC3\xA4\xC3\xB6x", 4, 1, 5, "\xC3\xA4\xC3\xB6x"},
        {"a tab is one byte", "\t\tx", 2, 1, 3, "\t\tx"},
        {"a NUL byte is shown as a blank", "a\0b\0"sv, 2, 1, 3, "a b "},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        ParserException const error(ParseResult::invalidValue, "d", row.text, row.offset);
        EXPECT_EQ(error.line(), row.line);
        EXPECT_EQ(error.column(), row.column);
        EXPECT_EQ(std::string(error.what()),
                  "JSON ParserException (E0002): d (Line " + std::to_string(row.line) + ", Column " +
                      std::to_string(row.column) + ")\n\t" + row.lineText + "\n\t" +
                      std::string(row.column - 1, ' ') + "^");
    }
}

TEST(AVeryLongLine, IsShownWhole) {
    std::string const line(100'000, 'x');
    ParserException const error(ParseResult::invalidValue, "d", "\n" + line + "\n", 99'999);
    EXPECT_EQ(std::string(error.what()),
              "JSON ParserException (E0002): d (Line 2, Column 99999)\n\t" + line + "\n\t" +
                  std::string(99'998, ' ') + "^");
}

TEST(TheDescription, StandsInTheMessageAsItIs) {
    std::string const odd = "): (Line 1, \"^\")\n";
    ParserException const error(ParseResult::invalidValue, odd, "x", 0);
    EXPECT_EQ(error.description(), odd);
    EXPECT_EQ(std::string(error.what()),
              "JSON ParserException (E0002): " + odd + " (Line 1, Column 1)\n\tx\n\t^");
    EXPECT_EQ(ParserException(ParseResult::invalidValue, "", "x", 0).description(), "");
    EXPECT_EQ(ParserException(ParseResult::invalidValue, "a\0b"sv, "x", 0).description(), "a b");
}

TEST(ACopyOfTheException, SaysTheSameAndCannotFail) {
    EXPECT_TRUE(std::is_nothrow_copy_constructible_v<ParserException>);
    EXPECT_TRUE(std::is_nothrow_copy_assignable_v<ParserException>);
    ParserException copy(ParseResult::success, "other", "", 0);
    {
        ParserException const error(ParseResult::invalidUtf8, "bad bytes", "\n ab", 2);
        copy = error;
    }
    ParserException const second = copy;
    EXPECT_STREQ(second.what(), "JSON ParserException (E0007): bad bytes (Line 2, Column 2)\n\t ab\n\t ^");
    EXPECT_EQ(second.description(), "bad bytes");
    EXPECT_EQ(second.code(), ParseResult::invalidUtf8);
    EXPECT_EQ(second.line(), 2U);
    EXPECT_EQ(second.column(), 2U);
}

TEST(TheException, ThatTheLibraryThrowsIsCaughtByItsTypeAndItsBase) {
    EXPECT_THROW(parse("["), ParserException);
    EXPECT_THROW(parse("["), std::runtime_error);
    std::exception_ptr kept;
    try {
        parse("nul");
    } catch (...) {
        kept = std::current_exception();
    }
    try {
        std::rethrow_exception(kept);
    } catch (ParserException const& error) {
        EXPECT_EQ(error.code(), ParseResult::invalidValue);
    }
}

TEST(EachResult, HasADescriptionOfItsOwn) {
    std::set<std::string> descriptions;
    for (int code = 0; code <= 20; ++code) {
        std::string const description = get_parse_result_description(static_cast<ParseResult>(code));
        EXPECT_NE(description, "unknown parse result") << code;
        EXPECT_TRUE(descriptions.insert(description).second) << description;
    }
    EXPECT_EQ(get_parse_result_description(ParseResult::success), "no error");
    EXPECT_EQ(get_parse_result_description(static_cast<ParseResult>(14)),
              "\"[\" expected at the beginning of typed numbers");
    EXPECT_EQ(get_parse_result_description(static_cast<ParseResult>(19)), "text ended inside typed numbers");
}

TEST(AnUnknownResult, HasADescriptionToo) {
    EXPECT_EQ(get_parse_result_description(static_cast<ParseResult>(21)), "unknown parse result");
    EXPECT_EQ(get_parse_result_description(static_cast<ParseResult>(-1)), "unknown parse result");
}

}  // namespace
}  // namespace foundation::json
