#pragma once

#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace foundation::test {

/// Gives an environment variable another value, or none, until destroyed; then it is as it was before. Nested
/// scopes end innermost first. Not for use while other threads read or change the environment.
class ScopedEnvironment {
public:
    /// @param name   UTF-8.
    /// @param value  UTF-8; empty sets an empty value, std::nullopt removes the variable.
    /// @throws       std::runtime_error when the system refuses.
    ScopedEnvironment(std::string const& name, std::optional<std::string> const& value)
        : ScopedEnvironment(Native{}, name, value ? std::optional(native(*value)) : std::nullopt) {}

    /// @return  A scope in which the variable has a value that is not well-formed text: "1", and then a byte that UTF-8
    ///          never uses or, on Windows, a lone surrogate.
    static ScopedEnvironment illFormed(std::string const& name) {
#if defined(_WIN32)
        return {Native{}, name, Text{L'1', wchar_t{0xD800}}};
#else
        return {Native{}, name, "1\xFF"};
#endif
    }

    ScopedEnvironment(ScopedEnvironment const&) = delete;
    ScopedEnvironment& operator=(ScopedEnvironment const&) = delete;

    ~ScopedEnvironment() {
        set(name_, before_);
    }

private:
#if defined(_WIN32)
    using Text = std::wstring;
#else
    using Text = std::string;
#endif
    struct Native {};

    ScopedEnvironment(Native, std::string const& name, std::optional<Text> const& value)
        : name_(native(name)), before_(get(name_)) {
        if (!set(name_, value)) {
            throw std::runtime_error("environment variable \"" + name + "\" cannot be set");
        }
    }

#if defined(_WIN32)

    static Text native(std::string const& utf8) {
        if (utf8.empty()) return {};
        int const bytes = static_cast<int>(utf8.size());
        int const units = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), bytes, nullptr, 0);
        if (units == 0) throw std::runtime_error("not UTF-8: \"" + utf8 + "\"");
        Text text(static_cast<std::size_t>(units), L'\0');
        MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), bytes, text.data(), units);
        return text;
    }

    static std::optional<Text> get(Text const& name) {
        SetLastError(ERROR_SUCCESS);
        DWORD const room = GetEnvironmentVariableW(name.c_str(), nullptr, 0);
        if (room == 0)
            return GetLastError() == ERROR_ENVVAR_NOT_FOUND ? std::nullopt : std::optional<Text>(Text());
        Text value(room, L'\0');
        value.resize(GetEnvironmentVariableW(name.c_str(), value.data(), room));
        return value;
    }

    static bool set(Text const& name, std::optional<Text> const& value) {
        if (SetEnvironmentVariableW(name.c_str(), value ? value->c_str() : nullptr) != 0) return true;
        return !value && GetLastError() == ERROR_ENVVAR_NOT_FOUND;
    }
#else
    static Text native(std::string const& utf8) {
        return utf8;
    }

    static std::optional<Text> get(Text const& name) {
        char const* const value = std::getenv(name.c_str());
        return value == nullptr ? std::nullopt : std::optional<Text>(value);
    }

    static bool set(Text const& name, std::optional<Text> const& value) {
        return (value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str())) == 0;
    }
#endif

    Text const name_;
    std::optional<Text> const before_;
};

}  // namespace foundation::test
