// Stand-in for the host's extension interface; implements only what CONTRACT.md lists.
#pragma once

#include <foundation/fctrl_ext/fctrl_ext_export.hpp>

#include <condition_variable>
#include <mutex>

namespace foundation::fctrl_ext {

/// What an extension bundle publishes as a service: registers the bundle's features when it is asked to.
///
/// @code
/// class MyRegistration final : public foundation::fctrl_ext::Registration {
///     void addFeatures() override { ... }
/// };
/// @endcode
class FOUNDATION_FCTRL_EXT_EXPORT Registration {
public:
    Registration();
    Registration(Registration const&) = delete;
    Registration& operator=(Registration const&) = delete;
    virtual ~Registration();

    /// Runs addFeatures() if no call of it has succeeded yet. While it runs, other threads wait for it; but a call from
    /// inside an addFeatures(), of this object or of any other, returns at once then, lest two wait for one another.
    ///
    /// @throws   What addFeatures() throws; the next call, also one that waits, runs it again.
    /// @threads  Any, at any time. No lock is held while addFeatures() runs.
    void addFeaturesOnce();

protected:
    /// Registers the features. Never called by two threads at once, nor again once it has returned.
    virtual void addFeatures() = 0;

private:
    enum class Progress { WANTED, RUNNING, DONE };

    void finish(Progress progress) noexcept;

    std::mutex mutex_;  // Guards the members below; never held while addFeatures() runs.
    std::condition_variable finished_;
    Progress progress_ = Progress::WANTED;
};

}  // namespace foundation::fctrl_ext
