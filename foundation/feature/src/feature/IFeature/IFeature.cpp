#include <foundation/feature/IFeature.hpp>

#include <atomic>
#include <memory>
#include <ostream>

#include "../detail/logging.hpp"

namespace foundation::feature {
namespace {

using Callback = std::function<void(IFeature const&)>;

/// A callback as it stands in a signal.
struct Watcher {
    void operator()(IFeature const& feature) const {
        if (*isConnected) callback(feature);
    }

    Callback callback;
    std::shared_ptr<std::atomic<bool> const> isConnected;
};

boost::signals2::connection connect(detail::State::Signal& signal, Callback const& callback) {
    auto const isConnected = std::make_shared<std::atomic<bool>>(true);
    try {
        return signal.connect(Watcher{callback, isConnected}, boost::signals2::at_back);
    } catch (...) {
        // When memory runs out, the signal may have the watcher in its list nevertheless, from which nothing takes it out
        // again. What the caller has not got a connection for must not be called.
        *isConnected = false;
        throw;
    }
}

}  // namespace

IFeature::IFeature(std::string_view name_) : name(name_) {}

IFeature::IFeature(IFeature const& other) = default;

IFeature& IFeature::operator=(IFeature const& other) = default;

IFeature::~IFeature() = default;

void IFeature::set(int newValue) {
    static detail::Logger logger("foundation::feature::set");
    // Constants of the record, not this file's name and line.
    static constexpr detail::SourceLocation location{
        "foundation/feature/src/feature/IFeature", "void foundation::feature::IFeature::set(int)", 19};

    detail::State& state = *getState();
    int const oldValue = state.value;
    if (newValue == oldValue) return;

    logger.write(detail::severity::changes, location, [&](std::ostream& out) {
        // No blank before "changed" and two after "changed.": the published text; do not correct.
        out << "feature " << name << "changed.  from: " << oldValue << " to: " << newValue;
    });
    ++state.writeCount;
    state.value.exchange(newValue);
    state.signal(*this);
}

boost::signals2::connection IFeature::addCallback(std::function<void(IFeature const&)> callback) {
    if (!callback) return {};
    boost::signals2::connection connection = connect(getState()->signal, callback);
    callback(*this);
    return connection;
}

}  // namespace foundation::feature
