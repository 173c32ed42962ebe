#pragma once

#include <memory>
#include <string>

#include <foundation/feature/Export.hpp>
#include <foundation/feature/Feature.hpp>
#include <foundation/feature/IFeature.hpp>

namespace foundation::feature {

/// Gives a feature a value for the life of one object and puts the earlier value back at its end.
///
/// Both are ordinary writes: counted, logged and announced, and nothing at all when the value is already
/// there. The value restored is the one found at construction, whatever others have set meanwhile; so
/// overrides of one feature must end in the reverse order of their construction. An override of a
/// per-instance feature acts on the engine instance that is current when it begins, and its end on the one
/// that is current then.
///
/// @throws   the constructors: what reading or setting the feature throws; nothing is restored then. The end
///           of an override lets no exception out: a watcher that throws while the value is restored ends the
///           process.
/// @threads  One object belongs to one thread at a time.
class FOUNDATION_FEATURE_EXPORT ScopedFeature {
public:
    /// Overrides the feature of this handle; a null handle gives an object that does nothing.
    ScopedFeature(std::unique_ptr<IFeature>&& feature, int value);

    /// Overrides the feature of this name, found as by `management::getFeature`; an unknown name gives an
    /// object that does nothing.
    ScopedFeature(std::string const& name, int value);

    /// Overrides a per-instance feature, through a copy of the handle.
    ScopedFeature(Feature<Scope::ZOR> feature, int value);

    /// Overrides a process-wide feature, through a copy of the handle.
    ScopedFeature(Feature<Scope::PROCESS> feature, int value);

    ScopedFeature(ScopedFeature const&) = delete;
    ScopedFeature& operator=(ScopedFeature const&) = delete;

    /// The new object restores; `other` does nothing any more.
    ScopedFeature(ScopedFeature&& other) noexcept;

    /// Takes over the override of `other`. The override that this object had stays in force for good: it is
    /// not restored.
    ScopedFeature& operator=(ScopedFeature&& other) noexcept;

    ~ScopedFeature();

private:
    void begin(int value);

    std::unique_ptr<IFeature> feature;
    int previousValue = 0;
};

}  // namespace foundation::feature
