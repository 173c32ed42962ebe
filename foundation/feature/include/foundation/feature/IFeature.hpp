#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include <boost/signals2/connection.hpp>

#include <foundation/feature/Export.hpp>
#include <foundation/feature/Scope.hpp>
#include <foundation/feature/State.hpp>

namespace foundation::feature {

/// A handle: the way to read, change and watch one feature.
///
/// Handles are small and cheap and own nothing. They come from `management::getFeature` and its siblings, or
/// are made as `Feature<Scope>` from a name. Every operation but `getName` first finds the feature's record
/// (`getState`), which for a handle made from the name of a feature that nobody has registered throws
/// `std::out_of_range` ("unregistered feature: " + name); handles that a lookup has handed out always find
/// theirs.
///
/// @threads  Any thread may use any handle at any time, except to assign to it.
class FOUNDATION_FEATURE_EXPORT IFeature {
public:
    /// @param name  the feature's name; not copied: the text must outlive the handle and be followed by a
    /// NUL.
    explicit IFeature(std::string_view name);
    IFeature(IFeature const& other);
    IFeature& operator=(IFeature const& other);
    virtual ~IFeature();

    /// Whether the feature has one value in the process or one in each engine instance.
    virtual Scope getScope() const = 0;

    /// The feature's record in the current context.
    ///
    /// @return  never null for a handle of this library; valid as long as the process or the engine instance.
    /// @throws  std::out_of_range  see `management::process::getDataPtr`, `management::zor::getDataIndex` and
    ///                             `management::zor::getDataPtr`.
    virtual detail::State* getState() const = 0;

    /// Whether the value is not 0. Counts one read.
    operator bool() const { return isActive(); }

    /// The current value. Counts one read.
    ///
    /// @cost  For a process-wide feature, once resolved: one virtual call, one atomic increment, one load.
    int get() const {
        detail::State& state = *getState();
        ++state.readCount;
        return state.value;
    }

    /// Whether the value is not 0. Counts one read.
    bool isActive() const { return get() != 0; }

    /// Changes the value; setting the present value again does nothing at all.
    ///
    /// A change is logged (channel "foundation::feature::set", severity 16), counted, stored and then
    /// announced: the watchers run on this thread, oldest first, with this handle. No lock is held meanwhile,
    /// so a watcher may do anything, this feature included.
    ///
    /// @throws   what a watcher throws, unchanged; the value and the count stay changed and later watchers
    ///           are not called. What finding the record or logging throws: nothing has changed then. A change for
    ///           whose log record there is no memory is made without it.
    /// @threads  Comparison and change are separate steps: of two threads that set one new value at the same
    ///           time both may count, log and announce it.
    void set(int newValue);

    /// Watches the feature: calls `callback` at once with this handle, and again after each change.
    ///
    /// @return  the connection, whose `disconnect()` ends the notifications; letting it go does not. Not
    ///          connected when `callback` is empty, which is not an error.
    /// @throws  what the first call of `callback` throws; it stays connected nevertheless. std::bad_alloc: it is not called.
    boost::signals2::connection addCallback(std::function<void(IFeature const&)> callback);

    /// The name, as a view of the text that the handle was made with. Looks nothing up.
    std::string_view getName() const { return name; }

    /// The value given at registration; the environment and `set` do not change it.
    int getDefaultValue() const { return getState()->defaultValue; }

    /// The feature-control state: "Off", "On", "Beta", "Preview" or "DebugOrTest".
    std::string const& getFCtrlState() const { return getState()->fctrlState; }

    /// The client directory of the code that declared the feature.
    std::string const& getClientDir() const { return getState()->clientDir; }

    /// The component that owns the feature.
    std::string const& getComponent() const { return getState()->component; }

    /// The module that owns the feature.
    std::string const& getModule() const { return getState()->module; }

    /// The file that declares the feature.
    std::string const& getFilename() const { return getState()->filename; }

    /// The line of the declaration; -1 when it is not known.
    int getLine() const { return getState()->line; }

    /// How often the value has been read through any handle. Not itself a read.
    std::size_t getReadCount() const { return getState()->readCount; }

    /// How often the value has been changed through any handle.
    std::size_t getWriteCount() const { return getState()->writeCount; }

private:
    std::string_view name;
};

}  // namespace foundation::feature
