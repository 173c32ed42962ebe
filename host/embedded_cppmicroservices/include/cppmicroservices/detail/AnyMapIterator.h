#pragma once

#include <cstddef>
#include <iterator>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <variant>

namespace cppmicroservices::detail {

/// A place in one of the three maps that an any_map can be. Made without one, it is invalid: equal to every
/// other invalid iterator, not to be dereferenced or moved.
template <class Value, class Ordered, class Unordered, class UnorderedCi>
class AnyMapIterator {
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = std::remove_const_t<Value>;
    using difference_type = std::ptrdiff_t;
    using pointer = Value*;
    using reference = Value&;

    AnyMapIterator() = default;
    template <std::size_t Index, class Place>
    AnyMapIterator(std::in_place_index_t<Index> index, Place place) : place_(index, place) {}

    /// From the iterator that may change the elements to the one that may not.
    template <class... Other>
    requires(!std::is_same_v<AnyMapIterator, AnyMapIterator<Other...>> && std::is_const_v<Value>)
        AnyMapIterator(AnyMapIterator<Other...> const& other) {
        switch (other.place_.index()) {
        case 1:
            place_.template emplace<1>(std::get<1>(other.place_));
            break;
        case 2:
            place_.template emplace<2>(std::get<2>(other.place_));
            break;
        case 3:
            place_.template emplace<3>(std::get<3>(other.place_));
            break;
        default:
            break;
        }
    }

    /// @throws std::logic_error  "cannot dereference an invalid iterator".
    reference operator*() const {
        return std::visit(
            [](auto const& place) -> reference {
                if constexpr (std::is_same_v<decltype(place), std::monostate const&>) {
                    throw std::logic_error("cannot dereference an invalid iterator");
                } else {
                    return *place;
                }
            },
            place_);
    }
    pointer operator->() const { return &**this; }

    /// @throws std::logic_error  "cannot increment an invalid iterator".
    AnyMapIterator& operator++() {
        std::visit(
            [](auto& place) {
                if constexpr (std::is_same_v<decltype(place), std::monostate&>) {
                    throw std::logic_error("cannot increment an invalid iterator");
                } else {
                    ++place;
                }
            },
            place_);
        return *this;
    }
    AnyMapIterator operator++(int) {
        AnyMapIterator before = *this;
        ++*this;
        return before;
    }

    friend bool operator==(AnyMapIterator const& left, AnyMapIterator const& right) {
        return left.place_ == right.place_;
    }

private:
    template <class, class, class, class>
    friend class AnyMapIterator;

    std::variant<std::monostate, Ordered, Unordered, UnorderedCi> place_;
};

}  // namespace cppmicroservices::detail
