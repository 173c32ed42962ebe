#include <fl/filesystem.hpp>

#include <fl/i18n.hpp>

#include <algorithm>

namespace fl::filesystem {

path::path(std::string const& utf8) : text_(i18n::utf8_to_ustring(utf8)) {}

#if defined(_WIN32)

// Windows allows lone surrogates in file names: the units are copied, not converted.
static_assert(sizeof(std::filesystem::path::value_type) == sizeof(char16_t));

path::path(std::filesystem::path const& native) : text_(native.native().begin(), native.native().end()) {}

path::operator std::filesystem::path() const {
    return std::wstring(text_.begin(), text_.end());
}

#else

path::path(std::filesystem::path const& native) : path(native.native()) {}

path::operator std::filesystem::path() const {
    return i18n::to_string(text_);
}

#endif

namespace detail {

std::u16string make_native_form(std::u16string text, [[maybe_unused]] bool convert) {
#if defined(_WIN32)
    if (convert) std::replace(text.begin(), text.end(), u'/', u'\\');
#endif
    return text;
}

}  // namespace detail

}  // namespace fl::filesystem
