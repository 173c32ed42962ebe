#pragma once

/// Marks what the library offers to other modules; everything else stays hidden.
#if defined(_WIN32)
#if defined(foundation_feature_EXPORTS)
#define FOUNDATION_FEATURE_EXPORT __declspec(dllexport)
#else
#define FOUNDATION_FEATURE_EXPORT __declspec(dllimport)
#endif
#else
#define FOUNDATION_FEATURE_EXPORT __attribute__((visibility("default")))
#endif
