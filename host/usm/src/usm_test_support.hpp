#pragma once

#include <foundation/usm.hpp>

#include <atomic>
#include <cstddef>
#include <memory>
#include <typeindex>
#include <utility>
#include <vector>

namespace foundation::usm {

using Zor = Detail<scope::Zor>;
using Value = std::unique_ptr<void, void (*)(void*)>;

/// A stored value that counts how many of its kind there are.
struct Counted {
    explicit Counted(int given = 0) : number(given) { ++alive; }
    ~Counted() { --alive; }
    Counted(Counted const&) = delete;
    Counted& operator=(Counted const&) = delete;

    int number;
    inline static std::atomic<int> alive = 0;
};

template <class T, class... Arguments>
Value makeValue(Arguments&&... arguments) {
    return {new T{std::forward<Arguments>(arguments)...},
            [](void* stored) { delete static_cast<T*>(stored); }};
}

template <std::size_t>
struct Numbered {};

template <std::size_t... numbers>
std::vector<std::type_index> listTypes(std::index_sequence<numbers...>) {
    return {typeid(Numbered<numbers>)...};
}

/// Many different types: enough for several blocks of slots.
inline std::vector<std::type_index> manyTypes() {
    return listTypes(std::make_index_sequence<500>());
}

}  // namespace foundation::usm
