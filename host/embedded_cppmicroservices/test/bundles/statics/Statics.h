#pragma once

#include <string>

namespace statics {

/// Published by the bundle "statics".
struct Texts {
    Texts() = default;
    Texts(Texts const&) = delete;
    Texts& operator=(Texts const&) = delete;
    virtual ~Texts() = default;
    /// A text that lives as long as the bundle's static objects.
    [[nodiscard]] virtual std::string const& text() const = 0;
};

}  // namespace statics
