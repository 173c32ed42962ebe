#include "ExitHook.h"

#include <cstdlib>
#include <mutex>
#include <new>
#include <set>
#include <vector>

#include "FrameworkCore.h"

namespace cppmicroservices::detail {

namespace {

struct Process {
    std::mutex mutex;  // Guards the two below; never held while a framework is stopped.
    std::vector<std::weak_ptr<FrameworkCore>> frameworks;
    std::set<void*> libraries;
};

/// Never destroyed: it is used while static objects are.
Process& process() {
    static auto* const instance = new Process;
    return *instance;
}

void stopFrameworks() {
    std::vector<std::weak_ptr<FrameworkCore>> frameworks;
    {
        std::lock_guard const lock(process().mutex);
        frameworks = process().frameworks;
    }
    for (auto const& framework : frameworks) {
        if (auto const core = framework.lock()) core->stopNow();
    }
}

}  // namespace

void registerFramework(std::shared_ptr<FrameworkCore> const& core) {
    std::lock_guard const lock(process().mutex);
    std::erase_if(process().frameworks, [](auto const& framework) { return framework.expired(); });
    process().frameworks.push_back(core);
}

void stopFrameworksBeforeExit(void* library) {
    std::lock_guard const lock(process().mutex);
    // Exit functions run in reverse order: one registered now runs before what this library has registered so
    // far.
    auto const [place, isNew] = process().libraries.insert(library);
    if (isNew && std::atexit(&stopFrameworks) != 0) {
        process().libraries.erase(place);
        throw std::bad_alloc();  // There is no other reason.
    }
}

}  // namespace cppmicroservices::detail
