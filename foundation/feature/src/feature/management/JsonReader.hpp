#pragma once

#include <foundation/json/Value.hpp>
#include <foundation/json/parse.hpp>

#include <cstddef>
#include <string_view>

namespace foundation::feature::management {

/// How many arrays and objects may lie inside one another: more would exhaust the stack of some thread that
/// converts, copies or destroys them.
inline constexpr std::size_t deepestNesting = 512;

/// Reads one JSON value and the blanks around it, strictly as RFC 8259 has it, but for typed numbers.
///
/// Numbers become `double`, 0 when too small for one; those too big are refused, and so are ill-formed UTF-8
/// (overlong and truncated forms too) and escapes of half a surrogate pair. Of members of one name the last
/// one counts.
///
/// Typed numbers: when an object has a member "qztype" with one of the texts "int8", "int16", "int32",
/// "int64", "uint8", "uint16", "uint32" and "uint64", its member "qzdata" must be an array of integers that
/// fit that type (-0 is 0), and becomes an array of `std::int64_t` values or, for the last four, of
/// `std::uint64_t` values, which never pass through a double. The two may stand in either order. Each
/// "qztype" is applied where it stands; a later one replaces it, and with any other content leaves "qzdata"
/// ordinary JSON.
///
/// @param text   UTF-8; need not end with a NUL, and a NUL byte does not end it.
/// @param value  What was read; unchanged when the reading fails.
/// @param used   The number of bytes read; what follows them is no error here. When the reading fails, the
///               position of the error.
/// @param depth  How many arrays and objects the value will lie in, at most `deepestNesting`.
/// @return       `success`, or what is wrong; one of the "typed" results only for typed numbers.
/// @throws       std::bad_alloc
/// @threads      Any, at any time; independent of the locale.
/// @cost         Proportional to the length of the text: typed numbers are read twice when "qztype" stands
///               after them, and at most ten times however often it is repeated. Does not recurse.
json::ParseResult
readJson(std::string_view text, json::Value& value, std::size_t& used, std::size_t depth = 0);

}  // namespace foundation::feature::management
