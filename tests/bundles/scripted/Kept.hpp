#pragma once

#include <atomic>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <boost/signals2/connection.hpp>

#include <foundation/feature/Feature.hpp>
#include <foundation/feature/ScopedFeature.hpp>
#include <foundation/feature/management.hpp>

namespace foundation::test {

using feature::Feature;
using feature::IFeature;
using feature::Scope;
using feature::ScopedFeature;
using feature::management::getFeature;

/// One of each thing of the library that a static object may hold, of the features "process", "zor" and "forced".
/// Whenever the object is destroyed, all of them are used once more; then its name is written, to standard error.
class Kept {
public:
    /// Holds nothing yet.
    explicit Kept(std::string name) : name_(std::move(name)) {}
    Kept(Kept const&) = delete;
    Kept& operator=(Kept const&) = delete;

    void take() {
        byName_ = getFeature("process");
        process_.emplace("process");
        zor_.emplace("zor");
        override_.emplace("forced", 5);
        watching_ = byName_->addCallback([this](IFeature const&) { ++calls_; });
        zor_->get();
    }

    ~Kept() {
        int const before = process_->get();
        int const callsBefore = calls_;
        byName_->set(before + 1);
        zor_->set(zor_->get() + 1);
        expect(process_->get() == before + 1, "the process-wide feature does not change");
        expect(zor_->get() > 0, "the per-instance feature does not change");
        expect(calls_ - callsBefore == (watching_.connected() ? 1 : 0),
               "who is not connected is told, or the reverse");
        expect(getFeature("forced")->isActive(), "the override has ended too early");
        override_.reset();
        feature::management::registerFeature(Scope::PROCESS, name_, 0, "Off", "", "", 0, "", "late");
        expect(getFeature(name_) != nullptr, "nothing can be registered");
        std::fputs((name_ + (watching_.connected() ? " watching " : " ")).c_str(), stderr);
        watching_.disconnect();
    }

private:
    static void expect(bool isTrue, char const* otherwise) {
        if (!isTrue) std::fputs(otherwise, stderr);
    }

    std::string const name_;
    std::atomic<int> calls_ = 0;  // other threads change features, too
    std::unique_ptr<IFeature> byName_;
    std::optional<Feature<Scope::PROCESS>> process_;
    std::optional<Feature<Scope::ZOR>> zor_;
    std::optional<ScopedFeature> override_;
    boost::signals2::connection watching_;
};

}  // namespace foundation::test
