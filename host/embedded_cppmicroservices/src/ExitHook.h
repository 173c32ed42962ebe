#pragma once

#include <memory>

namespace cppmicroservices::detail {

class FrameworkCore;

/// Enters a framework among those that are stopped when the process exits.
void registerFramework(std::shared_ptr<FrameworkCore> const& core);

/// To be called whenever a bundle's code has been loaded: when the process exits, running frameworks are
/// stopped before the static objects of that code are destroyed, which its activator may use.
void stopFrameworksBeforeExit(void* library);

}  // namespace cppmicroservices::detail
