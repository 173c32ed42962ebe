#include <foundation/log/diagnostic_logger.hpp>

#include "LoggingCore.hpp"

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core/record_view.hpp>
#include <boost/log/sinks/sink.hpp>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>

#include <cstdio>
#include <string>

namespace foundation::log {
namespace {

class ConsoleSink : public boost::log::sinks::sink {
public:
    ConsoleSink() : sink(false) {}

    bool will_consume(boost::log::attribute_value_set const&) override { return true; }

    void consume(boost::log::record_view const& record) override {
        std::string const text = format(record.attribute_values());
        // In one piece, so that the lines of several threads do not mix. Nobody could be told of a failure.
        static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
    }

    void flush() override { static_cast<void>(std::fflush(stderr)); }

private:
    static std::string format(boost::log::attribute_value_set const& values);
};

std::string ConsoleSink::format(boost::log::attribute_value_set const& values) {
    using boost::log::extract;
    LoggingCore const& names = LoggingCore::instance();
    // A record that is not a diagnostic logger's may lack any of these.
    auto const channel = extract<std::string>(names.channel, values);
    auto const severity = extract<unsigned>(names.severity, values);
    auto const message = extract<std::string>(names.message, values);
    auto const indent = extract<unsigned>(names.indent, values);

    std::string const margin(indent ? 2 * std::size_t{*indent} : 0, ' ');
    std::string text = margin;
    if (channel) text += *channel + ' ';
    if (severity) text += '[' + std::to_string(*severity) + "] ";
    if (message) {
        // Line feeds at the end would show as empty lines.
        std::size_t const end = message->find_last_not_of('\n') + 1;
        for (char const c : message->substr(0, end)) {
            text += c;
            if (c == '\n') text += margin + "    ";
        }
    }
    return text += '\n';
}

}  // namespace

void addConsoleSink() {
    // Never destroyed, as static destructors log. The core ignores a sink that it has.
    static boost::shared_ptr<ConsoleSink>& sink =
        *new boost::shared_ptr<ConsoleSink>(boost::make_shared<ConsoleSink>());
    LoggingCore::instance().core->add_sink(sink);
}

}  // namespace foundation::log
