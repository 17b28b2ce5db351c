#pragma once

namespace kyv::test {

/// Whether a sanitizer has taken over the allocator: it ends the process where memory is short,
/// and needs more address space than a test may leave it.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool sanitizerAllocates = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool sanitizerAllocates = true;
#else
inline constexpr bool sanitizerAllocates = false;
#endif
#else
inline constexpr bool sanitizerAllocates = false;
#endif

} // namespace kyv::test
