#pragma once

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core/core.hpp>
#include <boost/log/core/record_view.hpp>
#include <boost/log/sinks/sink.hpp>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>

#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace foundation::test {

/// A log record's attributes, as the logging core handed them out.
struct Record {
    std::string channel;
    unsigned severity = 0;
    std::string message;
    std::string file;
    std::string function;
    int line = 0;
    unsigned indent = 0;

    bool operator==(Record const&) const = default;

    friend std::ostream& operator<<(std::ostream& out, Record const& record) {
        return out << '{' << record.channel << ' ' << record.severity << " \"" << record.message << "\" "
                   << record.file << ':' << record.line << ' ' << record.function << " indent "
                   << record.indent << '}';
    }
};

/// Collects the records that the logging core lets through, from construction until destruction.
///
/// A record that lacks an attribute, or has it with another type, makes the write that it comes from throw.
/// The threads that log must have ended before the capture is destroyed. Everything else is safe from any
/// thread.
class LogCapture {
public:
    using Callback = std::function<void(Record const&)>;

    /// @param onRecord  Called for each record on the thread that logs it, after the record was collected and
    ///                  while it is being consumed; no lock is held. What it throws leaves the write.
    explicit LogCapture(Callback onRecord = {}) : sink_(boost::make_shared<Sink>(std::move(onRecord))) {
        boost::log::core::get()->add_sink(sink_);
    }

    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;

    ~LogCapture() { boost::log::core::get()->remove_sink(sink_); }

    /// The records so far, in the order of their arrival.
    std::vector<Record> records() const { return sink_->records(); }

    /// Forgets the records so far.
    void clear() { sink_->clear(); }

private:
    class Sink : public boost::log::sinks::sink {
    public:
        explicit Sink(Callback onRecord) : sink(false), onRecord_(std::move(onRecord)) {}

        bool will_consume(boost::log::attribute_value_set const&) override { return true; }

        void consume(boost::log::record_view const& view) override {
            Record const record = read(view.attribute_values());
            {
                std::lock_guard const lock(mutex_);
                records_.push_back(record);
            }
            if (onRecord_) onRecord_(record);
        }

        void flush() override {}

        std::vector<Record> records() const {
            std::lock_guard const lock(mutex_);
            return records_;
        }

        void clear() {
            std::lock_guard const lock(mutex_);
            records_.clear();
        }

    private:
        static Record read(boost::log::attribute_value_set const& values) {
            using boost::log::extract_or_throw;
            return {extract_or_throw<std::string>("Channel", values),
                    extract_or_throw<unsigned>("Severity", values),
                    extract_or_throw<std::string>("Message", values),
                    extract_or_throw<std::string>("File", values),
                    extract_or_throw<std::string>("Function", values),
                    extract_or_throw<int>("Line", values),
                    extract_or_throw<unsigned>("Indent", values)};
        }

        Callback const onRecord_;
        mutable std::mutex mutex_;  // Guards the records; never held while the callback runs.
        std::vector<Record> records_;
    };

    boost::shared_ptr<Sink> const sink_;
};

}  // namespace foundation::test
