#pragma once

#include <boost/log/attributes/attribute_name.hpp>
#include <boost/log/core/core.hpp>

namespace foundation::log {

/// The core of Boost.Log and the names of a record's attributes, kept until the process ends: Boost.Log's own
/// statics are destroyed before the last static destructors log.
struct LoggingCore {
    static LoggingCore& instance() {
        static LoggingCore& logging = *new LoggingCore;
        return logging;
    }

    boost::log::core_ptr core = boost::log::core::get();
    boost::log::attribute_name channel = "Channel";
    boost::log::attribute_name severity = "Severity";
    boost::log::attribute_name file = "File";
    boost::log::attribute_name function = "Function";
    boost::log::attribute_name line = "Line";
    boost::log::attribute_name indent = "Indent";
    boost::log::attribute_name message = "Message";
};

}  // namespace foundation::log
