#include "text.hpp"

#include <gtest/gtest.h>

#include <string>

namespace demo {
namespace {

TEST(PrintableText, KeepsWhatATerminalCanShowAndWritesTheRestAsHexadecimalBytes) {
    struct Row {
        char const* says;
        std::string text;
        std::string printed;
    };
    Row const rows[] = {
        {"ASCII stays", "a b~", "a b~"},
        {"so does well-formed UTF-8", "caf\xC3\xA9", "caf\xC3\xA9"},
        {"control characters do not", "a\tb\nc\x1B[0m\x7F", "a\\x09b\\x0Ac\\x1B[0m\\x7F"},
        {"nor does half a character", "\"\xC3\"", "\"\\xC3\""},
        {"nor does a NUL", std::string("a\0b", 3), "a\\x00b"},
        {"nothing stays nothing", "", ""},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(printable(row.text), row.printed);
    }
}

TEST(TextOfOneLine, JoinsLinesByAColon) {
    EXPECT_EQ(oneLine("what\nwhy"), "what: why");
    EXPECT_EQ(oneLine("one line"), "one line");
    EXPECT_EQ(oneLine("bad \xFF\ngood \xC3\xA9"), "bad \\xFF: good \xC3\xA9");
}

TEST(TheWidthOfAText, CountsCharactersNotBytes) {
    EXPECT_EQ(width(""), 0U);
    EXPECT_EQ(width("abc"), 3U);
    EXPECT_EQ(width("caf\xC3\xA9 \xE2\x82\xAC"), 6U);
}

}  // namespace
}  // namespace demo
