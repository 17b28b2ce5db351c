#pragma once

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KYV_SANITIZER_ALLOCATES 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KYV_SANITIZER_ALLOCATES 1
#endif
#endif
#ifndef KYV_SANITIZER_ALLOCATES
#define KYV_SANITIZER_ALLOCATES 0
#endif

namespace kyv::test {

/// Whether a sanitizer has taken over the allocator: it ends the process where memory is short,
/// and needs more address space than a test may leave it.
inline constexpr bool sanitizerAllocates = KYV_SANITIZER_ALLOCATES != 0;

} // namespace kyv::test
