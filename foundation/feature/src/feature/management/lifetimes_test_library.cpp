// A library of the host, with static objects of its own.
#include "lifetimes_test_library.hpp"

#include <Kept.hpp>

namespace foundation::feature::management::test {
namespace {

using foundation::test::Kept;

Kept& early() {
    static Kept kept("library, early");
    return kept;
}

}  // namespace

void prepareToKeepInLibrary() {
    early();
}

void keepInLibrary() {
    early().take();
    static Kept late("library, late");
    late.take();
}

}  // namespace foundation::feature::management::test
