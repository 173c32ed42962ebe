#pragma once

// Stand-in for the host's path library; implements only what CONTRACT.md lists.

#include <fl/filesystem_export.hpp>

#include <concepts>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

namespace fl::filesystem {

/// A path as UTF-16 text, the same on every system. It stands wherever a `std::filesystem::path` is taken,
/// and takes whatever names a file: text in UTF-16, text in UTF-8, a `std::filesystem::path`. The text is
/// kept as it is given: no separator is changed, nothing is looked up.
///
/// @threads  As a standard string: any number may read one path, or one may change it.
class path {
public:
    /// The empty path.
    path() = default;

    /// @param text  UTF-16; not checked here, but on conversion to UTF-8.
    path(std::u16string text) noexcept : text_(std::move(text)) {}
    path(std::u16string_view text) : text_(text) {}
    path(char16_t const* text) : text_(text) {}

    /// @param utf8  UTF-8 on every system, whatever its locale or code page.
    /// @throws      std::range_error "ill-formed UTF-8 at offset <n>: <what>", n in bytes from 0.
    FL_FILESYSTEM_EXPORT path(std::string const& utf8);
    path(std::string_view utf8) : path(std::string(utf8)) {}
    path(char const* utf8) : path(std::string(utf8)) {}

    /// @param native  Its bytes are taken as UTF-8; on Windows, where it holds 16-bit units, these are taken
    ///                as they are.
    /// @throws        std::range_error as above when the bytes are not UTF-8.
    FL_FILESYSTEM_EXPORT path(std::filesystem::path const& native);

    /// @return  The text in UTF-16, as long as this path lives and is not changed.
    std::u16string const& ustring() const noexcept { return text_; }

    /// @return  The same path for the standard library and the system: in UTF-8, on Windows in 16-bit units.
    /// @throws  std::range_error "ill-formed UTF-16 at offset <n>: <what>", n in 16-bit units from 0; never
    ///          on Windows.
    FL_FILESYSTEM_EXPORT operator std::filesystem::path() const;

    /// Whether both have the same text, unit for unit.
    friend bool operator==(path const&, path const&) = default;
    // A template, so that it takes nothing by conversion: that is the operator's above.
    template <std::same_as<std::filesystem::path> Standard>
    friend bool operator==(path const& left, Standard const& right) {
        return left == path(right);
    }

private:
    std::u16string text_;
};

namespace detail {

/// Gives the text of a path the separators of the system it is used on.
///
/// @param text     UTF-16.
/// @param convert  Whether to change anything; false leaves the text as it is, on every system.
/// @return         On Windows `text` with every "/" replaced by "\"; elsewhere `text` unchanged, since a
///                 backslash is a letter like any other there.
/// @threads        Any, at any time.
FL_FILESYSTEM_EXPORT std::u16string make_native_form(std::u16string text, bool convert);

}  // namespace detail

}  // namespace fl::filesystem
