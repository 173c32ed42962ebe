#pragma once

#include <map>
#include <string>
#include <vector>

#include <foundation/json/Value.hpp>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

#include <foundation/feature/Export.hpp>

namespace foundation::feature {

/// Turns a value of the service framework into a JSON value.
///
/// Nothing becomes null; numbers become 64-bit integers or doubles, a `char` its code; vectors of integers and of bool,
/// `std::vector<Any>` and `AnyMap` become arrays and objects, with their elements converted alike. A value of any other
/// type, `std::string` and `unsigned long` among them, is serialised by the framework and read back as JSON text, in
/// which numbers are doubles.
///
/// Exact integers are written in such text as {"qztype": "uint64", "qzdata": [18446744073709551615]}, in either order:
/// where an object's "qztype" is "int8" ... "int64" or "uint8" ... "uint64", its "qzdata" must be an array of integers
/// that fit that type, and becomes one of signed or unsigned 64-bit integers. With any other "qztype" it is ordinary
/// JSON. Of members of one name the last one counts, but each "qztype" is applied where it stands.
///
/// @return   The value; at most 512 arrays and objects lie inside one another.
/// @throws   ::cppmicroservices::BadAnyCastException  for a vector of floating-point numbers ("ref_any_cast: ...").
/// @throws   foundation::json::ParserException        the framework's JSON text is none, or is nested too deep: its code,
///                                                    line and column say where, and "Parse incomplete" (code 0) that
///                                                    more follows.
/// @throws   std::runtime_error                       "value not converted: it is nested more than 512 levels deep":
///                                                    a vector, map or other value that holds one lies in 512 others;
///                                                    what is handed over counts.
/// @threads  Any, at any time.
FOUNDATION_FEATURE_EXPORT json::Value convert(::cppmicroservices::Any const& value);

/// Turns each value into a JSON value, in order; see above.
FOUNDATION_FEATURE_EXPORT std::vector<json::Value>
convert(std::vector<::cppmicroservices::Any> const& values);

/// Turns each value into a JSON value under its key; of keys that stand twice the first counts. See above.
FOUNDATION_FEATURE_EXPORT std::map<std::string, json::Value>
convert(::cppmicroservices::AnyMap const& values);

}  // namespace foundation::feature
