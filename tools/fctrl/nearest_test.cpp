#include "nearest.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace fctrl {
namespace {

TEST(TheDistance, IsTheNumberOfLettersThatAreWrong) {
    struct Row {
        char const* says;
        char const* left;
        char const* right;
        std::size_t distance;
    };
    Row const rows[] = {
        {"equal texts", "abc", "abc", 0},
        {"one is empty", "", "abc", 3},
        {"a letter too much", "abbc", "abc", 1},
        {"a letter too few", "ac", "abc", 1},
        {"another letter", "abd", "abc", 1},
        {"two that are swapped", "acb", "abc", 1},
        {"swapped at the beginning", "bacd", "abcd", 1},
        {"all are others", "xyz", "abc", 3},
        {"beyond the limit", "xxxxxxxx", "abcdefgh", 6},
        {"beyond the limit by the lengths alone", "", "abcdefgh", 6},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(editDistance(row.left, row.right, 5), row.distance);
        EXPECT_EQ(editDistance(row.right, row.left, 5), row.distance);
    }
}

TEST(TheNearest, ComeFirst) {
    std::vector<std::string> const names = {
        "MeshColour", "MeshColours", "meshcolor", "Document", "MeshQuality"};
    EXPECT_EQ(nearest("MeshColor", names, 3),
              (std::vector<std::string>{"meshcolor", "MeshColour", "MeshColours"}));
    EXPECT_EQ(nearest("MeshColor", names, 1), std::vector<std::string>{"meshcolor"});
    EXPECT_EQ(nearest("Mesh", names, 2), (std::vector<std::string>{"meshcolor", "MeshColour"}));
    EXPECT_EQ(nearest("SomeDocument", names, 2), std::vector<std::string>{"Document"});
    EXPECT_EQ(nearest("Doc", names, 2), std::vector<std::string>{});
    EXPECT_EQ(nearest("Nothing", names, 3), std::vector<std::string>{});
    EXPECT_EQ(nearest("", names, 3), std::vector<std::string>{});
}

TEST(Suggestions, AreAQuestion) {
    EXPECT_EQ(suggestion({}), "");
    EXPECT_EQ(suggestion({"a"}), R"(; did you mean "a"?)");
    EXPECT_EQ(suggestion({"a", "b", "c"}), R"(; did you mean "a", "b" or "c"?)");
}

}  // namespace
}  // namespace fctrl
