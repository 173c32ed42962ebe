#pragma once

// Stand-in for the host's JSON values; implements only what CONTRACT.md lists.

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace foundation::json {

class Value;

/// The kind of a value that holds nothing yet.
struct Undefined {
    friend constexpr bool operator==(Undefined, Undefined) noexcept { return true; }
};

/// JSON's null.
struct Null {
    friend constexpr bool operator==(Null, Null) noexcept { return true; }
};

/// The name of a kind, as it stands in messages. `std::int32_t` is no kind of its own; its name is that of
/// the target of a conversion.
template <class T>
struct traits;

// clang-format off
template <> struct traits<Undefined>                    { static constexpr char const* name = "undefined"; };
template <> struct traits<Null>                         { static constexpr char const* name = "null"; };
template <> struct traits<bool>                         { static constexpr char const* name = "bool"; };
template <> struct traits<float>                        { static constexpr char const* name = "float"; };
template <> struct traits<double>                       { static constexpr char const* name = "double"; };
template <> struct traits<std::int32_t>                 { static constexpr char const* name = "int32"; };
template <> struct traits<std::int64_t>                 { static constexpr char const* name = "int64"; };
template <> struct traits<std::uint64_t>                { static constexpr char const* name = "uint64"; };
template <> struct traits<std::string>                  { static constexpr char const* name = "string"; };
template <> struct traits<std::vector<Value>>           { static constexpr char const* name = "array"; };
template <> struct traits<std::map<std::string, Value>> { static constexpr char const* name = "object"; };
// clang-format on

namespace detail {

template <class T, class... Ts>
inline constexpr bool isOneOf = (std::same_as<T, Ts> || ...);

/// The types that a value can hold.
template <class T>
concept Kind = isOneOf<T,
                       Undefined,
                       Null,
                       bool,
                       float,
                       double,
                       std::int64_t,
                       std::uint64_t,
                       std::string,
                       std::vector<Value>,
                       std::map<std::string, Value>>;

template <class T>
concept Floating = isOneOf<T, float, double>;

template <class T>
concept Integer = std::integral<T> && !std::same_as<T, bool> && sizeof(T) <= sizeof(std::int64_t);

/// The 64-bit kind of an integer type's signedness.
template <Integer T>
using Widest = std::conditional_t<std::is_signed_v<T>, std::int64_t, std::uint64_t>;

}  // namespace detail

/// One JSON value of one of ten kinds.
///
/// The constructors convert implicitly: `std::vector<Value>{1, "a", true}` is an array of three. Compilers
/// differ on what `std::vector<Value>{items}` is when `items` is such an array itself; write
/// `std::vector<Value>(items)` for a copy, `std::vector<Value>{Value(items)}` for an array of one.
///
/// A value that was moved from keeps its kind; its content is unspecified, and it can be assigned to and
/// destroyed. Assigning to a value one of its own elements is allowed.
///
/// @threads  Any number of threads may read one value, as long as none changes it.
/// @cost     Copying, comparing and destroying take time proportional to the number of elements, and recurse
///           once for each level of nesting, at some hundred bytes of stack each. Moving: constant time.
class Value {
public:
    /// A value of kind `Undefined`.
    Value() noexcept = default;

    Value(Undefined) noexcept {}
    Value(Null null) noexcept : data_(null) {}

    /// Only `bool` itself: neither pointers nor other numbers become one.
    template <std::same_as<bool> T>
    Value(T truth) noexcept : data_(std::in_place_type<bool>, truth) {}

    template <detail::Floating T>
    Value(T number) noexcept : data_(std::in_place_type<T>, number) {}

    /// Every integer type, those of characters too: `std::int64_t` when signed, else `std::uint64_t`.
    template <detail::Integer T>
    Value(T number) noexcept : data_(std::in_place_type<detail::Widest<T>>, number) {}

    Value(std::string text) noexcept : data_(std::in_place_type<std::string>, std::move(text)) {}
    Value(std::string_view text) : data_(std::in_place_type<std::string>, text) {}

    /// @param text  NUL-terminated, not null.
    Value(char const* text) : data_(std::in_place_type<std::string>, text) {}
    Value(std::nullptr_t) = delete;

    Value(std::vector<Value> items) noexcept : data_(std::in_place_type<Array>, std::move(items)) {}
    Value(std::map<std::string, Value> members) : data_(std::in_place_type<Object>, std::move(members)) {}

    Value(Value const&) = default;
    Value(Value&&) = default;
    ~Value() = default;

    // Taken by value: the source may be an element of what is replaced, and a failing copy changes nothing.
    Value& operator=(Value other) noexcept {
        data_ = std::move(other.data_);
        return *this;
    }

    /// @return  Whether the value's kind is `T`.
    template <detail::Kind T>
    bool is() const noexcept {
        return std::holds_alternative<T>(data_);
    }

    /// @return  The content, valid until the value is changed or destroyed.
    /// @throws  std::runtime_error "invalid conversion: <kind's name> to <T's name>" for another kind.
    template <detail::Kind T>
    T const& get() const {
        T const* const content = std::get_if<T>(&data_);
        if (content != nullptr) return *content;
        throw std::runtime_error(std::string("invalid conversion: ") + kindName() + " to " + traits<T>::name);
    }

    /// @return  `traits<T>::name` of the value's kind.
    char const* kindName() const {
        return std::visit([]<class T>(T const&) { return traits<T>::name; }, data_);
    }

    /// The same kind and the same content: the signed 1, the unsigned 1 and 1.0 are three different values.
    friend bool operator==(Value const& left, Value const& right) { return left.data_ == right.data_; }

private:
    using Array = std::vector<Value>;
    using Object = std::map<std::string, Value>;
    using Content = std::variant<Undefined,
                                 Null,
                                 bool,
                                 float,
                                 double,
                                 std::int64_t,
                                 std::uint64_t,
                                 std::string,
                                 Array,
                                 Object>;

    Content data_;
};

}  // namespace foundation::json
