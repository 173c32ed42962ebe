#pragma once

#include <string>
#include <utility>
#include <vector>

namespace demo {

/// Shows log records on standard error, and sets the masks of channels.
void startLogging(std::vector<std::pair<std::string, unsigned>> const& channelMasks);

/// While it lives, no record is logged of a registration that breaks a rule: whoever registers learns of it
/// by an exception and can say more, such as the file. What else is logged stays, refused environment values
/// included.
class RejectionsReportedByException {
public:
    RejectionsReportedByException();
    ~RejectionsReportedByException();
    RejectionsReportedByException(RejectionsReportedByException const&) = delete;
    RejectionsReportedByException& operator=(RejectionsReportedByException const&) = delete;
};

}  // namespace demo
