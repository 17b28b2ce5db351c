#pragma once

#include <cstddef>

namespace kyv::test {

/// What the C library's allocator was asked for during a call.
struct AllocationWatch
{
    std::size_t largest; ///< Bytes of the largest request.
    std::size_t peak;    ///< Bytes taken at a time, at most, beyond what was taken before the call.

    /// False where a sanitizer keeps malloc to itself, or its insides are unknown.
    static bool isPossible() noexcept;

    template <class Call>
    static AllocationWatch during(Call &&call)
    {
        start();
        call();
        return seen();
    }

    /// Makes every request for \a size bytes and more fail, as long as it lives.
    class Refusal
    {
    public:
        explicit Refusal(std::size_t size) noexcept;
        ~Refusal();
        Refusal(const Refusal &) = delete;
        Refusal &operator=(const Refusal &) = delete;
    };

private:
    static void start() noexcept;
    static AllocationWatch seen() noexcept;
};

} // namespace kyv::test
