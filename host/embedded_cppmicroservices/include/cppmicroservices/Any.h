#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "cppmicroservices/FrameworkExport.h"
#include "cppmicroservices/detail/AnyText.h"

namespace cppmicroservices {

/// A cast of an Any to a type that it does not hold. The text names both types.
class US_Framework_EXPORT BadAnyCastException : public std::bad_cast {
public:
    /// @param message  The whole text; a general one when it is empty.
    explicit BadAnyCastException(std::string const& message = {});
    BadAnyCastException(BadAnyCastException const&) = default;
    BadAnyCastException& operator=(BadAnyCastException const&) = default;
    ~BadAnyCastException() override;

    [[nodiscard]] char const* what() const noexcept override;

private:
    std::shared_ptr<std::string const> text_;
};

namespace detail {

/// The type's name as written in source code.
US_Framework_EXPORT std::string demangledName(std::type_info const& type);

[[noreturn]] US_Framework_EXPORT void
throwBadAnyCast(char const* operation, std::type_info const& from, std::type_info const& to);

class US_Framework_EXPORT AnyContent {
public:
    AnyContent() = default;
    AnyContent(AnyContent const&) = delete;
    AnyContent& operator=(AnyContent const&) = delete;
    virtual ~AnyContent();

    [[nodiscard]] virtual std::unique_ptr<AnyContent> clone() const = 0;
    [[nodiscard]] virtual std::type_info const& type() const noexcept = 0;
    [[nodiscard]] virtual bool equals(AnyContent const& other) const = 0;
    virtual void write(std::ostream& out, TextStyle style) const = 0;
};

/// `==` where the type has it; values of other types are never equal.
template <class T>
bool equalValues(T const& left, T const& right) {
    if constexpr (requires { static_cast<bool>(left == right); }) {
        return static_cast<bool>(left == right);
    } else {
        return false;
    }
}

template <class T>
class AnyHolder final : public AnyContent {
public:
    template <class U>
    explicit AnyHolder(std::in_place_t, U&& held) : value(std::forward<U>(held)) {}

    [[nodiscard]] std::unique_ptr<AnyContent> clone() const override {
        return std::make_unique<AnyHolder>(std::in_place, value);
    }
    [[nodiscard]] std::type_info const& type() const noexcept override { return typeid(T); }
    [[nodiscard]] bool equals(AnyContent const& other) const override {
        return other.type() == typeid(T) && equalValues(value, static_cast<AnyHolder const&>(other).value);
    }
    void write(std::ostream& out, TextStyle style) const override { writeValue(out, value, style); }

    T value;
};

/// What an Any can be made from: anything but an Any (which is copied) and an array (a literal is no string).
template <class T>
concept AnyValue =
    !std::is_same_v<std::remove_cvref_t<T>, Any> && !std::is_array_v<std::remove_reference_t<T>>;

}  // namespace detail

/// One value of any copyable type that has an operator<<, or nothing.
///
/// @threads  Like a plain value: any number of readers, or one writer.
class Any {
public:
    Any() noexcept = default;
    Any(Any const& other) : content_(other.content_ ? other.content_->clone() : nullptr) {}
    Any(Any&& other) noexcept = default;
    template <detail::AnyValue T>
    Any(T&& value)
        : content_(std::make_unique<detail::AnyHolder<std::remove_cvref_t<T>>>(std::in_place,
                                                                               std::forward<T>(value))) {}
    ~Any() = default;

    Any& operator=(Any const& other) { return *this = Any(other); }
    Any& operator=(Any&& other) noexcept = default;
    template <detail::AnyValue T>
    Any& operator=(T&& value) {
        return *this = Any(std::forward<T>(value));
    }

    Any& Swap(Any& other) noexcept {
        content_.swap(other.content_);
        return *this;
    }

    /// Equal when both hold the same type and equal values of it, or both hold nothing.
    bool operator==(Any const& other) const {
        if (!content_ || !other.content_) return !content_ && !other.content_;
        return content_->equals(*other.content_);
    }
    template <detail::AnyValue T>
    bool operator==(T const& value) const;

    [[nodiscard]] bool Empty() const noexcept { return !content_; }

    /// @throws std::logic_error  "empty any" when this or a nested Any holds nothing.
    [[nodiscard]] US_Framework_EXPORT std::string ToString() const;
    /// Like ToString(), but an empty text for an Any that holds nothing.
    [[nodiscard]] US_Framework_EXPORT std::string ToStringNoExcept() const;
    /// The value as JSON; line breaks and an indent of 4 when `prettyPrint`. Types that JSON does not know
    /// are written by their operator<<, without quotes.
    [[nodiscard]] US_Framework_EXPORT std::string ToJSON(bool prettyPrint = false) const;
    /// The same with `increment` blanks a level; the elements of the outermost container stand at `indent`.
    [[nodiscard]] US_Framework_EXPORT std::string ToJSON(std::uint8_t increment, std::int32_t indent) const;

    /// The held type; `typeid(void)` when there is none.
    [[nodiscard]] std::type_info const& Type() const noexcept {
        return content_ ? content_->type() : typeid(void);
    }

private:
    template <class V>
    friend V const* any_cast(Any const* any) noexcept;
    template <class V>
    friend V* any_cast(Any* any) noexcept;
    friend struct detail::AnyWriter;

    std::unique_ptr<detail::AnyContent> content_;
};

/// The held value when its type is exactly V, else null; null for a null pointer.
template <class V>
V const* any_cast(Any const* any) noexcept {
    if (any == nullptr || !any->content_ || any->content_->type() != typeid(V)) return nullptr;
    return &static_cast<detail::AnyHolder<std::remove_cv_t<V>> const&>(*any->content_).value;
}
template <class V>
V* any_cast(Any* any) noexcept {
    if (any == nullptr || !any->content_ || any->content_->type() != typeid(V)) return nullptr;
    return &static_cast<detail::AnyHolder<std::remove_cv_t<V>>&>(*any->content_).value;
}

/// A copy of the held value. @throws BadAnyCastException  the held type is not exactly V.
template <class V>
V any_cast(Any const& any) {
    V const* const value = any_cast<V>(&any);
    if (value == nullptr) detail::throwBadAnyCast("any_cast", any.Type(), typeid(V));
    return *value;
}
template <class V>
V any_cast(Any& any) {
    return any_cast<V>(std::as_const(any));
}

/// The held value itself. @throws BadAnyCastException  the held type is not exactly V.
template <class V>
V const& ref_any_cast(Any const& any) {
    V const* const value = any_cast<V>(&any);
    if (value == nullptr) detail::throwBadAnyCast("ref_any_cast", any.Type(), typeid(V));
    return *value;
}
template <class V>
V& ref_any_cast(Any& any) {
    V* const value = any_cast<V>(&any);
    if (value == nullptr) detail::throwBadAnyCast("ref_any_cast", any.Type(), typeid(V));
    return *value;
}

template <detail::AnyValue T>
bool Any::operator==(T const& value) const {
    T const* const held = any_cast<T>(this);
    return held != nullptr && detail::equalValues(*held, value);
}

}  // namespace cppmicroservices
