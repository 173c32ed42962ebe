#pragma once

// Before a function that hot code calls in rare cases: put into its callers, it would make them save registers for it
// in every case.
#if defined(_MSC_VER)
#define FOUNDATION_NOINLINE __declspec(noinline)
#else
#define FOUNDATION_NOINLINE __attribute__((noinline))
#endif
