#pragma once

#include <locale>
#include <string>

namespace foundation::test {

/// Until it ends, new streams write 1234567 as 1.234.567 and 1.5 as 1,5. Not for use while other threads make streams.
class GroupingLocale {
public:
    GroupingLocale() : before_(std::locale::global(std::locale(std::locale(), new Punctuation))) {}
    GroupingLocale(GroupingLocale const&) = delete;
    GroupingLocale& operator=(GroupingLocale const&) = delete;
    ~GroupingLocale() { std::locale::global(before_); }

private:
    class Punctuation : public std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };

    std::locale before_;
};

}  // namespace foundation::test
