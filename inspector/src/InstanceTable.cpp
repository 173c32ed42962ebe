#include "InstanceTable.hpp"

#include <utility>

namespace foundation::feature::inspector {

std::shared_ptr<NamedInstance> InstanceTable::add(std::string name, usm::EngineInstance& instance) {
    std::lock_guard const lock(mutex_);
    instances_.push_back(std::make_shared<NamedInstance>(lastId_ + 1, std::move(name), instance));
    ++lastId_;
    ++generation_;
    return instances_.back();
}

void InstanceTable::remove(std::shared_ptr<NamedInstance> const& instance) {
    instance->end();
    std::lock_guard const lock(mutex_);
    std::erase(instances_, instance);
    ++generation_;
}

InstanceTable::Instances InstanceTable::all(std::uint64_t& generation) const {
    std::lock_guard const lock(mutex_);
    generation = generation_;
    return instances_;
}

std::uint64_t InstanceTable::generation() const {
    std::lock_guard const lock(mutex_);
    return generation_;
}

}  // namespace foundation::feature::inspector
