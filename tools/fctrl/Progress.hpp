#pragma once

#include <chrono>
#include <cstddef>
#include <iosfwd>

namespace fctrl {

/// A bar for somebody who waits. It appears after a while, is drawn anew now and then, and leaves nothing behind.
class Progress {
public:
    /// @param terminal  null: nobody looks, nothing is written.
    explicit Progress(std::ostream* terminal);
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;
    ~Progress() { finish(); }

    /// There are `count` more descriptors.
    void expect(std::size_t count) { expected_ += count; }

    /// One of them has been looked at.
    void advance();

    /// Takes the bar away.
    void finish();

private:
    void draw();

    std::ostream* terminal_;
    std::size_t expected_ = 0;
    std::size_t done_ = 0;
    bool isDrawn_ = false;
    std::chrono::steady_clock::time_point nextDrawing_;
};

}  // namespace fctrl
