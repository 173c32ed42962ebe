#include <foundation/feature/IFeature.hpp>

#include <ostream>

#include "../detail/logging.hpp"

namespace foundation::feature {

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
    boost::signals2::connection connection = getState()->signal.connect(callback, boost::signals2::at_back);
    callback(*this);
    return connection;
}

}  // namespace foundation::feature
