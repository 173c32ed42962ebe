#pragma once

namespace foundation::test {

/// Whether the build checks every access to memory, which makes tests of large inputs take many times as long and as much.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool isSanitized = true;
#elif defined(__has_feature)
inline constexpr bool isSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
inline constexpr bool isSanitized = false;
#endif

}  // namespace foundation::test
