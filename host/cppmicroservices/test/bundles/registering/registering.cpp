#include <foundation/fctrl_ext/Registration.hpp>
#include <foundation/json/parse.hpp>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/IllegalStateException.h>
#include <cppmicroservices/ServiceException.h>
#include <cppmicroservices/SharedLibraryException.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using cppmicroservices::Any;
using cppmicroservices::BadAnyCastException;
using cppmicroservices::IllegalStateException;
using cppmicroservices::ServiceException;
using cppmicroservices::SharedLibraryException;
using foundation::json::ParserException;
using Step = std::shared_ptr<std::function<void()>>;

/// Adds nothing, but says by its failure that it was asked. When the host gives it a step, fails as that does: with an
/// exception of the same type, but of its own.
class Refusing final : public foundation::fctrl_ext::Registration {
public:
    explicit Refusing(Step step) : step_(std::move(step)) {}

    void addFeatures() override {
        static std::string const text = "of the bundle";
        try {
            if (step_) (*step_)();
        } catch (ParserException const& error) {
            throw ParserException(error.code(), text, "", 0);
        } catch (SharedLibraryException const& error) {
            throw SharedLibraryException(error.code(), text, error.GetBundle());
        } catch (ServiceException const&) {
            throw ServiceException(text);
        } catch (IllegalStateException const&) {
            throw IllegalStateException(text);
        } catch (BadAnyCastException const&) {
            throw BadAnyCastException(text);
        } catch (std::range_error const&) {
            throw std::range_error(text);
        } catch (std::out_of_range const&) {
            throw std::out_of_range(text);
        }
        throw std::runtime_error("asked");
    }

private:
    Step step_;
};

/// Fails to start when the framework's property "registering.fails" is set; "registering.step" is the host's step.
struct Activator final : cppmicroservices::BundleActivator {
    void Start(cppmicroservices::BundleContext context) override {
        if (!context.GetProperty("registering.fails").Empty()) throw std::runtime_error("told to fail");
        Any const step = context.GetProperty("registering.step");
        context.RegisterService<foundation::fctrl_ext::Registration>(
            std::make_shared<Refusing>(step.Empty() ? nullptr : cppmicroservices::any_cast<Step>(step)));
    }
    void Stop(cppmicroservices::BundleContext) override {}
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
