#pragma once

#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace foundation::feature::management::test {

/// One operation that memory runs out in.
struct Operation {
    std::string name;
    /// What it finds, made once while there is memory.
    std::function<void()> prepare = [] {};
    /// The operation; a second time changes nothing more.
    std::function<void()> run;
    /// What can be seen of its effect, without helping it. A failure must leave what was there before, or all of it...
    std::function<std::string()> describe;
    /// ... or what this accepts as a part of it.
    std::function<bool(std::string const& part, std::string const& whole)> isPart =
        [](std::string const&, std::string const&) { return false; };
    /// Expects what holds once it has succeeded.
    std::function<void()> verify = [] {};
    /// Texts that it may throw besides "std::bad_alloc": regular expressions.
    std::vector<std::string> wrapped = {};

    /// Whether a failure may cost some memory for good.
    bool mayKeepMore = false;
    /// Whether it is the first in the process that logs: else everything is ready for that.
    bool isFirstToLog = false;

    friend std::ostream& operator<<(std::ostream& out, Operation const& operation) {
        return out << operation.name;
    }
};

/// Runs `operation` again and again, each time in a process of its own that has been prepared alike: its first allocation
/// fails, then its second, and so on, until none does; and once more with each of them and every later one failing.
/// Each time expects that it threw std::bad_alloc or nothing; that it left what a failure may leave; that it then succeeds,
/// also on another thread, so that nothing is locked; and that no more memory is held in the end than without the failure.
///
/// @return  How many allocations it makes.
std::size_t exhaust(Operation const& operation);

}  // namespace foundation::feature::management::test
