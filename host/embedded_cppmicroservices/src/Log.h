#pragma once

#include <mutex>
#include <ostream>
#include <string>

namespace cppmicroservices::detail {

/// Where problems go that no caller can be told of.
class Log {
public:
    /// @param out  Null for nowhere.
    explicit Log(std::ostream* out) : out_(out) {}

    void write(std::string const& problem) {
        if (out_ == nullptr) return;
        std::lock_guard const lock(mutex_);
        *out_ << "service framework: " << problem << std::endl;
    }

private:
    std::mutex mutex_;  // For writing.
    std::ostream* const out_;
};

}  // namespace cppmicroservices::detail
