#pragma once

#include <compare>
#include <ostream>
#include <string>

#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

/// A version: three numbers and a qualifier, ordered by the numbers first.
class BundleVersion {
public:
    /// 0.0.0
    BundleVersion() = default;
    /// Reads "1", "1.2", "1.2.3" or "1.2.3.qualifier"; an empty text is 0.0.0.
    ///
    /// @throws std::invalid_argument  "The version identifier is invalid: invalid format" or "...: invalid
    ///                                qualifier: <qualifier>".
    US_Framework_EXPORT explicit BundleVersion(std::string const& text);

    [[nodiscard]] unsigned GetMajor() const noexcept { return major_; }
    [[nodiscard]] unsigned GetMinor() const noexcept { return minor_; }
    [[nodiscard]] unsigned GetMicro() const noexcept { return micro_; }
    [[nodiscard]] std::string GetQualifier() const { return qualifier_; }

    /// "1.2.3" or "1.2.3.qualifier".
    [[nodiscard]] US_Framework_EXPORT std::string ToString() const;

    friend auto operator<=>(BundleVersion const&, BundleVersion const&) = default;
    friend bool operator==(BundleVersion const&, BundleVersion const&) = default;
    friend std::ostream& operator<<(std::ostream& out, BundleVersion const& version) {
        return out << version.ToString();
    }

private:
    unsigned major_ = 0;
    unsigned minor_ = 0;
    unsigned micro_ = 0;
    std::string qualifier_;
};

}  // namespace cppmicroservices
