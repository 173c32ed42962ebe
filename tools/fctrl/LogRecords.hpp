#pragma once

#include <memory>
#include <string>
#include <vector>

namespace fctrl {

/// Listens to what the library and the service framework log, in place of the console, for the life of the object.
class LogRecords {
public:
    LogRecords();
    LogRecords(LogRecords const&) = delete;
    LogRecords& operator=(LogRecords const&) = delete;
    ~LogRecords();

    /// What has gone wrong with extensions and with variables' values, each once, in the order of the records.
    std::vector<std::string> problems() const;

    /// Whether any record begins with this text.
    bool hasBeginning(std::string const& text) const;

private:
    class Sink;

    std::shared_ptr<Sink> sink_;
};

}  // namespace fctrl
