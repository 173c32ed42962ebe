#pragma once

#include <foundation/usm.hpp>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace foundation::feature::inspector {

/// An engine instance that the host has named.
class NamedInstance {
public:
    NamedInstance(std::uint64_t id_, std::string name_, usm::EngineInstance& instance)
        : id(id_), name(std::move(name_)), instance_(&instance) {}

    /// Calls `use()` with the instance as the current one of this thread; the instance cannot be taken away meanwhile.
    /// @return  false, without a call, when it has been taken away.
    template <class Use>
    bool with(Use const& use) {
        std::lock_guard const lock(inUse_);
        if (instance_ == nullptr) return false;
        usm::CurrentEngineInstance const current(*instance_);
        use();
        return true;
    }

    /// Takes the instance away. Waits for who is using it.
    void end() {
        std::lock_guard const lock(inUse_);
        instance_ = nullptr;
    }

    std::uint64_t const
        id;  ///< never given twice; 0 is the process's main instance, which stands in no table
    std::string const name;

private:
    std::mutex inUse_;  // Held while the instance is used, watchers included. Guards instance_.
    usm::EngineInstance* instance_;
};

/// The engine instances that the host has named, in the order in which it did.
/// @threads  Any.
class InstanceTable {
public:
    using Instances = std::vector<std::shared_ptr<NamedInstance>>;

    std::shared_ptr<NamedInstance> add(std::string name, usm::EngineInstance& instance);

    /// Takes the instance away, and waits for who is using it.
    void remove(std::shared_ptr<NamedInstance> const& instance);

    /// @param generation  gets a number that is another one after each change of the table.
    Instances all(std::uint64_t& generation) const;

    std::uint64_t generation() const;

private:
    mutable std::mutex
        mutex_;  // Guards what follows, for one table operation: never while an instance is used.
    Instances instances_;
    std::uint64_t lastId_ = 0;
    std::uint64_t generation_ = 0;
};

}  // namespace foundation::feature::inspector
