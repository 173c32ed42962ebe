#pragma once

#include <foundation/log/diagnostic_logger.hpp>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace foundation::log {

/// The channels of the process and their masks. Entries are only ever added.
class Channels {
public:
    /// The one table; made, with the masks that FOUNDATION_LOG holds, on the first call. Never destroyed,
    /// because static destructors log.
    static Channels& instance();

    /// The entry of `name`, made when there is none.
    detail::Channel const& find(std::string name);

    unsigned mask(std::string_view name) const;
    void setMask(std::string_view name, unsigned mask);

private:
    struct Entry {
        detail::Channel channel{};
        bool ownMask = false;  // else it follows the entry of "*"
    };

    Channels();
    Entry& entry(std::string name);
    void readMasks(std::string_view text);

    // Held for one table operation: never while a record is written. Loggers read the masks without it.
    mutable std::mutex mutex_;
    std::map<std::string, Entry, std::less<>> entries_;
    Entry& everyChannel_;
};

}  // namespace foundation::log
