#include "Probe.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>

namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::BundleContext;

struct EnglishGreeter final : probe::Greeter {
    [[nodiscard]] std::string greet() const override { return "hello"; }
};

/// Does what the framework's properties say: "probe.start" and "probe.stop" make those fail, with that text
/// or, when it is "number", with a number.
class ProbeActivator final : public cppmicroservices::BundleActivator {
public:
    ProbeActivator() = default;
    ProbeActivator(ProbeActivator const&) = delete;
    ProbeActivator& operator=(ProbeActivator const&) = delete;
    ~ProbeActivator() override { write("destroy"); }

    void Start(BundleContext context) override {
        Any const journal = context.GetProperty("probe.journal");
        if (!journal.Empty()) journal_ = any_cast<std::shared_ptr<probe::Journal>>(journal);
        name_ = context.GetBundle().GetVersion().ToString();
        write("start");

        Any const rankings = context.GetProperty("probe.rankings");
        if (!rankings.Empty()) {
            int number = 0;
            for (Any const& ranking : any_cast<std::vector<Any>>(rankings)) {
                auto service = std::make_shared<probe::Plain>();
                service->number = number++;
                context.RegisterService<probe::Plain>(
                    service, {{cppmicroservices::Constants::SERVICE_RANKING, ranking}});
            }
        }
        if (!context.GetProperty("probe.greeter").Empty()) {
            context.RegisterService<probe::Greeter>(std::make_shared<EnglishGreeter>());
        }
        failIfTold(context.GetProperty("probe.start"));
    }

    void Stop(BundleContext context) override {
        write(context ? "stop" : "stop without a context");
        failIfTold(context.GetProperty("probe.stop"));
    }

private:
    void write(std::string const& what) {
        if (journal_) journal_->write(what + ' ' + name_);
    }

    static void failIfTold(Any const& how) {
        if (how.Empty()) return;
        if (how.ToString() == "number") throw 7;
        throw std::runtime_error(how.ToString());
    }

    std::shared_ptr<probe::Journal> journal_;
    std::string name_;
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(ProbeActivator)
