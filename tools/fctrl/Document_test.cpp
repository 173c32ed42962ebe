#include "Document.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace fctrl {
namespace {

std::string textOf(Document const& document, Range range) {
    return std::string(document.text().substr(range.begin, range.end - range.begin));
}

TEST(ADocument, KnowsWhereEachValueStands) {
    Document document("x", R"( { "a" : [ 1 , -2.5e3,true ] ,"\u0062\"":"c\"," , "d":{ } , "e":null } )");
    document.findEntries();
    std::vector<std::string> values;
    std::vector<std::string> names;
    for (Entry const& entry : document.entries()) {
        values.push_back(textOf(document, entry.value));
        names.emplace_back(entry.name);
    }
    EXPECT_EQ(
        values,
        (std::vector<std::string>{R"({ "a" : [ 1 , -2.5e3,true ] ,"\u0062\"":"c\"," , "d":{ } , "e":null })",
                                  "[ 1 , -2.5e3,true ]",
                                  "1",
                                  "-2.5e3",
                                  "true",
                                  R"("c\",")",
                                  "{ }",
                                  "null"}));
    EXPECT_EQ(names, (std::vector<std::string>{"", "a", "", "", "", "b\"", "d", "e"}));
    EXPECT_EQ(document.children(0), (std::vector<std::size_t>{1, 5, 6, 7}));
    EXPECT_EQ(document.children(1), (std::vector<std::size_t>{2, 3, 4}));
    EXPECT_EQ(document.children(6), (std::vector<std::size_t>{}));
    EXPECT_EQ(textOf(document, document.entries()[5].key), R"("\u0062\"")");
}

TEST(ADocument, CountsLinesAndCharactersFromOne) {
    Document const document("x", "a\nöb\r\n\xFFz");
    struct Row {
        char const* says;
        std::size_t offset;
        std::size_t line;
        std::size_t column;
        char const* text;
    };
    Row const rows[] = {
        {"the beginning", 0, 1, 1, "a"},
        {"a line feed belongs to the line that it ends", 1, 1, 2, "a"},
        {"a letter of two bytes is one character", 4, 2, 2, "öb"},
        {"a carriage return is no part of the line", 5, 2, 3, "öb"},
        {"a byte that is no UTF-8 is one character", 8, 3, 2, "\xFFz"},
        {"the end", 9, 3, 3, "\xFFz"},
        {"beyond the end is the end", 99, 3, 3, "\xFFz"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        Document::Place const place = document.place(row.offset);
        EXPECT_EQ(place.line, row.line);
        EXPECT_EQ(place.column, row.column);
        EXPECT_EQ(textOf(document, document.line(row.offset)), row.text);
    }
}

TEST(ADocument, CountsTheColumnsOfLongLinesToo) {
    std::string text;
    for (int i = 0; i < 10000; ++i)
        text += "ö.";
    Document const document("x", text);
    for (std::size_t i : {0U, 1U, 1365U, 4095U, 4096U, 9999U}) {
        EXPECT_EQ(document.place(3 * i).column, 2 * i + 1);
        EXPECT_EQ(document.place(3 * i + 2).column, 2 * i + 2);
    }
}

TEST(ADocument, LeavesAByteOrderMarkOut) {
    Document const document("x", "\xEF\xBB\xBF[]");
    EXPECT_TRUE(document.hadByteOrderMark());
    EXPECT_EQ(document.text(), "[]");
    EXPECT_EQ(document.place(1).column, 2U);
}

}  // namespace
}  // namespace fctrl
