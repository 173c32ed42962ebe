#pragma once

#include <new>
#include <optional>

#include <foundation/log/diagnostic_logger.hpp>

namespace foundation::feature::detail {

using SourceLocation = foundation::log::SourceLocation;

/// The host's logger, but that it drops a record for which there is no memory: what is logged goes on without it, above
/// all the end of an override, which may not fail.
class Logger : public foundation::log::basic_diagnostic_logger<char> {
public:
    using foundation::log::basic_diagnostic_logger<char>::basic_diagnostic_logger;

    template <class Format>
    void write(unsigned severity, SourceLocation const& location, Format const& format) {
        try {
            basic_diagnostic_logger::write(severity, location, format);
        } catch (std::bad_alloc const&) {
            // Dropped, see above.
        }
    }
};

/// The host's function trace; where there is no memory for its first record, there is none of the two.
class FunctionTrace {
public:
    FunctionTrace(Logger& logger, SourceLocation const& location) {
        try {
            trace_.emplace(logger, location);
        } catch (std::bad_alloc const&) {
            // Dropped, as by the logger.
        }
    }

private:
    std::optional<Logger::FunctionTrace> trace_;
};

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
