#pragma once

#include <QtGlobal>

#include <bit>

namespace kyv::compressor::internal {

/// The number of significant bits of \a value, but 1 for 0: what a field needs that holds it.
constexpr unsigned bitLength(quint64 value) noexcept
{
    return unsigned(std::bit_width(value | 1));
}

/// \a value shifted left by \a count modulo 64.
///
/// Format: all shift counts of 64-bit values are taken modulo 64.
constexpr quint64 shiftLeft(quint64 value, unsigned count) noexcept
{
    return value << (count % 64);
}

/// \a value shifted right by \a count modulo 64.
constexpr quint64 shiftRight(quint64 value, unsigned count) noexcept
{
    return value >> (count % 64);
}

/// \a count modulo 64 one bits, lowest first.
constexpr quint64 lowMask(unsigned count) noexcept
{
    return (quint64(1) << (count % 64)) - 1;
}

} // namespace kyv::compressor::internal
