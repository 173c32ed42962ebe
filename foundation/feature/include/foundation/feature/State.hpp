#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include <boost/signals2/signal.hpp>

#include <foundation/feature/Export.hpp>

namespace foundation::feature {

class IFeature;

namespace detail {

/// Everything that is known about one feature in one storage place: the process, or one engine instance.
///
/// Records are owned by the registry or by an engine instance and never move once handles can reach them;
/// they are read and written through `IFeature`. A record does not know its name: that is the key under which
/// it is filed.
///
/// @threads  `value` and the counters are atomic and `signal` locks itself; everything else is constant.
///           Construction, copying and moving belong to one thread, before others can see the record.
struct FOUNDATION_FEATURE_EXPORT State {
    /// The change callbacks: each is called with the handle through which the feature was changed.
    using Signal =
        boost::signals2::signal<void(IFeature const&),
                                boost::signals2::optional_last_value<void>,
                                int,
                                std::less<int>,
                                std::function<void(IFeature const&)>,
                                std::function<void(boost::signals2::connection const&, IFeature const&)>,
                                boost::signals2::mutex>;

    /// A record with `value` equal to `defaultValue` and both counters 0.
    ///
    /// @param callback  connected as the first watcher, but not called; an empty function connects nothing.
    State(int defaultValue,
          std::function<void(IFeature const&)> callback,
          std::string component,
          std::string module,
          std::string fctrlState,
          std::string clientDir,
          std::string filename,
          int line);

    /// Copies everything but the watchers: a copied record starts unwatched.
    State(State const& other);

    /// Takes over the watchers and copies the rest, the texts included, since they are constant. `other` may
    /// only be destroyed afterwards.
    State(State&& other);  // NOLINT(performance-noexcept-move-constructor): copying a text may fail

    State& operator=(State const&) = delete;
    State& operator=(State&&) = delete;

    /// Connections to `signal` report not connected afterwards.
    ~State();

    int const defaultValue;                 ///< the value given at registration
    std::atomic<std::int32_t> value;        ///< the current value
    std::atomic<std::uint64_t> readCount;   ///< counted reads, through any handle
    std::atomic<std::uint64_t> writeCount;  ///< writes that changed the value, through any handle
    Signal signal;                          ///< fired by `IFeature::set` after a change
    std::string const component;            ///< owning component
    std::string const module;               ///< owning module
    std::string const fctrlState;           ///< "Off", "On", "Beta", "Preview" or "DebugOrTest"
    std::string const clientDir;            ///< client directory of the declaring code
    std::string const filename;             ///< source file that declared the feature
    int const line;                         ///< source line of the declaration
};

}  // namespace detail
}  // namespace foundation::feature
