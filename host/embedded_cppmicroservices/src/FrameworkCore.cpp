#include "FrameworkCore.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "Access.h"
#include "ExitHook.h"
#include "cppmicroservices/Constants.h"
#include "cppmicroservices/IllegalStateException.h"

namespace cppmicroservices::detail {

namespace {

BundleDescription systemDescription() {
    AnyMap headers(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    headers.emplace(Constants::BUNDLE_SYMBOLICNAME, Constants::SYSTEM_BUNDLE_SYMBOLICNAME);
    return {Constants::SYSTEM_BUNDLE_SYMBOLICNAME, BundleVersion(), std::move(headers)};
}

}  // namespace

std::shared_ptr<FrameworkCore> findCore(BundleContext const& context) {
    auto const& data = Access::data(context);
    auto const bundle = data ? data->bundle.lock() : nullptr;
    return bundle ? bundle->core.lock() : nullptr;
}

std::shared_ptr<FrameworkCore> coreOf(BundleContext const& context) {
    auto core = context ? findCore(context) : nullptr;
    if (!core) throw IllegalStateException("The bundle context is no longer valid");
    return core;
}

Framework FrameworkCore::create(std::unordered_map<std::string, Any> properties, std::ostream* logger) {
    auto const core = std::make_shared<FrameworkCore>(std::move(properties), logger);
    core->system_ = std::make_shared<BundleData>(
        core, 0U, 0L, Constants::SYSTEM_BUNDLE_LOCATION, std::size_t{1}, systemDescription());
    auto const holder = std::make_shared<FrameworkHolder>(core);
    core->holder_ = holder;
    registerFramework(core);
    return Access::framework(core->system_, holder);
}

FrameworkCore::FrameworkCore(std::unordered_map<std::string, Any> properties, std::ostream* logger)
    : properties_(std::move(properties)), log_(std::make_shared<Log>(logger)),
      services_(std::make_shared<ServiceRegistry>(log_)) {}

FrameworkCore::~FrameworkCore() {
    joinStopThread();
}

Any FrameworkCore::property(std::string const& key) const {
    auto const entry = properties_.find(key);
    return entry == properties_.end() ? Any() : entry->second;
}

Bundle FrameworkCore::handle(BundlePtr const& bundle) const {
    return bundle ? Access::bundle(bundle, holder_.lock()) : Bundle();
}

bool FrameworkCore::isRunning() const {
    return system_->state == Bundle::STATE_STARTING || system_->state == Bundle::STATE_ACTIVE;
}

void FrameworkCore::init() {
    std::unique_lock lock(mutex_);
    initLocked(lock);
}

void FrameworkCore::start() {
    std::unique_lock lock(mutex_);
    initLocked(lock);
    system_->state = Bundle::STATE_ACTIVE;
    changed_.notify_all();
}

void FrameworkCore::initLocked(std::unique_lock<std::mutex>& lock) {
    if (stopper_ == std::this_thread::get_id()) {
        throw std::logic_error("a framework cannot be started by an activator that it is stopping");
    }
    changed_.wait(lock, [this] { return system_->state != Bundle::STATE_STOPPING; });
    if (isRunning()) return;
    auto context = std::make_shared<BundleContextData>(system_);
    bundles_.emplace(system_->location, system_);
    ++run_;
    nextId_ = 1;
    system_->setContext(std::move(context));
    system_->state = Bundle::STATE_STARTING;
    changed_.notify_all();
}

void FrameworkCore::stop() {
    std::lock_guard const threadLock(stopThreadMutex_);
    Bundle::State before = {};
    {
        std::lock_guard const lock(mutex_);
        if (!isRunning()) return;
        before = system_->state;
        system_->state = Bundle::STATE_STOPPING;
    }
    try {
        if (stopThread_.joinable()) stopThread_.join();  // From an earlier run, at its end.
        stopThread_ = std::thread([self = shared_from_this()] { self->shutDown(); });
    } catch (...) {
        std::lock_guard const lock(mutex_);
        system_->state = before;
        changed_.notify_all();
        throw;
    }
}

void FrameworkCore::stopNow() noexcept {
    {
        std::unique_lock lock(mutex_);
        if (stopper_ == std::this_thread::get_id()) {
            // The last handle went on the stopping thread itself, which holds the framework until it is done.
            lock.unlock();
            std::lock_guard const threadLock(stopThreadMutex_);
            if (stopThread_.get_id() == std::this_thread::get_id()) stopThread_.detach();
            return;
        }
        if (isRunning()) {
            system_->state = Bundle::STATE_STOPPING;
            lock.unlock();
            shutDown();
        } else {
            changed_.wait(lock, [this] { return system_->state != Bundle::STATE_STOPPING; });
        }
    }
    joinStopThread();
}

FrameworkEvent::Type FrameworkCore::waitForStop(std::chrono::milliseconds timeout) {
    {
        std::unique_lock lock(mutex_);
        if (stopper_ == std::this_thread::get_id()) {
            throw std::logic_error("a framework cannot be waited for by an activator that it is stopping");
        }
        auto const hasStopped = [this] { return !isRunning() && system_->state != Bundle::STATE_STOPPING; };
        if (timeout == std::chrono::milliseconds::zero()) {
            changed_.wait(lock, hasStopped);
        } else if (!changed_.wait_for(lock, timeout, hasStopped)) {
            return FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT;
        }
    }
    joinStopThread();
    return FrameworkEvent::FRAMEWORK_STOPPED;
}

void FrameworkCore::shutDown() {
    {
        std::lock_guard const lock(mutex_);
        stopper_ = std::this_thread::get_id();
    }
    stopAllBundles();
    services_->close(system_->currentContext());
    system_->setContext(nullptr);
    BundleTable leaving;
    {
        std::lock_guard const lock(mutex_);
        for (auto const& [location, bundle] : bundles_) {
            if (bundle != system_) bundle->state = Bundle::STATE_INSTALLED;
        }
        leaving.swap(bundles_);
    }
    leaving.clear();  // Destroys activators.

    std::lock_guard const lock(mutex_);
    stopper_.reset();
    system_->state = Bundle::STATE_RESOLVED;
    changed_.notify_all();
}

void FrameworkCore::stopAllBundles() {
    std::vector<BundlePtr> all = bundles();
    std::reverse(all.begin(), all.end());
    for (BundlePtr const& bundle : all) {
        if (bundle == system_) continue;
        try {
            stopBundle(bundle);
        } catch (std::exception const& error) {
            log_->write(error.what());  // The others are to be stopped all the same.
        }
        if (auto const context = bundle->currentContext()) services_->close(context);
    }
}

void FrameworkCore::joinStopThread() {
    std::lock_guard const lock(stopThreadMutex_);
    if (stopThread_.joinable()) stopThread_.join();
}

}  // namespace cppmicroservices::detail
