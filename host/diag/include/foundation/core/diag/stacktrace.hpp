#pragma once

// Stand-in for the host's diagnostics library; implements only what CONTRACT.md lists.

#include <foundation/core/diag/diag_export.hpp>

#include <cstddef>
#include <iosfwd>
#include <vector>

namespace foundation::core::diag {

/// The calls that were running on the thread that made this object. The calls are noted at once, their
/// names looked up when they are printed.
class stacktrace_base {
public:
    /// Notes the calls of this thread, the innermost first.
    ///
    /// @param depth    How many calls to note at most.
    /// @param skip     How many to leave out first: 0 starts with the function that makes this object, 1 with
    ///                 that function's caller.
    /// @param symbols  Whether `format` looks up function names, files and lines.
    /// @throws         std::bad_alloc
    /// @threads        Any, at any time.
    /// @cost           Some 20 microseconds.
    FOUNDATION_DIAG_EXPORT stacktrace_base(std::size_t depth, std::size_t skip, bool symbols);

    /// Prints one call a line, each line ended by a line feed: its number, counted from 0 in decimal
    /// whatever the stream's locale and flags, "# ", and
    /// - with symbols, "<function> at <file>:<line>", the line being that of the call, or "<function> in
    ///   <module>" where the module was built without line numbers;
    /// - without symbols, and for a function whose name the system does not know, "<module>(+0x<offset in
    ///   the module>) [0x<address>]", or "[0x<address>]" outside all modules.
    ///
    /// On Windows names are known only when built with the vendor's compiler.
    ///
    /// @throws   Whatever the stream throws, if it was told to; std::bad_alloc. Never for lack of symbols.
    /// @threads  Any, at any time; the trace may be another thread's.
    /// @cost     With symbols, the first time on each thread, about 0.1 s and 20 MB or more for the debug
    ///           information, which is kept for that thread until the process ends; then microseconds a call.
    FOUNDATION_DIAG_EXPORT void format(std::ostream& out) const;

private:
    std::vector<void const*> returnAddresses_;
    bool symbols_;
};

}  // namespace foundation::core::diag
