#pragma once

// Stand-in for the host's text library; implements only what CONTRACT.md lists.

#include <fl/i18n_export.hpp>

#include <string>

namespace fl::i18n {

/// Reads an environment variable.
///
/// @param name  UTF-8. Whether letter case matters is the system's business: it does not on Windows. A name
///              that no variable can have (empty, or with "=" or U+0000 in it) reads as unset.
/// @return      The value in UTF-16; empty when the variable is unset or empty. On Windows the system's own
///              units, unchecked: `to_string` refuses them if they are ill-formed.
/// @throws      std::range_error as `utf8_to_ustring` does when `name` is ill-formed UTF-8; the same text
///              after "environment variable \"<name>\": " when the value is (not on Windows, where it is no
///              UTF-8). std::system_error when Windows cannot read the variable.
/// @threads     Any; elsewhere than on Windows only while no thread changes the environment.
FL_I18N_EXPORT std::u16string getenv(std::string const& name);

/// Converts UTF-16 to UTF-8.
///
/// @param text  Any length; U+0000 is a character like any other.
/// @return      The same text in UTF-8.
/// @throws      std::range_error "ill-formed UTF-16 at offset <n>: <what>" for a surrogate without its
///              partner; n counts 16-bit units from 0.
/// @threads     Any, at any time.
FL_I18N_EXPORT std::string to_string(std::u16string const& text);

/// Converts UTF-8 to UTF-16.
///
/// @param text  Any length; U+0000 is a character like any other.
/// @return      The same text in UTF-16.
/// @throws      std::range_error "ill-formed UTF-8 at offset <n>: <what>" for a stray or missing
///              continuation byte, an overlong form, a surrogate, a number above U+10FFFF or a byte that
///              UTF-8 never uses; n counts bytes from 0 and is where the offending sequence starts.
/// @threads     Any, at any time.
FL_I18N_EXPORT std::u16string utf8_to_ustring(std::string const& text);

}  // namespace fl::i18n
