#pragma once

#include <foundation/log/diagnostic_logger.hpp>

namespace foundation::feature::detail {

using Logger = foundation::log::basic_diagnostic_logger<char>;
using FunctionTrace = Logger::FunctionTrace;
using SourceLocation = foundation::log::SourceLocation;

/// The severities of the library's records: bits of a channel's mask.
namespace severity {
inline constexpr unsigned parameters = 2;     // of each registration and lookup
inline constexpr unsigned details = 8;        // of lookups
inline constexpr unsigned changes = 16;       // of values, environment overrides included
inline constexpr unsigned traces = 32 | 64;   // of functions entered and left; the logger's own
inline constexpr unsigned slowLookups = 256;  // and failing registration services
inline constexpr unsigned rejections = 512;   // of registrations, environment values and extension manifests
}  // namespace severity

/// The channels on which more than one function logs.
namespace channel {
inline constexpr char const* lookup = "foundation::feature::lookup";
inline constexpr char const* registration = "foundation::feature::registration";
}  // namespace channel

/// The source name in the records of the registry: a constant of the system, wherever the code stands.
inline constexpr char const* managementSource = "foundation/feature/src/feature/management";

}  // namespace foundation::feature::detail
