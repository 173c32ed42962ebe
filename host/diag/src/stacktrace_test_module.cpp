#include "stacktrace_test_module.hpp"

namespace {

int calls = 0;

}  // namespace

[[gnu::visibility("default")]] void exportedFunction(void (*callback)());

void exportedFunction(void (*callback)()) {
    callback();
    ++calls;
}

namespace {

void (*volatile callExported)(void (*)()) = exportedFunction;

void hiddenFunction(void (*callback)()) {
    callExported(callback);
    ++calls;
}
void (*volatile callHidden)(void (*)()) = hiddenFunction;

}  // namespace

void callThroughStrippedModule(void (*callback)()) {
    callHidden(callback);
    ++calls;
}
