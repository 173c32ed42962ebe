#include <foundation/feature/State.hpp>

#include <utility>

#include <foundation/feature/IFeature.hpp>

namespace foundation::feature::detail {

State::State(int defaultValue_,
             std::function<void(IFeature const&)> callback,
             std::string component_,
             std::string module_,
             std::string fctrlState_,
             std::string clientDir_,
             std::string filename_,
             int line_)
    : defaultValue(defaultValue_), value(defaultValue_), readCount(0), writeCount(0),
      component(std::move(component_)), module(std::move(module_)), fctrlState(std::move(fctrlState_)),
      clientDir(std::move(clientDir_)), filename(std::move(filename_)), line(line_) {
    if (callback) signal.connect(callback, boost::signals2::at_back);
}

// The signal is new on purpose: a copied record starts unwatched.
State::State(State const& other)
    : defaultValue(other.defaultValue), value(other.value.load()), readCount(other.readCount.load()),
      writeCount(other.writeCount.load()), component(other.component), module(other.module),
      fctrlState(other.fctrlState), clientDir(other.clientDir), filename(other.filename), line(other.line) {}

State::State(State&& other)  // NOLINT(performance-noexcept-move-constructor): copying a text may fail
    : defaultValue(other.defaultValue), value(other.value.load()), readCount(other.readCount.load()),
      writeCount(other.writeCount.load()), signal(std::move(other.signal)), component(other.component),
      module(other.module), fctrlState(other.fctrlState), clientDir(other.clientDir),
      filename(other.filename), line(other.line) {}

State::~State() = default;

}  // namespace foundation::feature::detail
