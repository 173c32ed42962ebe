#pragma once

#include "AllocationWatch.hpp"

#include <cstddef>
#include <exception>
#include <optional>
#include <string>

#include <gtest/gtest.h>

namespace foundation::feature::management::test {

struct Outcome {
    std::optional<std::string> thrown;  // the exception's text
    bool ranOut = false;                // whether an allocation failed
};

/// Runs `call` while the allocation of this number fails, counted from 1.
template <class Call>
Outcome runWithFailingAllocation(std::size_t number, Call const& call, bool laterOnesFail = false) {
    std::exception_ptr thrown;
    Outcome outcome;
    {
        AllocationWatch const watch({.failing = number, .laterOnesFail = laterOnesFail});
        try {
            call();
        } catch (std::exception const&) {
            thrown = std::current_exception();
        }
        outcome.ranOut = watch.count() >= number;
    }
    if (!thrown) return outcome;
    try {
        std::rethrow_exception(thrown);
    } catch (std::exception const& error) {
        outcome.thrown = error.what();
    }
    return outcome;
}

/// Runs `call` again and again, while its first allocation fails, its second, and so on, until none does.
/// After each run but the last, `check` sees its outcome.
template <class Call, class Check>
void failEachAllocation(Call const& call, Check const& check) {
    for (std::size_t number = 1; number < 1'000; ++number) {
        SCOPED_TRACE(number);
        Outcome const outcome = runWithFailingAllocation(number, call);
        if (!outcome.ranOut) {
            EXPECT_GT(number, 1u) << "it allocates nothing: nothing was tested";
            return;
        }
        check(outcome);
    }
    ADD_FAILURE() << "it never ends";
}

}  // namespace foundation::feature::management::test
