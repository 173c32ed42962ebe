#include "cppmicroservices/AnyMap.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace cppmicroservices {

namespace {

/// ASCII only: the process's locale must not change which keys are equal.
char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// The place that `find` gives in whichever map is held, as an iterator over all three.
template <class Iterator, class Maps, class Find>
Iterator place(Maps& maps, Find const& find) {
    switch (maps.index()) {
    case any_map::ORDERED_MAP:
        return Iterator(std::in_place_index<1>, find(std::get<0>(maps)));
    case any_map::UNORDERED_MAP:
        return Iterator(std::in_place_index<2>, find(std::get<1>(maps)));
    default:
        return Iterator(std::in_place_index<3>, find(std::get<2>(maps)));
    }
}

template <class Maps, class Entry>
std::pair<any_map::iterator, bool> insertInto(Maps& maps, Entry&& entry) {
    bool inserted = false;
    auto const at = place<any_map::iterator>(maps, [&](auto& map) {
        auto const result = map.insert(std::forward<Entry>(entry));
        inserted = result.second;
        return result.first;
    });
    return {at, inserted};
}

using Maps = std::variant<any_map::ordered_any_map, any_map::unordered_any_map, any_map::unordered_any_cimap>;

Maps makeMaps(any_map::map_type type, std::initializer_list<any_map::value_type> entries) {
    switch (type) {
    case any_map::ORDERED_MAP:
        return Maps(std::in_place_index<0>, entries);
    case any_map::UNORDERED_MAP:
        return Maps(std::in_place_index<1>, entries);
    case any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS:
        return Maps(std::in_place_index<2>, entries);
    }
    throw std::logic_error("invalid map type");
}

Any const& followPath(any_map const& map, std::string const& path);

/// Goes on below `value`, which was found under `part`.
Any const& followBelow(Any const& value, std::string const& part, std::string const& rest);

Any const& followPath(std::vector<Any> const& list, std::string const& path) {
    auto const dot = path.find('.');
    std::string const part = path.substr(0, dot);
    int const index = std::stoi(part);
    // A negative index that reaches past the front wraps to a huge one, which at() refuses.
    auto const offset = static_cast<std::vector<Any>::size_type>(index) + (index < 0 ? list.size() : 0);
    Any const& value = list.at(offset);
    return dot == std::string::npos ? value : followBelow(value, part, path.substr(dot + 1));
}

Any const& followPath(any_map const& map, std::string const& path) {
    auto const dot = path.find('.');
    std::string const part = path.substr(0, dot);
    Any const& value = map.at(part);
    return dot == std::string::npos ? value : followBelow(value, part, path.substr(dot + 1));
}

Any const& followBelow(Any const& value, std::string const& part, std::string const& rest) {
    if (auto const* const map = any_cast<AnyMap>(&value)) return followPath(*map, rest);
    if (auto const* const map = any_cast<any_map>(&value)) return followPath(*map, rest);
    if (auto const* const list = any_cast<std::vector<Any>>(&value)) return followPath(*list, rest);
    throw std::invalid_argument("Unsupported Any type at '" + part + "' for dotted get");
}

}  // namespace

std::size_t detail::CaseInsensitiveHash::operator()(std::string const& key) const noexcept {
    // 64-bit FNV-1a over the lower-case letters.
    std::uint64_t hash = 14695981039346656037U;
    for (char const c : key) {
        hash = (hash ^ static_cast<unsigned char>(lower(c))) * 1099511628211U;
    }
    return static_cast<std::size_t>(hash);
}

bool detail::CaseInsensitiveEqual::operator()(std::string const& left,
                                              std::string const& right) const noexcept {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](char a, char b) {
        return lower(a) == lower(b);
    });
}

any_map::any_map(map_type type, std::initializer_list<value_type> entries) : map_(makeMaps(type, entries)) {}

any_map::iter any_map::begin() {
    return place<iter>(map_, [](auto& map) { return map.begin(); });
}

any_map::iter any_map::end() {
    return place<iter>(map_, [](auto& map) { return map.end(); });
}

any_map::const_iter any_map::begin() const {
    return place<const_iter>(map_, [](auto const& map) { return map.begin(); });
}

any_map::const_iter any_map::end() const {
    return place<const_iter>(map_, [](auto const& map) { return map.end(); });
}

any_map::size_type any_map::size() const {
    return std::visit([](auto const& map) { return map.size(); }, map_);
}

any_map::size_type any_map::count(key_type const& key) const {
    return std::visit([&](auto const& map) { return map.count(key); }, map_);
}

void any_map::clear() {
    std::visit([](auto& map) { map.clear(); }, map_);
}

any_map::mapped_type& any_map::at(key_type const& key) {
    return std::visit([&](auto& map) -> mapped_type& { return map.at(key); }, map_);
}

any_map::mapped_type const& any_map::at(key_type const& key) const {
    return std::visit([&](auto const& map) -> mapped_type const& { return map.at(key); }, map_);
}

any_map::mapped_type& any_map::operator[](key_type const& key) {
    return std::visit([&](auto& map) -> mapped_type& { return map[key]; }, map_);
}

std::pair<any_map::iterator, bool> any_map::insert(value_type const& entry) {
    return insertInto(map_, entry);
}

std::pair<any_map::iterator, bool> any_map::insert(value_type&& entry) {
    return insertInto(map_, std::move(entry));
}

any_map::const_iterator any_map::find(key_type const& key) const {
    return place<const_iter>(map_, [&](auto const& map) { return map.find(key); });
}

any_map::size_type any_map::erase(key_type const& key) {
    return std::visit([&](auto& map) { return map.erase(key); }, map_);
}

Any const& any_map::AtCompoundKey(key_type const& key) const {
    return followPath(*this, key);
}

Any any_map::AtCompoundKey(key_type const& key, Any defaultValue) const noexcept {
    try {
        return followPath(*this, key);
    } catch (std::exception const&) {
        return defaultValue;  // Whatever is wrong with the path, the caller has said what to take instead.
    }
}

}  // namespace cppmicroservices
