// Stand-in for the host's diagnostic logger; implements only what CONTRACT.md lists.
#pragma once

#include <foundation/log/Export.hpp>

#include <atomic>
#include <exception>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace foundation::log {

/// Where a record comes from. Kept by pointer: static texts, none of them null.
struct SourceLocation {
    char const* file;
    char const* function;
    int line;
};

/// Sets which severities `channel` logs, for loggers that exist already and for those made later.
///
/// @param channel  Any text. "*" sets the default: the mask of every channel, present and future, that was
///                 given none by name, here or in FOUNDATION_LOG.
/// @param mask     One bit a severity; 0 silences the channel.
/// @throws         std::bad_alloc; the masks are then as before.
/// @threads        Any, at any time. Other threads see the new mask soon, with no order towards other memory.
FOUNDATION_LOG_EXPORT void setChannelMask(std::string_view channel, unsigned mask);

/// The mask of `channel` now.
///
/// @return   The mask it was given by name, else the default, that of "*": 512 until set.
/// @threads  Any, at any time.
FOUNDATION_LOG_EXPORT unsigned channelMask(std::string_view channel);

/// Shows the records of the logging core on standard error: one line each, two blanks deeper for each level
/// of `Indent`, then channel, severity and message. The further lines of a message stand four blanks deeper
/// still. Another call adds no second sink, but brings the sink back when the host has removed it.
///
/// @throws   std::bad_alloc.
/// @threads  Any, at any time. Lines of several threads do not mix.
FOUNDATION_LOG_EXPORT void addConsoleSink();

namespace detail {

/// A channel's entry in the table of the process: stays at its address, is never destroyed.
struct Channel {
    std::string_view name;
    std::atomic<unsigned> mask;
};

/// An open function-trace scope, in the list of those of its thread.
struct OpenScope {
    Channel const* channel = nullptr;
    OpenScope* outer = nullptr;
};

FOUNDATION_LOG_EXPORT Channel const& findChannel(std::string name);
FOUNDATION_LOG_EXPORT bool coreEnabled() noexcept;
FOUNDATION_LOG_EXPORT void write(Channel const& channel,
                                 std::mutex& openMutex,
                                 unsigned severity,
                                 SourceLocation const& location,
                                 std::function<void(std::ostream&)> const& format);
FOUNDATION_LOG_EXPORT void enterScope(OpenScope& scope) noexcept;
FOUNDATION_LOG_EXPORT void leaveScope(OpenScope& scope) noexcept;

}  // namespace detail

/// Writes records of one channel to boost::log::core. Several loggers may share a channel.
/// May be used by static destructors and by destructors that run when a thread ends.
template <class CharT>
class basic_diagnostic_logger {
    static_assert(std::is_same_v<CharT, char>, "only char is provided");

public:
    class FunctionTrace;

    /// @throws   std::bad_alloc.
    explicit basic_diagnostic_logger(std::string channel)
        : channel_(detail::findChannel(std::move(channel))) {}

    basic_diagnostic_logger(basic_diagnostic_logger const&) = delete;
    basic_diagnostic_logger& operator=(basic_diagnostic_logger const&) = delete;

    /// The channel's mask now.
    /// @cost  One relaxed load.
    unsigned mask() const noexcept { return channel_.mask.load(std::memory_order_relaxed); }

    /// Whether the mask has the bit `severity` and, asked only then, the logging core is enabled.
    bool isEnabled(unsigned severity) const noexcept {
        return (mask() & severity) != 0 && detail::coreEnabled();
    }

    /// Writes one record, when `severity` is enabled and no filter refuses it: opens it under the logger's
    /// own exclusive lock (so filters see this logger's records one at a time), releases the lock, lets
    /// `format` write the message, then hands the record to the sinks. `format` may itself log, through this
    /// logger too.
    ///
    /// @param severity  One bit of the mask.
    /// @param format    Called as format(std::basic_ostream<CharT>&), at most once, and only for a record
    ///                  that no filter refused. The stream has the classic locale.
    /// @throws          What `format`, a filter or a sink throws (the last two go to the core's exception
    ///                  handler, if the host set one); std::bad_alloc. The record is then dropped.
    /// @threads         Any, at any time.
    /// @cost            Not enabled: one relaxed load and a branch.
    template <class Format>
    void write(unsigned severity, SourceLocation const& location, Format&& format) {
        if ((mask() & severity) != 0) [[unlikely]] {
            writeRecord(severity, location, format);
        }
    }

private:
    template <class Format>
    void writeRecord(unsigned severity, SourceLocation const& location, Format& format) {
        detail::write(channel_, openMutex_, severity, location, std::ref(format));
    }

    detail::Channel const& channel_;
    std::mutex openMutex_;  // Held while a record is opened: never while formatting or in the sinks.
};

/// Traces a function: a record with its signature at severity 32 on entry and at severity 64 on leaving,
/// there followed by " [throw]" when an exception leaves. Records of the channel on this thread in between
/// are indented one deeper. An automatic variable: destroyed on the thread that made it, innermost first,
/// before its logger.
///
/// 32 and 64 are tested each by itself, when its record is due. The indent follows the entry: it is one
/// deeper until the end of the trace when 32 was enabled at its beginning, whatever becomes of the masks
/// meanwhile. How many exceptions were in flight at the beginning is known only when one of the two was enabled
/// then; when 64 is enabled later, " [throw]" follows whenever an exception is in flight at the end.
template <class CharT>
class basic_diagnostic_logger<CharT>::FunctionTrace {
public:
    /// @param location  `function` is the signature that is logged.
    /// @throws          What writing the entry record throws; no indent is left behind.
    /// @cost            Disabled: a relaxed load and a branch at each end.
    FunctionTrace(basic_diagnostic_logger& logger, SourceLocation const& location)
        : logger_(logger), location_(location) {
        if ((logger_.mask() & (entrySeverity | leaveSeverity)) == 0) [[likely]] {
            return;
        }
        exceptionsAtEntry_ = std::uncaught_exceptions();  // Costs more than all the rest.
        if (!logger_.isEnabled(entrySeverity)) return;
        log(entrySeverity, "");
        scope_.channel = &logger_.channel_;
        detail::enterScope(scope_);
    }

    FunctionTrace(FunctionTrace const&) = delete;
    FunctionTrace& operator=(FunctionTrace const&) = delete;

    /// Lets no exception out: a leave record that cannot be written is dropped.
    ~FunctionTrace() {
        if (scope_.channel != nullptr) [[unlikely]] {
            detail::leaveScope(scope_);
        }
        if ((logger_.mask() & leaveSeverity) == 0) [[likely]] {
            return;
        }
        if (!detail::coreEnabled()) return;
        try {
            log(leaveSeverity, std::uncaught_exceptions() > exceptionsAtEntry_ ? " [throw]" : "");
        } catch (...) {
            // A sink's failure must not end the program, nor replace the exception that is leaving.
        }
    }

private:
    static constexpr unsigned entrySeverity = 32;
    static constexpr unsigned leaveSeverity = 64;

    void log(unsigned severity, char const* suffix) {
        auto const format = [&](auto& message) { message << location_.function << suffix; };
        logger_.writeRecord(severity, location_, format);
    }

    basic_diagnostic_logger& logger_;
    SourceLocation location_;
    int exceptionsAtEntry_ = 0;
    detail::OpenScope scope_;
};

}  // namespace foundation::log
