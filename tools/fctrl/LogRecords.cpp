#include "LogRecords.hpp"

#include <foundation/log/diagnostic_logger.hpp>

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core/core.hpp>
#include <boost/log/core/record_view.hpp>
#include <boost/log/sinks/sink.hpp>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>

#include <algorithm>
#include <mutex>
#include <set>
#include <string_view>

namespace fctrl {
namespace {

constexpr unsigned changes = 16;
constexpr unsigned failedServices = 256;
constexpr unsigned rejections = 512;

struct Record {
    std::string channel;
    unsigned severity;
    std::string message;
};

bool isProblem(Record const& record) {
    // Of refused registrations the caller learns by exceptions, or by the record about the manifest.
    if (record.channel == "foundation::feature::registration") {
        return record.severity == rejections && record.message.starts_with("feature ");
    }
    if (record.severity == failedServices) return record.message.starts_with("Unable to load ");
    return record.severity == rejections;
}

}  // namespace

/// Gets the records from the logging core, from any thread.
class LogRecords::Sink {
public:
    Sink() : impl_(boost::make_shared<Impl>()) { boost::log::core::get()->add_sink(impl_); }
    Sink(Sink const&) = delete;
    Sink& operator=(Sink const&) = delete;
    ~Sink() { boost::log::core::get()->remove_sink(impl_); }

    std::vector<Record> records() const { return impl_->records(); }
    bool hasBeginning(std::string const& text) const { return impl_->hasBeginning(text); }

private:
    class Impl : public boost::log::sinks::sink {
    public:
        Impl() : sink(false) {}

        bool will_consume(boost::log::attribute_value_set const&) override { return true; }

        void consume(boost::log::record_view const& view) override {
            auto const& values = view.attribute_values();
            Record const record{
                boost::log::extract_or_default<std::string>("Channel", values, std::string()),
                boost::log::extract_or_default<unsigned>("Severity", values, 0U),
                boost::log::extract_or_default<std::string>("Message", values, std::string())};
            std::lock_guard const lock(mutex_);
            if (isProblem(record)) records_.push_back(record);
            if (record.severity == changes) messages_.insert(record.message);
        }

        void flush() override {}

        std::vector<Record> records() const {
            std::lock_guard const lock(mutex_);
            return records_;
        }

        bool hasBeginning(std::string const& text) const {
            std::lock_guard const lock(mutex_);
            auto const next = messages_.lower_bound(text);
            return next != messages_.end() && next->starts_with(text);
        }

    private:
        mutable std::mutex mutex_;  // Guards the members below.
        std::vector<Record> records_;
        std::set<std::string> messages_;
    };

    boost::shared_ptr<Impl> const impl_;
};

LogRecords::LogRecords() : sink_(std::make_shared<Sink>()) {
    foundation::log::setChannelMask("*", rejections);
    foundation::log::setChannelMask("foundation::feature::registration", rejections | changes);
    foundation::log::setChannelMask("foundation::feature::lookup", failedServices);
}

LogRecords::~LogRecords() = default;

std::vector<std::string> LogRecords::problems() const {
    std::vector<std::string> texts;
    for (Record const& record : sink_->records()) {
        if (std::find(texts.begin(), texts.end(), record.message) == texts.end())
            texts.push_back(record.message);
    }
    return texts;
}

bool LogRecords::hasBeginning(std::string const& text) const {
    return sink_->hasBeginning(text);
}

}  // namespace fctrl
