#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

// Declared here: libFuzzer finds it by its name, without a header.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

/// What fuzz targets share.
namespace foundation::test {

/// Ends the process when `condition` does not hold: that is how a finding is told.
/// (clang 14 has no std::source_location.)
inline void require(bool condition, char const* file = __builtin_FILE(), int line = __builtin_LINE()) {
    if (condition) return;
    std::fprintf(stderr, "%s:%d: a condition does not hold\n", file, line);
    std::abort();
}

/// As above; shows both when they differ.
inline void requireEqual(std::string_view found,
                         std::string_view expected,
                         char const* file = __builtin_FILE(),
                         int line = __builtin_LINE()) {
    if (found == expected) return;
    std::fprintf(stderr,
                 "%s:%d: found \"%s\", expected \"%s\"\n",
                 file,
                 line,
                 std::string(found).c_str(),
                 std::string(expected).c_str());
    std::abort();
}

/// An input, taken apart from its beginning. Past its end there are zeros and empty texts.
class Input {
public:
    Input(std::uint8_t const* data, std::size_t size) : rest_(reinterpret_cast<char const*>(data), size) {}

    bool isEmpty() const { return rest_.empty(); }

    std::uint8_t byte() {
        if (rest_.empty()) return 0;
        auto const first = static_cast<std::uint8_t>(rest_.front());
        rest_.remove_prefix(1);
        return first;
    }

    /// The eight bytes that follow, as one number.
    std::uint64_t number() {
        std::uint64_t result = 0;
        for (int i = 0; i < 8; ++i)
            result = result << 8 | byte();
        return result;
    }

    /// A text whose length, at most 255, is the byte before it.
    std::string text() {
        std::size_t const length = byte();
        return std::string(take(length));
    }

    std::string_view rest() { return take(rest_.size()); }

private:
    std::string_view take(std::size_t size) {
        std::string_view const result = rest_.substr(0, size);
        rest_.remove_prefix(result.size());
        return result;
    }

    std::string_view rest_;
};

}  // namespace foundation::test
