#pragma once

// Stand-in for the host's per-instance storage; implements only what CONTRACT.md lists.

#include <foundation/usm_export.hpp>

#include <cstddef>
#include <memory>
#include <typeindex>

namespace foundation::usm {

namespace scope {

/// The scope in which every engine instance has values of its own.
struct Zor {};

}  // namespace scope

/// The values of one scope. Only `Detail<scope::Zor>` exists.
template <class Scope>
class Detail;

/// One engine instance of the host, with one value at most in each slot.
///
/// Its values are destroyed with it, the last one inserted first; a value's deleter may still look at those
/// inserted earlier, and sees the slots of the later ones empty.
///
/// An instance may be destroyed only when no thread uses it any more: destroying one that a
/// `CurrentEngineInstance` has bound on some thread is the caller's error and leaves that thread with a
/// dangling instance.
class EngineInstance {
public:
    /// @throws  std::bad_alloc
    FOUNDATION_USM_EXPORT EngineInstance();
    FOUNDATION_USM_EXPORT ~EngineInstance();
    EngineInstance(EngineInstance const&) = delete;
    EngineInstance& operator=(EngineInstance const&) = delete;

private:
    friend class Detail<scope::Zor>;
    class Storage;
    std::unique_ptr<Storage> storage_;
};

/// Makes an engine instance current on this thread as long as it lives; then the earlier one is current
/// again.
///
/// A thread that has bound none uses the process's main instance, which is made on first use and never destroyed: it is
/// there as long as the process. Objects of this class nest: each is destroyed on the thread that
/// made it, the last one first.
class CurrentEngineInstance {
public:
    /// @param instance  Outlives this object. It may be current on any number of threads at the same time.
    FOUNDATION_USM_EXPORT explicit CurrentEngineInstance(EngineInstance& instance) noexcept;
    FOUNDATION_USM_EXPORT ~CurrentEngineInstance();
    CurrentEngineInstance(CurrentEngineInstance const&) = delete;
    CurrentEngineInstance& operator=(CurrentEngineInstance const&) = delete;

private:
    EngineInstance* earlier_;
};

/// The values of the engine instance that is current on the calling thread.
template <>
class Detail<scope::Zor> {
public:
    /// Gives a type its slot, the same one in every instance.
    ///
    /// @return   The slot's number: dense, from 0, in the order in which types first ask; the same one when
    ///           a type asks again, also from another module. It is never taken back.
    /// @throws   std::bad_alloc; the type then has no slot yet.
    /// @threads  Any, at any time. Takes a lock.
    FOUNDATION_USM_EXPORT static std::size_t getNextID(std::type_index type);

    /// Looks at a slot of the current instance.
    ///
    /// @return   The slot's value, which stays where it is as long as the instance lives; null when the slot
    ///           is empty.
    /// @throws   std::logic_error "per-instance slot <n> holds a value of type \"<one>\", not \"<type>\"";
    ///           std::bad_alloc when it is the first use of the main instance.
    /// @threads  Any, at any time, also while others insert. Takes no lock.
    FOUNDATION_USM_EXPORT static void* find(std::size_t slot, std::type_index type);

    /// Puts a value into a slot of the current instance unless the slot has one already.
    ///
    /// @param slot   A number given by `getNextID`.
    /// @param value  Taken when the slot is empty and nothing is thrown; else it keeps its object.
    /// @return       What the slot holds then: the given value, or the one that was there before.
    /// @throws       std::invalid_argument "per-instance slot <n>: the value must not be null";
    ///               std::out_of_range "per-instance slot <n> was never given out"; std::logic_error as
    ///               `find`; std::bad_alloc. The instance is then as it was.
    /// @threads      Any, at any time. Of several at once for one slot one wins, and all get its value.
    ///               Takes the instance's lock, under which no code of the value runs.
    FOUNDATION_USM_EXPORT static void*
    findOrInsert(std::size_t slot, std::type_index type, std::unique_ptr<void, void (*)(void*)>&& value);

private:
    static EngineInstance::Storage& current();
};

}  // namespace foundation::usm
