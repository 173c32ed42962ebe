#pragma once

#include <cstdint>
#include <utility>

#include "cppmicroservices/Bundle.h"

namespace cppmicroservices {

/// What WaitForStop() has waited for.
class FrameworkEvent {
public:
    enum Type : std::uint32_t { FRAMEWORK_STOPPED = 0x40, FRAMEWORK_WAIT_TIMEDOUT = 0x200 };

    FrameworkEvent(Type type, Bundle bundle) : type_(type), bundle_(std::move(bundle)) {}

    explicit operator bool() const noexcept { return static_cast<bool>(bundle_); }
    [[nodiscard]] Type GetType() const noexcept { return type_; }
    /// The system bundle.
    [[nodiscard]] Bundle GetBundle() const { return bundle_; }

private:
    Type type_;
    Bundle bundle_;
};

}  // namespace cppmicroservices
