#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <variant>

#include "cppmicroservices/Any.h"
#include "cppmicroservices/FrameworkExport.h"
#include "cppmicroservices/detail/AnyMapIterator.h"

namespace cppmicroservices {

namespace detail {

/// Hash and equality of keys that differ in the case of ASCII letters only.
struct CaseInsensitiveHash {
    US_Framework_EXPORT std::size_t operator()(std::string const& key) const noexcept;
};
struct CaseInsensitiveEqual {
    US_Framework_EXPORT bool operator()(std::string const& left, std::string const& right) const noexcept;
};

}  // namespace detail

/// A map from names to Any values that is one of three standard maps, chosen when it is made.
///
/// @threads  Like a standard container. A moved-from map is valid, its content unspecified.
class any_map {
public:
    using key_type = std::string;
    using mapped_type = Any;
    using value_type = std::pair<key_type const, mapped_type>;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using reference = value_type&;
    using const_reference = value_type const&;
    using pointer = value_type*;
    using const_pointer = value_type const*;

    using ordered_any_map = std::map<key_type, mapped_type>;
    using unordered_any_map = std::unordered_map<key_type, mapped_type>;
    using unordered_any_cimap =
        std::unordered_map<key_type, mapped_type, detail::CaseInsensitiveHash, detail::CaseInsensitiveEqual>;

    using iter = detail::AnyMapIterator<value_type,
                                        ordered_any_map::iterator,
                                        unordered_any_map::iterator,
                                        unordered_any_cimap::iterator>;
    using const_iter = detail::AnyMapIterator<value_type const,
                                              ordered_any_map::const_iterator,
                                              unordered_any_map::const_iterator,
                                              unordered_any_cimap::const_iterator>;
    using iterator = iter;
    using const_iterator = const_iter;

    enum map_type : std::uint8_t {
        ORDERED_MAP = 0,
        UNORDERED_MAP = 1,
        UNORDERED_MAP_CASEINSENSITIVE_KEYS = 2
    };

    US_Framework_EXPORT explicit any_map(map_type type, std::initializer_list<value_type> entries = {});
    any_map(ordered_any_map map) : map_(std::in_place_index<ORDERED_MAP>, std::move(map)) {}
    any_map(unordered_any_map map) : map_(std::in_place_index<UNORDERED_MAP>, std::move(map)) {}
    any_map(unordered_any_cimap map)
        : map_(std::in_place_index<UNORDERED_MAP_CASEINSENSITIVE_KEYS>, std::move(map)) {}

    US_Framework_EXPORT iter begin();
    US_Framework_EXPORT iter end();
    [[nodiscard]] US_Framework_EXPORT const_iter begin() const;
    [[nodiscard]] US_Framework_EXPORT const_iter end() const;
    [[nodiscard]] const_iter cbegin() const { return begin(); }
    [[nodiscard]] const_iter cend() const { return end(); }

    [[nodiscard]] bool empty() const { return size() == 0; }
    [[nodiscard]] US_Framework_EXPORT size_type size() const;
    [[nodiscard]] US_Framework_EXPORT size_type count(key_type const& key) const;
    US_Framework_EXPORT void clear();

    /// @throws std::out_of_range  there is no such key.
    US_Framework_EXPORT mapped_type& at(key_type const& key);
    [[nodiscard]] US_Framework_EXPORT mapped_type const& at(key_type const& key) const;
    /// Inserts an empty Any under a key that is not there.
    US_Framework_EXPORT mapped_type& operator[](key_type const& key);

    /// An entry whose key is there already changes nothing.
    US_Framework_EXPORT std::pair<iterator, bool> insert(value_type const& entry);
    US_Framework_EXPORT std::pair<iterator, bool> insert(value_type&& entry);
    template <class... Args>
    std::pair<iterator, bool> emplace(Args&&... args) {
        return insert(value_type(std::forward<Args>(args)...));
    }

    [[nodiscard]] US_Framework_EXPORT const_iterator find(key_type const& key) const;
    US_Framework_EXPORT size_type erase(key_type const& key);

    /// Equal maps are of the same type.
    bool operator==(any_map const& other) const { return map_ == other.map_; }

    [[nodiscard]] map_type GetType() const { return static_cast<map_type>(map_.index()); }

    /// Follows a path such as "list.0.name" through nested maps and lists; an index below 0 counts from the
    /// end.
    ///
    /// @throws std::out_of_range      a name or an index is not there.
    /// @throws std::invalid_argument  "stoi", for an index that is no number; "Unsupported Any type at
    /// '<part>' for
    ///                                dotted get", for a path that goes on below a value that is no map and
    ///                                no list.
    [[nodiscard]] US_Framework_EXPORT Any const& AtCompoundKey(key_type const& key) const;
    /// The same, with `defaultValue` instead of an exception.
    [[nodiscard]] US_Framework_EXPORT Any AtCompoundKey(key_type const& key, Any defaultValue) const noexcept;

private:
    // The place of each map in the variant is its map_type.
    std::variant<ordered_any_map, unordered_any_map, unordered_any_cimap> map_;
};

/// An any_map that can be made from a list of entries. Keys ignore case unless another type is asked for.
class AnyMap : public any_map {
public:
    AnyMap(std::initializer_list<value_type> entries = {})
        : any_map(UNORDERED_MAP_CASEINSENSITIVE_KEYS, entries) {}
    AnyMap(map_type type, std::initializer_list<value_type> entries = {}) : any_map(type, entries) {}
    AnyMap(ordered_any_map map) : any_map(std::move(map)) {}
    AnyMap(unordered_any_map map) : any_map(std::move(map)) {}
    AnyMap(unordered_any_cimap map) : any_map(std::move(map)) {}
};

}  // namespace cppmicroservices
