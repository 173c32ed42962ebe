#include "Progress.hpp"

#include "text.hpp"

#include <ostream>
#include <string>

namespace fctrl {
namespace {

constexpr std::chrono::milliseconds beforeTheFirst{300};
constexpr std::chrono::milliseconds betweenTwo{100};

}  // namespace

Progress::Progress(std::ostream* terminal)
    : terminal_(terminal), nextDrawing_(std::chrono::steady_clock::now() + beforeTheFirst) {}

void Progress::advance() {
    ++done_;
    constexpr std::size_t often = 256;  // The clock is not asked for each.
    if (terminal_ != nullptr && done_ % often == 0) draw();
}

void Progress::draw() {
    auto const now = std::chrono::steady_clock::now();
    if (now < nextDrawing_) return;
    nextDrawing_ = now + betweenTwo;
    constexpr std::size_t width = 30;
    std::size_t const filled = expected_ == 0 ? 0 : width * done_ / expected_;
    *terminal_ << "\r[" << std::string(filled, '#') << std::string(width - filled, ' ') << "] "
               << grouped(done_) << " of " << grouped(expected_) << " descriptors" << std::flush;
    isDrawn_ = true;
}

void Progress::finish() {
    if (isDrawn_) *terminal_ << "\r\x1B[K" << std::flush;
    isDrawn_ = false;
}

}  // namespace fctrl
