#pragma once

#include <foundation/feature/Inspector.hpp>
#include <foundation/feature/inspector_export.hpp>

#include <foundation/usm.hpp>

#include <memory>
#include <string>

namespace foundation::feature {

/// Shows an engine instance's values in the page, under a name, as long as the object lives. The process's main
/// instance is shown always, as "main".
///
/// It must end before the engine instance does; make it after the instance, or as a later member. It may outlive
/// the inspector.
///
/// @threads  Any thread may make and destroy one at any time.
class InspectedInstance {
public:
    /// @param name  how the page calls the instance; need not be unique.
    FOUNDATION_FEATURE_INSPECTOR_EXPORT
    InspectedInstance(Inspector& inspector, std::string name, usm::EngineInstance& instance);

    /// Waits while the page is reading the instance's values, which is short, or while the watchers run of a change
    /// that the page has made in it; such a watcher must therefore not destroy the object.
    FOUNDATION_FEATURE_INSPECTOR_EXPORT ~InspectedInstance();

    InspectedInstance(InspectedInstance const&) = delete;
    InspectedInstance& operator=(InspectedInstance const&) = delete;

private:
    class Registration;
    std::unique_ptr<Registration> registration_;
};

}  // namespace foundation::feature
