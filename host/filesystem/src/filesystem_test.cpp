#include <fl/filesystem.hpp>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace fl::filesystem {
namespace {

char const* const utf8Name = "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80.json";
char16_t const* const utf16Name = u"caf\u00E9 \u20AC \U0001F600.json";

std::string errorOf(std::function<void()> const& action) {
    try {
        action();
    } catch (std::range_error const& error) {
        return error.what();
    }
    return "no error";
}

/// An empty folder of its own, gone with this object.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::random_device random;
        do {
            name = std::filesystem::temp_directory_path() / ("fl_filesystem_" + std::to_string(random()));
        } while (!std::filesystem::create_directory(name));
    }
    ~TemporaryFolder() {
        std::error_code ignored;  // A leftover folder fails no test.
        std::filesystem::remove_all(name, ignored);
    }
    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;

    std::filesystem::path name;
};

std::u16string textOf(path const& given) {
    return given.ustring();
}

TEST(APath, IsEmptyUnlessGivenText) {
    EXPECT_TRUE(path().ustring().empty());
    EXPECT_TRUE(path("").ustring().empty());
    EXPECT_TRUE(std::filesystem::path(path()).empty());
}

TEST(APath, IsMadeFromWhateverNamesAFile) {
    std::u16string const expected = utf16Name;
    EXPECT_TRUE(textOf(std::u16string(utf16Name)) == expected);
    EXPECT_TRUE(textOf(std::u16string_view(utf16Name)) == expected);
    EXPECT_TRUE(textOf(utf16Name) == expected);
    EXPECT_TRUE(textOf(u"caf\u00E9 \u20AC \U0001F600.json") == expected);
    EXPECT_TRUE(textOf(std::string(utf8Name)) == expected);
    EXPECT_TRUE(textOf(std::string_view(utf8Name)) == expected);
    EXPECT_TRUE(textOf(utf8Name) == expected);
    EXPECT_TRUE(textOf("caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80.json") == expected);
    EXPECT_TRUE(textOf(std::filesystem::path(utf16Name)) == expected);
}

TEST(APath, IsAssignedWhateverItIsMadeFrom) {
    path target;
    target = utf8Name;
    EXPECT_EQ(target, path(utf16Name));
    target = u"b";
    EXPECT_EQ(target, path("b"));
    target = std::filesystem::path("c");
    EXPECT_EQ(target, path("c"));
    target = path();
    EXPECT_EQ(target, path());
}

TEST(APath, StandsWhereAStandardPathDoes) {
    static_assert(std::is_convertible_v<path, std::filesystem::path>);
    static_assert(std::is_convertible_v<std::filesystem::path, path>);
    path const mine = utf8Name;
    std::filesystem::path const made(mine);
    std::filesystem::path const copied = mine;
    std::filesystem::path assigned;
    assigned = mine;
    std::filesystem::path const expected(utf16Name);
    EXPECT_EQ(made, expected);
    EXPECT_EQ(copied, expected);
    EXPECT_EQ(assigned, expected);
    EXPECT_FALSE(std::filesystem::exists(mine));
}

TEST(APath, KeepsItsTextAsGiven) {
    struct Row {
        char const* says;
        std::u16string text;
    };
    Row const rows[] = {
        {"slashes", u"bin/win64//fctrl_ext/"},
        {"backslashes", u"C:\\host\\..\\bin"},
        {"dots", u"./a/../b"},
        {"U+0000", std::u16string(u"a\0b", 3)},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_TRUE(path(row.text).ustring() == row.text);
        EXPECT_TRUE(path(std::filesystem::path(path(row.text))).ustring() == row.text);
    }
}

TEST(APath, NamesTheSameFileThereAndBack) {
    TemporaryFolder const folder;
    path const file = folder.name / std::filesystem::path(path(utf8Name));
    { std::ofstream(std::filesystem::path(file)) << "content"; }
    EXPECT_EQ(std::filesystem::file_size(file), 7u);
    auto const entries = std::filesystem::directory_iterator(folder.name);
    ASSERT_NE(entries, std::filesystem::directory_iterator());
    EXPECT_EQ(path(entries->path()), file);
    EXPECT_EQ(path(entries->path().filename()), path(utf16Name));
}

TEST(APath, EqualsAnotherOfTheSameText) {
    EXPECT_EQ(path("a/b"), path(u"a/b"));
    EXPECT_NE(path("a/b"), path("a/B"));
    EXPECT_NE(path("a/b"), path("a\\b"));
    EXPECT_TRUE(path(utf8Name) == utf16Name);
    EXPECT_TRUE(utf8Name == path(utf16Name));
    EXPECT_TRUE(path("a/b") == std::filesystem::path("a/b"));
    EXPECT_TRUE(std::filesystem::path("a/b") == path("a/b"));
}

TEST(APath, OfIllFormedUtf8IsRefused) {
    std::string const error = "ill-formed UTF-8 at offset 2: byte that UTF-8 never uses";
    EXPECT_EQ(errorOf([] { path(std::string("ab\xFF")); }), error);
    EXPECT_EQ(errorOf([] { path(std::string_view("ab\xFF")); }), error);
    EXPECT_EQ(errorOf([] { path("ab\xFF"); }), error);
}

#if defined(_WIN32)

TEST(APath, KeepsWhatOnlyWindowsTakesForAName) {
    std::u16string const lone = {u'a', 0xD83D};
    EXPECT_TRUE(path(std::filesystem::path(path(lone))).ustring() == lone);
}

#else

TEST(APath, IsNotMadeFromAFileNameThatIsNotUtf8) {
    std::filesystem::path const latin1("caf\xE9/x");
    EXPECT_EQ(errorOf([&] { path const converted = latin1; }),
              "ill-formed UTF-8 at offset 3: sequence cut short");
}

TEST(APath, OfIllFormedUtf16IsRefusedOnlyWhenConverted) {
    path const lone(std::u16string{u'a', 0xD83D});
    EXPECT_EQ(lone.ustring().size(), 2u);
    EXPECT_EQ(errorOf([&] { std::filesystem::path const converted = lone; }),
              "ill-formed UTF-16 at offset 1: high surrogate without a low one after it");
}

#endif

TEST(TheNativeForm, HasTheSeparatorsOfTheSystem) {
    struct Row {
        char const* says;
        std::u16string text;
        std::u16string onWindows;
    };
    Row const rows[] = {
        {"nothing", u"", u""},
        {"no separator", u"abc", u"abc"},
        {"slashes", u"bin/win64/fctrl_ext", u"bin\\win64\\fctrl_ext"},
        {"slashes at both ends and twice", u"/a//b/", u"\\a\\\\b\\"},
        {"backslashes", u"a\\b", u"a\\b"},
        {"both, beyond ASCII", u"\u00E9/\\\U0001F600/", u"\u00E9\\\\\U0001F600\\"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
#if defined(_WIN32)
        EXPECT_TRUE(detail::make_native_form(row.text, true) == row.onWindows);
#else
        EXPECT_TRUE(detail::make_native_form(row.text, true) == row.text);
#endif
    }
}

TEST(TheNativeForm, IsTheTextItselfWhenNotAskedToConvert) {
    EXPECT_TRUE(detail::make_native_form(u"a/b\\c", false) == u"a/b\\c");
}

}  // namespace
}  // namespace fl::filesystem
