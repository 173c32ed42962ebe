#pragma once

#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

/// What the bundle "probe" and its tests share.
namespace probe {

/// What the bundle does, in the order in which it did it. Handed to it as the framework property
/// "probe.journal".
class Journal {
public:
    void write(std::string const& line) {
        std::lock_guard const lock(mutex_);
        lines_.push_back(line);
    }
    [[nodiscard]] std::vector<std::string> lines() const {
        std::lock_guard const lock(mutex_);
        return lines_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

/// An interface without virtual functions. The bundle publishes one object for each ranking in the framework
/// property "probe.rankings".
struct Plain {
    int number = 0;
    [[nodiscard]] int get() const { return number; }
};

/// An ordinary interface. The bundle publishes one object when the framework property "probe.greeter" is set.
struct Greeter {
    Greeter() = default;
    Greeter(Greeter const&) = delete;
    Greeter& operator=(Greeter const&) = delete;
    virtual ~Greeter() = default;
    [[nodiscard]] virtual std::string greet() const = 0;
};

}  // namespace probe
