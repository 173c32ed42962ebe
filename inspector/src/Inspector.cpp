#include <foundation/feature/InspectedInstance.hpp>
#include <foundation/feature/Inspector.hpp>

#include "InstanceTable.hpp"
#include "Server.hpp"

#include <random>
#include <thread>
#include <utility>

#if !defined(_WIN32)
#include <csignal>
#include <pthread.h>
#endif

namespace foundation::feature {
namespace {

/// 160 random bits from the system, in hexadecimal digits.
std::string makeToken() {
    std::random_device source;
    constexpr char const* digits = "0123456789abcdef";
    std::string token;
    for (int word = 0; word < 5; ++word) {
        std::random_device::result_type bits = source();
        for (int digit = 0; digit < 8; ++digit, bits >>= 4U)
            token += digits[bits & 0xFU];
    }
    return token;
}

/// A thread on which none of the host's signal handlers runs, but for those of faults: the one that reports crashes must
/// also see those of the watchers and extensions that run here.
template <class Run>
std::thread startQuietThread(Run run) {
#if defined(_WIN32)
    return std::thread(std::move(run));
#else
    sigset_t blocked;
    sigset_t earlier;
    sigfillset(&blocked);
    for (int const fault : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP})
        sigdelset(&blocked, fault);
    pthread_sigmask(SIG_SETMASK, &blocked, &earlier);
    struct Restore {
        sigset_t const& mask;
        ~Restore() { pthread_sigmask(SIG_SETMASK, &mask, nullptr); }
    } const restore{earlier};
    return std::thread(std::move(run));
#endif
}

}  // namespace

class Inspector::Implementation {
public:
    explicit Implementation(InspectorOptions const& options)
        : token_(makeToken()), table_(std::make_shared<inspector::InstanceTable>()),
          server_(table_, options.port, token_, options.allowWriting),
          url_("http://127.0.0.1:" + std::to_string(server_.port()) + "/" + token_ + "/"),
          thread_(startQuietThread([this] { server_.run(); })) {}

    ~Implementation() {
        server_.stop();
        thread_.join();
    }

    Implementation(Implementation const&) = delete;
    Implementation& operator=(Implementation const&) = delete;

    std::shared_ptr<inspector::InstanceTable> const& table() const { return table_; }
    std::string const& url() const { return url_; }

private:
    std::string const token_;
    std::shared_ptr<inspector::InstanceTable> const table_;
    inspector::Server server_;
    std::string const url_;
    std::thread thread_;
};

Inspector::Inspector(InspectorOptions const& options)
    : implementation_(std::make_unique<Implementation>(options)) {}

Inspector::~Inspector() = default;

std::string const& Inspector::url() const {
    return implementation_->url();
}

/// Keeps the table, and with it the row, beyond the inspector's end.
class InspectedInstance::Registration {
public:
    Registration(std::shared_ptr<inspector::InstanceTable> table,
                 std::string name,
                 usm::EngineInstance& instance)
        : table_(std::move(table)), instance_(table_->add(std::move(name), instance)) {}

    ~Registration() { table_->remove(instance_); }

    Registration(Registration const&) = delete;
    Registration& operator=(Registration const&) = delete;

private:
    std::shared_ptr<inspector::InstanceTable> const table_;
    std::shared_ptr<inspector::NamedInstance> const instance_;
};

InspectedInstance::InspectedInstance(Inspector& inspector, std::string name, usm::EngineInstance& instance)
    : registration_(
          std::make_unique<Registration>(inspector.implementation_->table(), std::move(name), instance)) {}

InspectedInstance::~InspectedInstance() = default;

}  // namespace foundation::feature
