#include "logging.hpp"

#include <foundation/log/diagnostic_logger.hpp>

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core/core.hpp>

#include <string_view>

namespace demo {
namespace {

bool isRejectedRegistration(boost::log::attribute_value_set const& record) {
    constexpr unsigned rejections = 512;
    constexpr std::string_view registerFeature = "void foundation::feature::management::registerFeature(";
    auto const severity = boost::log::extract<unsigned>("Severity", record);
    auto const function = boost::log::extract<std::string>("Function", record);
    return severity && *severity == rejections && function && function->starts_with(registerFeature);
}

}  // namespace

void startLogging(std::vector<std::pair<std::string, unsigned>> const& channelMasks) {
    foundation::log::addConsoleSink();
    for (auto const& [channel, mask] : channelMasks)
        foundation::log::setChannelMask(channel, mask);
}

RejectionsReportedByException::RejectionsReportedByException() {
    boost::log::core::get()->set_filter(
        [](boost::log::attribute_value_set const& record) { return !isRejectedRegistration(record); });
}

RejectionsReportedByException::~RejectionsReportedByException() {
    boost::log::core::get()->reset_filter();
}

}  // namespace demo
