#include <foundation/log/diagnostic_logger.hpp>

#include "Channels.hpp"
#include "LoggingCore.hpp"

#include <boost/log/attributes/attribute_value_impl.hpp>
#include <boost/log/attributes/attribute_value_set.hpp>
#include <boost/log/core/record.hpp>

#include <ios>
#include <locale>
#include <sstream>
#include <utility>

namespace foundation::log {
namespace {

// The scopes that are open on this thread, the innermost first. A bare pointer: needs no memory and no
// destructor, so traces work while the thread ends.
thread_local detail::OpenScope* innermostScope = nullptr;

unsigned openScopes(detail::Channel const& channel) {
    unsigned count = 0;
    for (detail::OpenScope const* scope = innermostScope; scope != nullptr; scope = scope->outer) {
        if (scope->channel == &channel) ++count;
    }
    return count;
}

template <class T>
void insert(boost::log::attribute_value_set& values, boost::log::attribute_name name, T value) {
    values.insert(name, boost::log::attributes::make_attribute_value(std::move(value)));
}

boost::log::attribute_value_set
attributes(detail::Channel const& channel, unsigned severity, SourceLocation const& location) {
    LoggingCore const& names = LoggingCore::instance();
    boost::log::attribute_value_set values;
    insert(values, names.channel, std::string(channel.name));
    insert(values, names.severity, severity);
    insert(values, names.file, std::string(location.file));
    insert(values, names.function, std::string(location.function));
    insert(values, names.line, location.line);
    insert(values, names.indent, openScopes(channel));
    return values;
}

}  // namespace

namespace detail {

Channel const& findChannel(std::string name) {
    LoggingCore::instance();  // Made here, where it may throw, not in coreEnabled().
    return Channels::instance().find(std::move(name));
}

bool coreEnabled() noexcept {
    return LoggingCore::instance().core->get_logging_enabled();
}

void write(Channel const& channel,
           std::mutex& openMutex,
           unsigned severity,
           SourceLocation const& location,
           std::function<void(std::ostream&)> const& format) {
    if (!coreEnabled()) return;
    LoggingCore& logging = LoggingCore::instance();
    boost::log::attribute_value_set values = attributes(channel, severity, location);
    boost::log::record record;
    {
        std::lock_guard const lock(openMutex);
        record = logging.core->open_record(std::move(values));
    }
    if (!record) return;

    std::ostringstream message;
    message.imbue(std::locale::classic());  // The host's global locale would group digits.
    message.exceptions(
        std::ios_base::badbit);  // Else a message that memory ran out in would be cut off in silence.
    format(message);
    insert(record.attribute_values(), logging.message, std::move(message).str());
    logging.core->push_record(std::move(record));
}

void enterScope(OpenScope& scope) noexcept {
    scope.outer = innermostScope;
    innermostScope = &scope;
}

void leaveScope(OpenScope& scope) noexcept {
    for (OpenScope** link = &innermostScope; *link != nullptr; link = &(*link)->outer) {
        if (*link == &scope) {
            *link = scope.outer;
            return;
        }
    }
}

}  // namespace detail
}  // namespace foundation::log
