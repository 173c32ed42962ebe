#include "cppmicroservices/Framework.h"

#include <stdexcept>

#include "Access.h"
#include "FrameworkCore.h"
#include "cppmicroservices/FrameworkEvent.h"
#include "cppmicroservices/FrameworkFactory.h"

namespace cppmicroservices {

namespace {

// A framework's handle keeps it alive; only a moved-from one is without it.
std::shared_ptr<detail::FrameworkCore> coreOf(Framework const& framework) {
    auto const& data = detail::Access::data(framework);
    auto core = data ? data->core.lock() : nullptr;
    if (!core) throw std::invalid_argument("invalid bundle");
    return core;
}

}  // namespace

Framework::Framework(Framework const& other) = default;
Framework::Framework(Framework&& other) noexcept = default;
Framework& Framework::operator=(Framework const& other) = default;
Framework& Framework::operator=(Framework&& other) noexcept = default;
Framework::~Framework() = default;

void Framework::Init() {
    coreOf(*this)->init();
}

FrameworkEvent Framework::WaitForStop(std::chrono::milliseconds const& timeout) {
    auto const core = coreOf(*this);
    return FrameworkEvent(core->waitForStop(timeout), *this);
}

Framework FrameworkFactory::NewFramework() {
    return NewFramework({});
}

Framework FrameworkFactory::NewFramework(std::unordered_map<std::string, Any> const& configuration,
                                         std::ostream* logger) {
    return detail::FrameworkCore::create(configuration, logger);
}

}  // namespace cppmicroservices
